// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace kestrocli {

/** How the bytes of a picture are its pixels; the names are those of the PFNC. */
enum class PixelLayout {
    grey8,
    grey16,  ///< little-endian, as cameras send it
    rgb8
};

[[nodiscard]] constexpr std::uint32_t bytesPerPixel(PixelLayout layout) {
    return layout == PixelLayout::grey8 ? 1 : layout == PixelLayout::grey16 ? 2 : 3;
}

/** Pixels by rows without gaps. */
struct Pixels {
    std::span<const std::uint8_t> bytes;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    PixelLayout layout = PixelLayout::grey8;
};

/** True when the picture has a size that a PNG can have, and all bytes for it. */
[[nodiscard]] bool isWhole(const Pixels& pixels);

/** A PNG of the pixels, which must be whole; made quickly rather than small. Throws Failure. */
[[nodiscard]] std::vector<std::uint8_t> encodePng(const Pixels& pixels);

}  // namespace kestrocli
