// SPDX-License-Identifier: Apache-2.0
#include "Raster.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace kestrocli {
namespace {

struct Segment {
    Spot from;
    Spot to;
};

/** The part of a line between two bounds in one direction, as shares of its length. */
bool narrow(double start, double step, double low, double high, std::pair<double, double>& part) {
    if (step == 0) return start >= low && start <= high;
    const auto [near, far] = std::minmax({(low - start) / step, (high - start) / step});
    part.first = std::max(part.first, near);
    part.second = std::min(part.second, far);
    return part.first <= part.second;
}

std::optional<Segment> clipped(const Segment& line, const Rect& bounds) {
    const double dx = line.to.x - line.from.x;
    const double dy = line.to.y - line.from.y;
    std::pair<double, double> part{0, 1};
    if (!narrow(line.from.x, dx, bounds.left, bounds.right, part) ||
        !narrow(line.from.y, dy, bounds.top, bounds.bottom, part)) {
        return std::nullopt;
    }
    const auto at = [&](double share) {
        return Spot{line.from.x + share * dx, line.from.y + share * dy};
    };
    return Segment{at(part.first), at(part.second)};
}

double distanceTo(const Segment& line, double x, double y) {
    const double dx = line.to.x - line.from.x;
    const double dy = line.to.y - line.from.y;
    const double length2 = dx * dx + dy * dy;
    const double along = (x - line.from.x) * dx + (y - line.from.y) * dy;
    const double share = length2 > 0 ? std::clamp(along / length2, 0.0, 1.0) : 0.0;
    return std::hypot(x - line.from.x - share * dx, y - line.from.y - share * dy);
}

/** Pixels of a row or column: from the first to before the last. */
struct Range {
    std::size_t first = 0;
    std::size_t last = 0;
};

/** The pixels that touch what lies between two places. */
Range pixels(double low, double high, std::uint32_t size) {
    const double most = size;
    return {static_cast<std::size_t>(std::clamp(std::floor(low), 0.0, most)),
            static_cast<std::size_t>(std::clamp(std::ceil(high), 0.0, most))};
}

/** What of a row at that height is nearer than `reach` to some of the line's points. */
Range touchedInRow(const Segment& line, double y, double reach, std::uint32_t width) {
    std::pair<double, double> part{0, 1};
    if (!narrow(line.from.y, line.to.y - line.from.y, y - reach, y + reach, part)) return {};
    const double dx = line.to.x - line.from.x;
    const auto [left, right] =
        std::minmax({line.from.x + part.first * dx, line.from.x + part.second * dx});
    return pixels(left - reach, right + reach, width);
}

}  // namespace

Raster::Raster(std::uint32_t width, std::uint32_t height, std::vector<std::uint8_t> rgb)
    : width_(width), height_(height), rgb_(std::move(rgb)) {
    rgb_.resize(std::size_t{width} * height * 3);
}

void Raster::line(Spot from, Spot to, double thickness, Colour colour) {
    const double radius = thickness / 2;
    const double reach = radius + 0.5;  // where a pixel's middle is when the line just touches it
    const auto visible =
        clipped({from, to}, {-reach - 1, -reach - 1, width_ + reach + 1.0, height_ + reach + 1.0});
    if (!visible) return;
    const auto [top, bottom] = std::minmax(visible->from.y, visible->to.y);
    const Range rows = pixels(top - reach, bottom + reach, height_);
    for (std::size_t y = rows.first; y < rows.last; ++y) {
        const double middle = static_cast<double>(y) + 0.5;
        const Range row = touchedInRow(*visible, middle, reach, width_);
        for (std::size_t x = row.first; x < row.last; ++x) {
            blend(x, y, colour, reach - distanceTo(*visible, static_cast<double>(x) + 0.5, middle));
        }
    }
}

void Raster::roundedRect(const Rect& rect, double radius, Colour colour) {
    const Rect core{rect.left + radius, rect.top + radius, rect.right - radius,
                    rect.bottom - radius};
    const Range rows = pixels(rect.top, rect.bottom, height_);
    const Range columns = pixels(rect.left, rect.right, width_);
    for (std::size_t y = rows.first; y < rows.last; ++y) {
        const double middle = static_cast<double>(y) + 0.5;
        const double dy = std::max({core.top - middle, middle - core.bottom, 0.0});
        for (std::size_t x = columns.first; x < columns.last; ++x) {
            const double centre = static_cast<double>(x) + 0.5;
            const double dx = std::max({core.left - centre, centre - core.right, 0.0});
            blend(x, y, colour, radius + 0.5 - std::hypot(dx, dy));
        }
    }
}

void Raster::blend(std::size_t x, std::size_t y, Colour colour, double coverage) {
    if (coverage <= 0) return;
    const double share = std::min(coverage, 1.0);
    std::uint8_t* pixel = &rgb_[(y * width_ + x) * 3];
    for (const std::uint8_t part : {colour.red, colour.green, colour.blue}) {
        *pixel = static_cast<std::uint8_t>(std::lround(*pixel + (part - *pixel) * share));
        ++pixel;
    }
}

}  // namespace kestrocli
