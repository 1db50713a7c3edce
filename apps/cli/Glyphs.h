// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace kestrocli {

/**
 * How a character is drawn.
 *
 * `base` and `mark` are a width, then strokes with a blank between. A stroke is a list of points,
 * two characters each: x and y on a grid on which capitals are 12 high.
 *
 *   x  A = 0, B = 1 ...  a point of the line
 *      a = 0, b = 1 ...  the line bends towards this point and does not reach it
 *   y  0 = top of capitals, 4 = top of small letters, c = 12 = where they stand, g = 16 = tails
 *
 * Between two points of the bending kind lies one of the line, in the middle. A stroke of one
 * point twice is a dot.
 */
struct Glyph {
    std::string_view base;
    std::string_view mark;  ///< in the middle above or below; empty: none
    double markRise = 0;    ///< how much higher than above a small letter

    /** On the grid. */
    [[nodiscard]] double width() const { return base[0] - 'A'; }
};

/** Takes the first character off the text, which is not empty. */
[[nodiscard]] Glyph takeGlyph(std::string_view& utf8);

inline constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

}  // namespace kestrocli
