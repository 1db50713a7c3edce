// SPDX-License-Identifier: Apache-2.0
#include "Lettering.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace kestrocli {
namespace {

/*
 * A glyph is its width, then strokes with a blank between. A stroke is a list of points, two
 * characters each: x and y on a grid on which capitals are 12 high.
 *
 *   x  A = 0, B = 1 ...  a point of the line
 *      a = 0, b = 1 ...  the line bends towards this point and does not reach it
 *   y  0 = top of capitals, 4 = top of small letters, c = 12 = where they stand, g = 16 = tails
 *
 * Between two points of the bending kind lies one of the line, in the middle. A stroke of one
 * point twice is a dot.
 */
constexpr std::array<std::string_view, 95> kGlyphs = {
    "D",                                             // blank
    "C B0B8 BcBc",                                   // !
    "E A0A3 E0E3",                                   // "
    "I D1Bb H1Fb A4I4 A8I8",                         // #
    "I I4i2E2a2A4a6E6i6I8iaEaaaA8 E0Ec",             // $
    "K C0a0A2a4C4e4E2e0C0 I8g8GagcIckcKak8I8 J0Bc",  // %
    "J JcC4c0E0g0G3g5D6a7A9acDchcJ7",                // &
    "C B0B3",                                        // '
    "D D0a3A7abDe",                                  // (
    "D A0d3D7dbAe",                                  // )
    "I E1E9 A3I7 I3A7",                              // *
    "I A7I7 E3Eb",                                   // +
    "C BcAe",                                        // ,
    "F A7F7",                                        // -
    "C BcBc",                                        // .
    "H AcH0",                                        // /
    "G D0a0A3A9acDcgcG9G3g0D0 B9F3",                 // 0
    "G B2D0Dc BcFc",                                 // 1
    "G A3a0D0g0G3g6AcGc",                            // 2
    "G A3a0D0g0G3g6D6C6 D6g6G9gcDcacA9",             // 3
    "G FcF0A8G8",                                    // 4
    "G G0A0A5D5g5G8G9gcDcacAa",                      // 5
    "G F0a0A6A9acDcgcG9G8g5D5a5A8",                  // 6
    "G A0G0Cc",                                      // 7
    "G D6a6A3a0D0g0G3g6D6a6A9acDcgcG9g6D6",          // 8
    "G BcgcG6G3g0D0a0A3A4a7D7g7G4",                  // 9
    "C B5B5 BcBc",                                   // :
    "C B5B5 BcAe",                                   // ;
    "H H2A7Hc",                                      // <
    "I A5I5 A9I9",                                   // =
    "H A2H7Ac",                                      // >
    "G A3a0D0g0G3g6D7D8 DcDc",                       // ?
    "M I6i4G4e4E6e9G9i9I6I7i9K9m9M6m0G0a0A6acGcJc",  // @
    "I AcE0Ic B9H9",                                 // A
    "I AcA0E0h0H3h6E6A6 E6i6I9icEcAc",               // B
    "I I3i0E0a0A3A9acEcicI9",                        // C
    "I A0E0i0I4I8icEcAcA0",                          // D
    "H H0A0AcHc A6F6",                               // E
    "H H0A0Ac A6F6",                                 // F
    "I I3i0E0a0A3A9acEcicI9I7E7",                    // G
    "I A0Ac I0Ic A6I6",                              // H
    "E A0E0 AcEc C0Cc",                              // I
    "G G0G9gcDcacA9",                                // J
    "I A0Ac I0A8 E4Ic",                              // K
    "H A0AcHc",                                      // L
    "K AcA0F8K0Kc",                                  // M
    "I AcA0IcI0",                                    // N
    "I E0a0A3A9acEcicI9I3i0E0",                      // O
    "I AcA0E0i0I3I4i7E7A7",                          // P
    "I E0a0A3A9acEcicI9I3i0E0 F9Id",                 // Q
    "I AcA0E0i0I3I4i7E7A7 E7Ic",                     // R
    "I I3i0E0a0A3a6E6i6I9icEcacA9",                  // S
    "I A0I0 E0Ec",                                   // T
    "I A0A9acEcicI9I0",                              // U
    "I A0EcI0",                                      // V
    "M A0DcG3JcM0",                                  // W
    "I A0Ic I0Ac",                                   // X
    "I A0E6I0 E6Ec",                                 // Y
    "I A0I0AcIc",                                    // Z
    "D D0A0AeDe",                                    // [
    "H A0Hc",                                        // backslash
    "D A0D0DeAe",                                    // ]
    "G A4D0G4",                                      // ^
    "I AeIe",                                        // _
    "D A0C3",                                        // `
    "G A6a4D4g4G7Gc G8D8a8AaacCcgcG9",               // a
    "G A0Ac A7a4D4g4G7G9gcDcacA9",                   // b
    "G G6g4D4a4A7A9acDcgcGa",                        // c
    "G G0Gc G7g4D4a4A7A9acDcgcG9",                   // d
    "G A8G8G7g4D4a4A7A9acDcfcGb",                    // e
    "E E0b0B3Bc A4E4",                               // f
    "G G4GdggDgbgAf G7g4D4a4A7A9acDcgcG9",           // g
    "G A0Ac A7a4D4g4G7Gc",                           // h
    "C B4Bc B1B1",                                   // i
    "D C4CdcgAg C1C1",                               // j
    "G A0Ac G4A9 C7Gc",                              // k
    "D A0A9acCc",                                    // l
    "K A4Ac A7a4C4D4f4F7Fc F7f4H4I4k4K7Kc",          // m
    "G A4Ac A7a4D4g4G7Gc",                           // n
    "G D4a4A7A9acDcgcG9G7g4D4",                      // o
    "G A4Ag A7a4D4g4G7G9gcDcacA9",                   // p
    "G G4Gg G7g4D4a4A7A9acDcgcG9",                   // q
    "E A4Ac A7a4E4",                                 // r
    "G G6g4D4a4A6a8D8g8GagcDcacAa",                  // s
    "E B1B9bcEc A4E4",                               // t
    "G A4A9acDcgcG9 G4Gc",                           // u
    "G A4DcG4",                                      // v
    "K A4CcF5IcK4",                                  // w
    "G A4Gc G4Ac",                                   // x
    "G A4Dc G4Cf",                                   // y
    "G A4G4AcGc",                                    // z
    "D D0b0B3B5b7A7b7B9BbbeDe",                      // {
    "C B0Be",                                        // |
    "D A0c0C3C5c7D7c7C9CbceAe",                      // }
    "I A8b5E7h9I6",                                  // ~
};
constexpr std::string_view kBox = "G A0G0GcAcA0";
constexpr std::string_view kThreeDots = "I AcAc EcEc IcIc";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

constexpr int kGapUnits = 4;  // from the end of a letter to the beginning of the next
constexpr double kUnitsPerSize = 4;

/** Takes the first character off the text, which is not empty. */
std::string_view takeGlyph(std::string_view& utf8) {
    if (utf8.starts_with(kEllipsis)) {
        utf8.remove_prefix(kEllipsis.size());
        return kThreeDots;
    }
    const auto lead = static_cast<unsigned char>(utf8.front());
    std::size_t length = 1;
    while (lead >= 0x80 && length < utf8.size() &&
           (static_cast<unsigned char>(utf8[length]) & 0xC0U) == 0x80) {
        ++length;
    }
    utf8.remove_prefix(length);
    return lead >= ' ' && lead <= '~' ? kGlyphs[lead - static_cast<std::size_t>(' ')] : kBox;
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

int Lettering::advanceOf(std::string_view glyph) const {
    return static_cast<int>(std::lround((glyph[0] - 'A' + kGapUnits) * size_ / kUnitsPerSize));
}

int Lettering::widthOf(std::string_view utf8) const {
    int width = 0;
    while (!utf8.empty()) width += advanceOf(takeGlyph(utf8));
    return width;
}

std::string Lettering::cut(std::string_view utf8, int width) const {
    if (widthOf(utf8) <= width) return std::string(utf8);
    int rest = width - advanceOf(kThreeDots);
    if (rest < 0) return {};
    std::string_view after = utf8;
    std::size_t kept = 0;
    while (!after.empty()) {
        rest -= advanceOf(takeGlyph(after));
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
        const std::string_view glyph = takeGlyph(utf8);
        for (std::size_t start = 2; start < glyph.size();) {
            const std::size_t end = std::min(glyph.find(' ', start), glyph.size());
            const auto line = straightened(glyph.substr(start, end - start));
            for (std::size_t i = 1; i < line.size(); ++i) {
                const auto at = [&](Spot spot) {
                    return Spot{left + offset + spot.x * unit, top + offset + spot.y * unit};
                };
                raster.line(at(line[i - 1]), at(line[i]), thickness_, colour);
            }
            start = end + 1;
        }
        left += advanceOf(glyph);
    }
}

}  // namespace kestrocli
