// SPDX-License-Identifier: Apache-2.0
#include "Png.h"

#include "Failure.h"

#include <png.h>

#include <csetjmp>

namespace kestrocli {
namespace {

void appendToVector(png_structp png, png_bytep data, png_size_t length) {
    auto& bytes = *static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(png));
    try {
        bytes.insert(bytes.end(), data, data + length);
    } catch (...) {
        png_error(png, "out of memory");
    }
}

void ignoreMessage(png_structp, png_const_charp) {}

void jumpBack(png_structp png, png_const_charp) { png_longjmp(png, 1); }

/** libpng leaves by longjmp, so nothing here may need a destructor. */
bool writePng(png_structp png, png_infop info, const Pixels& pixels) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;  // NOLINT(cert-err52-cpp)
    const std::size_t rowBytes = std::size_t{pixels.width} * bytesPerPixel(pixels.layout);
    png_set_IHDR(png, info, pixels.width, pixels.height,
                 pixels.layout == PixelLayout::grey16 ? 16 : 8,
                 pixels.layout == PixelLayout::rgb8 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // The fastest setting: pictures are saved while the next ones arrive.
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_write_info(png, info);
    // Cameras send little-endian pixels, PNG holds big-endian ones.
    if (pixels.layout == PixelLayout::grey16) png_set_swap(png);
    for (std::uint32_t y = 0; y < pixels.height; ++y) {
        png_write_row(png, pixels.bytes.data() + y * rowBytes);
    }
    png_write_end(png, info);
    return true;
}

}  // namespace

bool isWhole(const Pixels& pixels) {
    constexpr std::uint32_t kLongestSide = 1'000'000;  // libpng's own limit
    const std::uint64_t count = std::uint64_t{pixels.width} * pixels.height;
    return count > 0 && pixels.width <= kLongestSide && pixels.height <= kLongestSide &&
           pixels.bytes.size() / bytesPerPixel(pixels.layout) >= count;
}

std::vector<std::uint8_t> encodePng(const Pixels& pixels) {
    std::vector<std::uint8_t> bytes;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jumpBack, ignoreMessage);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    if (info != nullptr) png_set_write_fn(png, &bytes, appendToVector, nullptr);
    const bool written = info != nullptr && writePng(png, info, pixels);
    png_destroy_write_struct(&png, &info);
    if (!written) throw Failure("a picture could not be made a PNG");
    return bytes;
}

}  // namespace kestrocli
