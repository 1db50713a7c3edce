// SPDX-License-Identifier: Apache-2.0
#include "PictureReader.h"

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <stdexcept>
#include <string>

namespace kestrosim {
namespace {

// Of the largest picture, all coefficients of four colours, as a progressive one needs them.
constexpr long kMostMemory = 640L << 20;

// Each scan of a progressive file costs a pass over the whole picture; files have about ten.
constexpr int kMostScans = 100;

constexpr unsigned kCmykChannels = 4;

/** Warnings after which pixels are made up. */
bool meansLoss(int message) {
    constexpr int kLosses[] = {JWRN_JPEG_EOF, JWRN_HIT_MARKER, JWRN_HUFF_BAD_CODE,
                               JWRN_MUST_RESYNC};
    return std::find(std::begin(kLosses), std::end(kLosses), message) != std::end(kLosses);
}

/** Of printing inks, in what is left of the paper's white. */
std::uint8_t greyOf(const std::uint8_t* cmyk, bool isInverted) {
    std::array<unsigned, kCmykChannels> light{};
    for (std::size_t i = 0; i < light.size(); ++i) light[i] = isInverted ? cmyk[i] : 255U - cmyk[i];
    const unsigned grey = luminance(light[0], light[1], light[2]);
    return static_cast<std::uint8_t>((grey * light[3] + 127) / 255);
}

/** libjpeg is left by longjmp: where it is called from, nothing may need a destructor. */
class JpegReader : public PictureReader {
 public:
    explicit JpegReader(std::FILE* file) {
        jpeg_.err = jpeg_std_error(&errors_);
        jpeg_.client_data = this;
        errors_.error_exit = leave;
        errors_.emit_message = judge;
        progress_.progress_monitor = limitScans;
        if (!readHeader(file)) {
            jpeg_destroy_decompress(&jpeg_);
            fail();
        }
    }
    ~JpegReader() override { jpeg_destroy_decompress(&jpeg_); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    [[nodiscard]] PictureSize size() const override {
        return {jpeg_.image_width, jpeg_.image_height};
    }

    void read(std::uint8_t* pixels) override {
        std::vector<std::uint8_t> inks(isCmyk() ? std::size_t{jpeg_.image_width} * kCmykChannels
                                                : 0);
        if (!readRows(pixels, inks.data())) fail();
    }

 private:
    [[noreturn]] static void leave(j_common_ptr jpeg) {
        auto& self = *static_cast<JpegReader*>(jpeg->client_data);
        (*jpeg->err->format_message)(jpeg, self.message_.data());
        std::longjmp(self.jump_, 1);  // NOLINT(cert-err52-cpp)
    }
    static void judge(j_common_ptr jpeg, int level) {
        if (level < 0 && meansLoss(jpeg->err->msg_code)) leave(jpeg);
    }
    static void limitScans(j_common_ptr jpeg) {
        auto& self = *static_cast<JpegReader*>(jpeg->client_data);
        if (self.jpeg_.input_scan_number <= kMostScans) return;
        std::snprintf(self.message_.data(), self.message_.size(),  // NOLINT(*-vararg)
                      "more than %d scans", kMostScans);
        std::longjmp(self.jump_, 1);  // NOLINT(cert-err52-cpp)
    }

    [[noreturn]] void fail() const {
        throw std::runtime_error(std::string("it is cut off or damaged (") + message_.data() + ")");
    }

    [[nodiscard]] bool isCmyk() const {
        return jpeg_.jpeg_color_space == JCS_CMYK || jpeg_.jpeg_color_space == JCS_YCCK;
    }

    // NOLINTBEGIN(cert-err52-cpp)
    bool readHeader(std::FILE* file) {
        if (setjmp(jump_) != 0) return false;
        jpeg_create_decompress(&jpeg_);
        jpeg_.progress = &progress_;
        jpeg_.mem->max_memory_to_use = kMostMemory;
        jpeg_stdio_src(&jpeg_, file);
        jpeg_read_header(&jpeg_, TRUE);
        return true;
    }

    bool readRows(std::uint8_t* pixels, std::uint8_t* inks) {
        if (setjmp(jump_) != 0) return false;
        jpeg_.out_color_space = isCmyk() ? JCS_CMYK : JCS_GRAYSCALE;
        jpeg_start_decompress(&jpeg_);
        const std::size_t width = jpeg_.output_width;
        while (jpeg_.output_scanline < jpeg_.output_height) {
            std::uint8_t* const to = pixels + jpeg_.output_scanline * width;
            std::uint8_t* row = isCmyk() ? inks : to;
            jpeg_read_scanlines(&jpeg_, &row, 1);
            if (!isCmyk()) continue;
            for (std::size_t x = 0; x < width; ++x) {
                to[x] = greyOf(inks + x * kCmykChannels, jpeg_.saw_Adobe_marker == TRUE);
            }
        }
        jpeg_finish_decompress(&jpeg_);
        return true;
    }
    // NOLINTEND(cert-err52-cpp)

    jpeg_decompress_struct jpeg_{};
    jpeg_error_mgr errors_{};
    jpeg_progress_mgr progress_{};
    std::jmp_buf jump_{};
    std::array<char, JMSG_LENGTH_MAX> message_{};
};

}  // namespace

std::unique_ptr<PictureReader> readJpeg(std::FILE* file) {
    return std::make_unique<JpegReader>(file);
}

}  // namespace kestrosim
