// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "Geometry.h"

namespace kestrosim {

/**
 * How a camera sees a flat thing: straight lines stay straight.
 *
 * No more than + - * / of doubles, compiled without fused operations: the same on any machine.
 */
class Homography {
 public:
    /** Rows of the matrix that takes (x, y, 1) to (x', y', 1) times some number. */
    explicit Homography(const std::array<double, 9>& rows) : rows_(rows) {}

    [[nodiscard]] Point at(const Point& point) const {
        const double scale = rows_[6] * point.x + rows_[7] * point.y + rows_[8];
        return {(rows_[0] * point.x + rows_[1] * point.y + rows_[2]) / scale,
                (rows_[3] * point.x + rows_[4] * point.y + rows_[5]) / scale};
    }
    [[nodiscard]] Outline at(const Outline& quad) const {
        return {at(quad[0]), at(quad[1]), at(quad[2]), at(quad[3])};
    }
    [[nodiscard]] const std::array<double, 9>& rows() const { return rows_; }

    /** This one after the other. */
    [[nodiscard]] Homography after(const Homography& other) const;
    [[nodiscard]] Homography inverse() const;

    [[nodiscard]] static Homography scaling(double factor);
    [[nodiscard]] static Homography moving(double x, double y);
    /** Clockwise as one sees it, x to the right and y down. */
    [[nodiscard]] static Homography turning(int degrees);

 private:
    std::array<double, 9> rows_;
};

/** Of a whole number of degrees, rounded to 1/65536: the same with any mathematics library. */
[[nodiscard]] double sineOf(int degrees);
[[nodiscard]] double cosineOf(int degrees);

}  // namespace kestrosim
