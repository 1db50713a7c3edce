// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace kestrosim {

/** A place in a picture, in pixels from its upper left corner; the first pixel's middle is at one
 * half. */
struct Point {
    double x = 0;
    double y = 0;

    friend Point operator+(const Point& a, const Point& b) { return {a.x + b.x, a.y + b.y}; }
    friend Point operator-(const Point& a, const Point& b) { return {a.x - b.x, a.y - b.y}; }
    friend Point operator*(const Point& a, double factor) { return {a.x * factor, a.y * factor}; }
};

[[nodiscard]] inline double dot(const Point& a, const Point& b) { return a.x * b.x + a.y * b.y; }
/** Positive when b lies clockwise of a, as the picture is seen. */
[[nodiscard]] inline double cross(const Point& a, const Point& b) { return a.x * b.y - a.y * b.x; }
[[nodiscard]] inline double length(const Point& a) { return std::hypot(a.x, a.y); }
[[nodiscard]] inline Point between(const Point& a, const Point& b, double share) {
    return a + (b - a) * share;
}

/** Corners as those of a code: upper left, upper right, lower right, lower left. */
using Outline = std::array<Point, 4>;

[[nodiscard]] inline Point middleOf(const Outline& quad) {
    return (quad[0] + quad[1] + quad[2] + quad[3]) * 0.25;
}

/** Whether the point lies in the quadrilateral, which must be convex and clockwise. */
[[nodiscard]] inline bool contains(const Outline& quad, const Point& point) {
    for (std::size_t i = 0; i < 4; ++i) {
        if (cross(quad[(i + 1) % 4] - quad[i], point - quad[i]) < 0) return false;
    }
    return true;
}

/** A turned rectangle's own coordinates, in pixels of the picture. */
struct Frame {
    Point origin;
    Point right{1, 0};  ///< of length 1, as is `down`
    Point down{0, 1};

    [[nodiscard]] Point toPicture(const Point& own) const {
        return origin + right * own.x + down * own.y;
    }
    [[nodiscard]] Outline toPicture(const Outline& own) const {
        return {toPicture(own[0]), toPicture(own[1]), toPicture(own[2]), toPicture(own[3])};
    }
};

}  // namespace kestrosim
