// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "Geometry.h"
#include "PictureView.h"

namespace kestrosim {

inline constexpr std::uint8_t kInkValue = 0;
inline constexpr std::uint8_t kPaperValue = 255;

/** Mono8 pixels of the reader's own: a piece of the picture, held upright, or what is ink in it. */
struct GreyMap {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;

    GreyMap(int wide, int high)
        : width(wide),
          height(high),
          pixels(static_cast<std::size_t>(wide) * static_cast<std::size_t>(high), kPaperValue) {}

    [[nodiscard]] std::uint8_t* row(int y) {
        return pixels.data() + static_cast<std::ptrdiff_t>(y) * width;
    }
    [[nodiscard]] const std::uint8_t* row(int y) const {
        return pixels.data() + static_cast<std::ptrdiff_t>(y) * width;
    }
    [[nodiscard]] int at(int x, int y) const { return row(y)[x]; }
    [[nodiscard]] bool isInk(int x, int y) const { return row(y)[x] == kInkValue; }
    [[nodiscard]] bool contains(int x, int y) const {
        return x >= 0 && x < width && y >= 0 && y < height;
    }
    [[nodiscard]] PictureView view() const { return {pixels.data(), width, height}; }
};

/** The picture's grey level at that place, interpolated; paper outside of it. */
[[nodiscard]] double greyAt(const PictureView& picture, const Point& point);

/** That many pixels of the frame, at so many samples a pixel in either direction. */
[[nodiscard]] GreyMap cutOut(const PictureView& picture, const Frame& frame, double width,
                             double height, int samplesAcross, int samplesDown);

/** Half the size, each pixel the mean of four. */
[[nodiscard]] GreyMap halved(const PictureView& picture);

/** Each row three times as far from its own blur as it was: narrow bars come up to wide ones. */
[[nodiscard]] GreyMap sharpened(const GreyMap& grey, int reach);

/** Each pixel the mean of those within that reach above and below. */
[[nodiscard]] GreyMap smoothedDown(const GreyMap& grey, int reach);

/**
 * Ink or paper for every pixel, by what is bright and dark within that reach of it.
 *
 * @param leastContrast  grey levels; where they differ by less, all is paper.
 */
[[nodiscard]] GreyMap inkOf(const GreyMap& grey, int reachAcross, int reachDown, int leastContrast);

}  // namespace kestrosim
