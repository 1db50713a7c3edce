// SPDX-License-Identifier: Apache-2.0
#include "Jpeg.h"

// libjpeg's header wants size_t and FILE to be there.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <csetjmp>
#include <utility>
#include <vector>

namespace kestrocli {
namespace {

constexpr std::uint64_t kMostPixels = 100'000'000;
// Each scan of a progressive file costs a pass over the whole picture.
constexpr int kMostScans = 100;

struct Decoder {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg_progress_mgr progress{};
    std::jmp_buf giveUp{};
};

void jumpBack(j_common_ptr jpeg) {
    std::longjmp(static_cast<Decoder*>(jpeg->client_data)->giveUp, 1);  // NOLINT(cert-err52-cpp)
}

void ignoreMessage(j_common_ptr) {}

void limitScans(j_common_ptr jpeg) {
    if (static_cast<Decoder*>(jpeg->client_data)->jpeg.input_scan_number > kMostScans) {
        jumpBack(jpeg);
    }
}

/** libjpeg leaves by longjmp, so nothing here may need a destructor. */
bool decode(Decoder& decoder, std::span<const std::uint8_t> file, std::vector<std::uint8_t>& rgb) {
    jpeg_decompress_struct& jpeg = decoder.jpeg;
    if (setjmp(decoder.giveUp) != 0) return false;  // NOLINT(cert-err52-cpp)
    jpeg_create_decompress(&jpeg);
    jpeg.client_data = &decoder;
    jpeg.progress = &decoder.progress;
    jpeg_mem_src(&jpeg, file.data(), file.size());
    jpeg_read_header(&jpeg, TRUE);
    if (std::uint64_t{jpeg.image_width} * jpeg.image_height > kMostPixels) return false;
    jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&jpeg);
    const std::size_t rowBytes = std::size_t{jpeg.output_width} * 3;
    rgb.resize(rowBytes * jpeg.output_height);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = rgb.data() + jpeg.output_scanline * rowBytes;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    // What was there is decoded, the rest made up: no picture to draw on.
    return jpeg.err->num_warnings == 0;
}

}  // namespace

std::optional<Raster> decodeJpeg(std::span<const std::uint8_t> file) {
    Decoder decoder;
    decoder.jpeg.err = jpeg_std_error(&decoder.errors);
    decoder.jpeg.client_data = &decoder;
    decoder.errors.error_exit = jumpBack;
    decoder.errors.output_message = ignoreMessage;
    decoder.progress.progress_monitor = limitScans;
    std::vector<std::uint8_t> rgb;
    const bool done = decode(decoder, file, rgb);
    const std::uint32_t width = decoder.jpeg.output_width;
    const std::uint32_t height = decoder.jpeg.output_height;
    jpeg_destroy_decompress(&decoder.jpeg);
    if (!done) return std::nullopt;
    return Raster(width, height, std::move(rgb));
}

}  // namespace kestrocli
