// SPDX-License-Identifier: Apache-2.0
#include "Lettering.h"

#include "Glyphs.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kestrocli {
namespace {

constexpr int kGapUnits = 4;  // from the end of a letter to the beginning of the next
constexpr double kUnitsPerSize = 4;

int advanceOf(const Glyph& glyph, int size) {
    return static_cast<int>(std::lround((glyph.width() + kGapUnits) * size / kUnitsPerSize));
}

struct GridPoint {
    Spot spot;
    bool onLine = true;
};

GridPoint gridPoint(char x, char y) {
    const bool onLine = x < 'a';
    return {{static_cast<double>(x - (onLine ? 'A' : 'a')),
             static_cast<double>(y <= '9' ? y - '0' : y - 'a' + 10)},
            onLine};
}

Spot between(Spot a, Spot b, double share) {
    return {a.x + (b.x - a.x) * share, a.y + (b.y - a.y) * share};
}

void appendBend(std::vector<Spot>& line, Spot towards, Spot end) {
    constexpr int kSteps = 6;
    const Spot start = line.back();
    for (int i = 1; i <= kSteps; ++i) {
        const double share = static_cast<double>(i) / kSteps;
        line.push_back(
            between(between(start, towards, share), between(towards, end, share), share));
    }
}

/** The stroke as a chain of straight lines, on the grid. */
std::vector<Spot> straightened(std::string_view stroke) {
    std::vector<Spot> line = {gridPoint(stroke[0], stroke[1]).spot};
    GridPoint previous;
    for (std::size_t i = 2; i + 1 < stroke.size(); i += 2) {
        const GridPoint point = gridPoint(stroke[i], stroke[i + 1]);
        if (!previous.onLine) {
            const Spot end = point.onLine ? point.spot : between(previous.spot, point.spot, 0.5);
            appendBend(line, previous.spot, end);
        } else if (point.onLine) {
            line.push_back(point.spot);
        }
        previous = point;
    }
    return line;
}

}  // namespace

// Small letters need a little more than the whole pixel that is theirs.
Lettering::Lettering(int size)
    : size_(size), thickness_(std::max(1.4, std::round(3 * size / 8.0))) {}

int Lettering::widthOf(std::string_view utf8) const {
    int width = 0;
    while (!utf8.empty()) width += advanceOf(takeGlyph(utf8), size_);
    return width;
}

std::string Lettering::cut(std::string_view utf8, int width) const {
    if (widthOf(utf8) <= width) return std::string(utf8);
    int rest = width - widthOf(kEllipsis);
    if (rest < 0) return {};
    std::string_view after = utf8;
    std::size_t kept = 0;
    while (!after.empty()) {
        rest -= advanceOf(takeGlyph(after), size_);
        if (rest < 0) break;
        kept = utf8.size() - after.size();
    }
    return std::string(utf8.substr(0, kept)) + std::string(kEllipsis);
}

void Lettering::draw(Raster& raster, int left, int top, std::string_view utf8,
                     Colour colour) const {
    // A line of odd thickness is sharp on the middle of pixels, an even one between them.
    const double offset = std::lround(thickness_) % 2 == 0 ? 0.0 : 0.5;
    const double unit = size_ / kUnitsPerSize;
    while (!utf8.empty()) {
        const Glyph glyph = takeGlyph(utf8);
        const Spot corner{left + offset, top + offset};
        drawStrokes(raster, glyph.base, corner, colour);
        if (!glyph.mark.empty()) {
            const double indent = (glyph.width() - (glyph.mark[0] - 'A')) / 2;
            drawStrokes(raster, glyph.mark,
                        {corner.x + indent * unit, corner.y - glyph.markRise * unit}, colour);
        }
        left += advanceOf(glyph, size_);
    }
}

void Lettering::drawStrokes(Raster& raster, std::string_view glyph, Spot corner,
                            Colour colour) const {
    const double unit = size_ / kUnitsPerSize;
    const auto at = [&](Spot spot) {
        return Spot{corner.x + spot.x * unit, corner.y + spot.y * unit};
    };
    for (std::size_t start = 2; start < glyph.size();) {
        const std::size_t end = std::min(glyph.find(' ', start), glyph.size());
        const auto line = straightened(glyph.substr(start, end - start));
        for (std::size_t i = 1; i < line.size(); ++i) {
            raster.line(at(line[i - 1]), at(line[i]), thickness_, colour);
        }
        start = end + 1;
    }
}

}  // namespace kestrocli
