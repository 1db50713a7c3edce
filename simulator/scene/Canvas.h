// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kestrosim {

/** A rectangle of pixels; right and bottom lie just outside. */
struct Box {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    [[nodiscard]] int width() const { return right - left; }
    [[nodiscard]] int height() const { return bottom - top; }
    [[nodiscard]] Box grownBy(int pixels) const {
        return {left - pixels, top - pixels, right + pixels, bottom + pixels};
    }
    [[nodiscard]] bool touches(const Box& other) const {
        return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
    }
    [[nodiscard]] Box clippedTo(int width, int height) const;
};

/** Mono8 pixels to draw on; what lies outside is left out. Integers only: the same on any machine.
 */
class Canvas {
 public:
    Canvas(int width, int height, std::vector<std::uint8_t>& pixels)
        : width_(width), height_(height), pixels_(pixels) {}

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] std::uint8_t& at(int x, int y) {
        return pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                       static_cast<std::size_t>(x)];
    }

    void fill(const Box& box, std::uint8_t value);
    /** Adds to every pixel of the box. */
    void lighten(const Box& box, int amount);
    /** Leaves that many percent of every pixel's brightness. */
    void darken(const Box& box, int percentLeft);
    /** The outline of the box, that many pixels thick, inside it. */
    void frame(const Box& box, int thickness, std::uint8_t value);
    /** Capitals, digits and "-/." in a 5 x 7 letter of that many pixels a dot. */
    void write(int left, int top, std::string_view text, int dot, std::uint8_t value);

    static constexpr int kLetterAdvance = 6;  ///< dots from one letter to the next
    static constexpr int kLetterHeight = 7;   ///< dots

 private:
    int width_;
    int height_;
    std::vector<std::uint8_t>& pixels_;
};

}  // namespace kestrosim
