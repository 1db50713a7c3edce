// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrocli {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

/** A place in a picture: (0, 0) is its upper left corner, (0.5, 0.5) the middle of a pixel. */
struct Spot {
    double x = 0;
    double y = 0;
};

struct Rect {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    [[nodiscard]] double width() const { return right - left; }
    [[nodiscard]] double height() const { return bottom - top; }
};

/**
 * A picture in RGB, 8 bits a colour, to draw on with smooth edges.
 *
 * Anything may lie anywhere: what is outside is left out, and costs no time.
 */
class Raster {
 public:
    /** The pixels by rows, three bytes each; width x height x 3 of them. */
    Raster(std::uint32_t width, std::uint32_t height, std::vector<std::uint8_t> rgb);

    [[nodiscard]] std::uint32_t width() const { return width_; }
    [[nodiscard]] std::uint32_t height() const { return height_; }
    [[nodiscard]] const std::vector<std::uint8_t>& rgb() const { return rgb_; }

    /** A line with round ends. */
    void line(Spot from, Spot to, double thickness, Colour colour);
    void disc(Spot centre, double radius, Colour colour) {
        line(centre, centre, 2 * radius, colour);
    }
    void roundedRect(const Rect& rect, double radius, Colour colour);

 private:
    void blend(std::size_t x, std::size_t y, Colour colour, double coverage);

    std::uint32_t width_;
    std::uint32_t height_;
    std::vector<std::uint8_t> rgb_;
};

}  // namespace kestrocli
