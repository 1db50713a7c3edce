// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>

#include "Geometry.h"
#include "GreyMap.h"
#include "PictureView.h"

namespace kestrosim {

/** Takes four points to four others, and what lies between as a camera would. */
class Perspective {
 public:
    /** Empty when no such mapping exists. */
    [[nodiscard]] static std::optional<Perspective> between(const Outline& from, const Outline& to);

    [[nodiscard]] Point at(const Point& point) const {
        const double scale = 1 / (p_[6] * point.x + p_[7] * point.y + 1);
        return {(p_[0] * point.x + p_[1] * point.y + p_[2]) * scale,
                (p_[3] * point.x + p_[4] * point.y + p_[5]) * scale};
    }

 private:
    std::array<double, 8> p_{};
};

/** A code's grid of modules, laid onto the picture. */
class MatrixGrid {
 public:
    /** @param corners  of the grid, in the picture. */
    MatrixGrid(const PictureView& picture, const Outline& corners, int columns, int rows);

    [[nodiscard]] const Outline& corners() const { return corners_; }
    [[nodiscard]] int columns() const { return columns_; }
    [[nodiscard]] int rows() const { return rows_; }
    [[nodiscard]] double pixelsPerModule() const;

    /** Grey level at the module's middle; halves between modules count as well. */
    [[nodiscard]] double greyAt(double column, double row) const;

    /** The modules, a pixel each, as ink or paper. */
    [[nodiscard]] GreyMap modules() const;

    /** Moves that corner, or each in turn, to where modules' middles differ most. */
    void refine(std::size_t corner);
    void refineAll();

 private:
    [[nodiscard]] double sharpness(const Outline& corners) const;

    PictureView picture_;
    Outline corners_;
    int columns_;
    int rows_;
    Perspective perspective_;
};

}  // namespace kestrosim
