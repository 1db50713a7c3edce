// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Raster.h"

#include <string>
#include <string_view>

namespace kestrocli {

/**
 * Text of one size, for pictures.
 *
 * The letters are lines, drawn as thick as the size wants. A size keeps the lines that matter for
 * reading on whole pixels, so that small text is sharp. What is neither
 * ASCII nor one of the Latin letters with marks up to U+017F appears as a box.
 */
class Lettering {
 public:
    /** Capitals are three times as high as `size`, in pixels. */
    explicit Lettering(int size);

    [[nodiscard]] int size() const { return size_; }
    [[nodiscard]] int capHeight() const { return 3 * size_; }
    /** How far the tails of letters hang below the line that text stands on. */
    [[nodiscard]] int depth() const { return size_; }
    [[nodiscard]] int widthOf(std::string_view utf8) const;
    /** The text, or as much of its beginning as fits before an ellipsis; empty if not even that. */
    [[nodiscard]] std::string cut(std::string_view utf8, int width) const;
    /** Draws the text: where its left end stands, and the top of its capitals. */
    void draw(Raster& raster, int left, int top, std::string_view utf8, Colour colour) const;

 private:
    void drawStrokes(Raster& raster, std::string_view glyph, Spot corner, Colour colour) const;

    int size_;
    double thickness_;
};

}  // namespace kestrocli
