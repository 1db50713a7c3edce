// SPDX-License-Identifier: Apache-2.0
#include "PictureReader.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <new>
#include <stdexcept>
#include <string>

namespace kestrosim {
namespace {

constexpr unsigned kWhite = 255;

/** Of a row as libpng hands it out: grey or RGB of 8 bits, each with or without opacity. */
std::uint8_t greyOf(const std::uint8_t* pixel, unsigned channels) {
    const bool isColour = channels >= 3;
    const unsigned grey = isColour ? luminance(pixel[0], pixel[1], pixel[2]) : pixel[0];
    if (channels % 2 == 1) return static_cast<std::uint8_t>(grey);
    const unsigned opacity = pixel[channels - 1];
    return static_cast<std::uint8_t>((grey * opacity + kWhite * (255 - opacity) + 127) / 255);
}

/** libpng leaves by longjmp: where it is called from, nothing may need a destructor. */
class PngReader : public PictureReader {
 public:
    explicit PngReader(std::FILE* file)
        : png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, this, keepMessage, ignoreMessage)),
          info_(png_ == nullptr ? nullptr : png_create_info_struct(png_)) {
        if (info_ == nullptr) {
            png_destroy_read_struct(&png_, nullptr, nullptr);
            throw std::bad_alloc();
        }
        png_init_io(png_, file);
        if (!readHeader()) {
            png_destroy_read_struct(&png_, &info_, nullptr);
            fail();
        }
    }
    ~PngReader() override { png_destroy_read_struct(&png_, &info_, nullptr); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    [[nodiscard]] PictureSize size() const override {
        return {png_get_image_width(png_, info_), png_get_image_height(png_, info_)};
    }

    void read(std::uint8_t* pixels) override {
        if (!prepare()) fail();
        const std::size_t rowBytes = png_get_rowbytes(png_, info_);
        // An interlaced picture comes in seven parts, each adding to all rows.
        const std::size_t rows = passes_ > 1 ? size().height : 1;
        std::vector<std::uint8_t> buffer(rowBytes * rows);
        if (!readRows(buffer.data(), passes_ > 1 ? rowBytes : 0, pixels)) fail();
    }

 private:
    static void keepMessage(png_structp png, png_const_charp text) {
        auto& message = static_cast<PngReader*>(png_get_error_ptr(png))->message_;
        std::snprintf(message.data(), message.size(), "%s", text);  // NOLINT(*-vararg)
        png_longjmp(png, 1);
    }
    static void ignoreMessage(png_structp, png_const_charp) {}

    [[noreturn]] void fail() const {
        throw std::runtime_error(std::string("it is cut off or damaged (") + message_.data() + ")");
    }

    // NOLINTBEGIN(cert-err52-cpp)
    bool readHeader() {
        if (setjmp(png_jmpbuf(png_)) != 0) return false;
        png_read_info(png_, info_);
        return true;
    }

    bool prepare() {
        if (setjmp(png_jmpbuf(png_)) != 0) return false;
        png_set_expand(png_);
        png_set_scale_16(png_);
        passes_ = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        channels_ = png_get_channels(png_, info_);
        return true;
    }

    bool readRows(std::uint8_t* buffer, std::size_t step, std::uint8_t* pixels) {
        if (setjmp(png_jmpbuf(png_)) != 0) return false;
        const std::uint32_t width = png_get_image_width(png_, info_);
        const std::uint32_t height = png_get_image_height(png_, info_);
        for (int pass = 0; pass < passes_; ++pass) {
            for (std::size_t y = 0; y < height; ++y) {
                std::uint8_t* const row = buffer + y * step;
                png_read_row(png_, row, nullptr);
                if (pass < passes_ - 1) continue;
                for (std::size_t x = 0; x < width; ++x) {
                    pixels[y * width + x] = greyOf(row + x * channels_, channels_);
                }
            }
        }
        png_read_end(png_, nullptr);
        return true;
    }
    // NOLINTEND(cert-err52-cpp)

    std::array<char, 128> message_{};
    png_structp png_;
    png_infop info_;
    int passes_ = 1;
    unsigned channels_ = 0;
};

}  // namespace

std::unique_ptr<PictureReader> readPng(std::FILE* file) {
    return std::make_unique<PngReader>(file);
}

}  // namespace kestrosim
