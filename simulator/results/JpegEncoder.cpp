// SPDX-License-Identifier: Apache-2.0
#include "JpegEncoder.h"

#include <array>
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs it and does not include it
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <jpeglib.h>

namespace kestrosim {
namespace {

constexpr std::uint32_t kQualityStep = 10;
constexpr std::size_t kHeadRoomBytes = 1024;
constexpr std::size_t kRowsAtOnce = 16;

/** What libjpeg calls instead of ending the program. */
struct ErrorManager : jpeg_error_mgr {
    std::jmp_buf at;
};

[[noreturn]] void leave(j_common_ptr job) {
    std::longjmp(static_cast<ErrorManager*>(job->err)->at, 1);
}

void writeRows(jpeg_compress_struct& job, const Scene& scene) {
    std::array<JSAMPROW, kRowsAtOnce> rows{};
    while (job.next_scanline < job.image_height) {
        JDIMENSION count = 0;
        for (; count < rows.size() && job.next_scanline + count < job.image_height; ++count) {
            const auto* const row =
                scene.pixels.data() + std::size_t{job.next_scanline + count} * scene.width;
            rows[count] = const_cast<JSAMPROW>(row);  // it is only read
        }
        jpeg_write_scanlines(&job, rows.data(), count);
    }
}

/** A file as libjpeg allocates it. */
struct File {
    unsigned char* data = nullptr;
    unsigned long size = 0;
};

// Nothing here has a destructor: an error leaves by longjmp().
bool compress(const Scene& scene, std::uint32_t quality, File& file) {
    jpeg_compress_struct job{};
    ErrorManager errors{};
    job.err = jpeg_std_error(&errors);
    errors.error_exit = leave;
    if (setjmp(errors.at) != 0) {
        // Once it writes, libjpeg may have put another buffer in the place of this one, freed it
        // and not said so.
        if (job.next_scanline > 0) file.data = nullptr;
        jpeg_destroy_compress(&job);
        return false;
    }
    jpeg_create_compress(&job);
    jpeg_mem_dest(&job, &file.data, &file.size);
    job.image_width = scene.width;
    job.image_height = scene.height;
    job.input_components = 1;
    job.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&job);
    jpeg_set_quality(&job, static_cast<int>(quality), TRUE);
    jpeg_start_compress(&job, TRUE);
    writeRows(job, scene);
    jpeg_finish_compress(&job);
    jpeg_destroy_compress(&job);
    return true;
}

std::vector<std::uint8_t> fileOf(const Scene& scene, std::uint32_t quality) {
    File file;
    const bool isDone = compress(scene, quality, file);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owned(file.data, std::free);
    if (!isDone) throw std::runtime_error("the picture cannot become a JPEG file");
    return {file.data, file.data + file.size};
}

}  // namespace

std::vector<std::uint8_t> encodeJpeg(const Scene& scene, std::uint32_t quality) {
    const std::size_t most = mostJpegBytes(scene.pixels.size());
    std::vector<std::uint8_t> file = fileOf(scene, quality);
    // At quality 1 hardly more than a bit is left of a pixel, so that this ends.
    while (file.size() > most && quality > 1) {
        quality = quality > kQualityStep ? quality - kQualityStep : 1;
        file = fileOf(scene, quality);
    }
    return file;
}

std::size_t mostJpegBytes(std::size_t pixels) { return pixels + pixels / 4 + kHeadRoomBytes; }

}  // namespace kestrosim
