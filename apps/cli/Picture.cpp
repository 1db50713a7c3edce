// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"

#include "Jpeg.h"
#include "PixelFormat.h"
#include "Png.h"

#include <utility>

namespace kestrocli {
namespace {

/** Makes RGB of grey: of each pixel the byte at an offset. */
std::vector<std::uint8_t> greyAsRgb(const Pixels& pixels, std::size_t step, std::size_t offset) {
    const std::size_t count = std::size_t{pixels.width} * pixels.height;
    std::vector<std::uint8_t> rgb(count * 3);
    std::uint8_t* out = rgb.data();
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t value = pixels.bytes[i * step + offset];
        *out++ = value;
        *out++ = value;
        *out++ = value;
    }
    return rgb;
}

std::vector<std::uint8_t> colours(const Pixels& pixels, bool isBlueFirst) {
    const auto count = static_cast<std::ptrdiff_t>(std::size_t{pixels.width} * pixels.height * 3);
    std::vector<std::uint8_t> rgb(pixels.bytes.begin(), pixels.bytes.begin() + count);
    for (std::size_t i = 0; isBlueFirst && i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
    return rgb;
}

DecodedPicture decodeWhole(const Pixels& pixels, std::uint32_t format) {
    if (!isWhole(pixels)) return {std::nullopt, "a picture with fewer bytes than its size needs"};
    const auto raster = [&](std::vector<std::uint8_t> rgb) {
        return DecodedPicture{Raster(pixels.width, pixels.height, std::move(rgb)), {}};
    };
    if (format == kMono8) return raster(greyAsRgb(pixels, 1, 0));
    if (format == kMono16) return raster(greyAsRgb(pixels, 2, 1));
    return raster(colours(pixels, format == kBgr8));
}

}  // namespace

DecodedPicture decodePicture(const kestro::Frame& frame) {
    const std::span image(frame.getImageData(), frame.getImageSize());
    if (frame.getImageData() == nullptr || image.empty()) {
        return {std::nullopt, "a frame without a picture"};
    }
    if (frame.getPayloadFlag()) {
        auto raster = decodeJpeg(image);
        const bool done = raster.has_value();
        return {std::move(raster), done ? "" : "a JPEG that cannot be decoded"};
    }
    Pixels pixels{image, frame.getWidth(), frame.getHeight(), PixelLayout::grey8};
    if (pixels.width == 0 || pixels.height == 0) {
        return {std::nullopt, "a frame without a picture"};
    }
    switch (frame.getPixelFormat()) {
        case kMono8:
            return decodeWhole(pixels, kMono8);
        case kMono16:
            pixels.layout = PixelLayout::grey16;
            return decodeWhole(pixels, kMono16);
        case kRgb8:
        case kBgr8:
            pixels.layout = PixelLayout::rgb8;
            return decodeWhole(pixels, frame.getPixelFormat());
        default:
            return {std::nullopt, "a picture in " + pixelFormatName(frame.getPixelFormat())};
    }
}

}  // namespace kestrocli
