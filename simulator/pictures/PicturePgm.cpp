// SPDX-License-Identifier: Apache-2.0
#include "PictureReader.h"

#include <stdexcept>

namespace kestrosim {
namespace {

constexpr std::uint32_t kMostGreys = 65535;

bool isSpace(int letter) { return letter == ' ' || (letter >= '\t' && letter <= '\r'); }
bool isDigit(int letter) { return letter >= '0' && letter <= '9'; }

class PgmReader : public PictureReader {
 public:
    explicit PgmReader(std::FILE* file) : file_(file) {
        next();
        isText_ = next() == '2';
        size_.width = number();
        size_.height = number();
        most_ = number();
        if (most_ < 1 || most_ > kMostGreys) {
            throw std::runtime_error("its largest grey level is not 1 to 65535");
        }
    }

    [[nodiscard]] PictureSize size() const override { return size_; }

    void read(std::uint8_t* pixels) override {
        const std::size_t count = std::size_t{size_.width} * size_.height;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t grey = isText_ ? number() : sample();
            if (grey > most_) {
                throw std::runtime_error("it has a grey level above the largest that it names");
            }
            pixels[i] = static_cast<std::uint8_t>((grey * 255 + most_ / 2) / most_);
        }
    }

 private:
    int next() {
        const int letter = ::getc_unlocked(file_);
        if (letter == EOF) throw std::runtime_error("it is cut off");
        return letter;
    }

    std::uint32_t sample() {
        auto grey = static_cast<std::uint32_t>(next());
        if (most_ > 255) grey = grey << 8 | static_cast<std::uint32_t>(next());
        return grey;
    }

    void skipLine() {
        while (next() != '\n') {
        }
    }

    /** The first letter of what comes behind space and comments. */
    int skipSpace() {
        int letter = next();
        while (isSpace(letter) || letter == '#') {
            if (letter == '#') skipLine();
            letter = next();
        }
        return letter;
    }

    /** Takes the letter behind the number too, which may be the last before binary pixels. */
    std::uint32_t number() {
        constexpr std::uint32_t kMost = 99'999'999;
        std::uint32_t value = 0;
        int letter = skipSpace();
        if (!isDigit(letter)) throw std::runtime_error("it has no number where one is due");
        for (; isDigit(letter); letter = ::getc_unlocked(file_)) {
            value = value * 10 + static_cast<std::uint32_t>(letter - '0');
            if (value > kMost) throw std::runtime_error("it has a number of more than 8 digits");
        }
        if (letter == '#') std::ungetc(letter, file_);
        return value;
    }

    std::FILE* file_;
    bool isText_ = false;
    PictureSize size_;
    std::uint32_t most_ = 0;
};

}  // namespace

std::unique_ptr<PictureReader> readPgm(std::FILE* file) {
    return std::make_unique<PgmReader>(file);
}

}  // namespace kestrosim
