// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrosim {

/** Mono8 pixels to look at; borrowed. */
class PictureView {
 public:
    PictureView(const std::uint8_t* data, int width, int height)
        : data_(data), width_(width), height_(height) {}

    [[nodiscard]] const std::uint8_t* data() const { return data_; }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] const std::uint8_t* row(int y) const {
        return data_ + static_cast<std::ptrdiff_t>(y) * width_;
    }
    [[nodiscard]] int at(int x, int y) const { return row(y)[x]; }
    [[nodiscard]] bool contains(int x, int y) const {
        return x >= 0 && x < width_ && y >= 0 && y < height_;
    }

 private:
    const std::uint8_t* data_;
    int width_;
    int height_;
};

}  // namespace kestrosim
