// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "BarBody.h"
#include "FoundCode.h"
#include "GreyMap.h"
#include "SymbolDecoder.h"

namespace kestrosim {
namespace {

constexpr int kMostCodes = 8;
constexpr int kStartModules = 17;
constexpr int kStopModules = 18;
constexpr int kLeastModules = 17 * (1 + 4) + 1;

/** Module by module, whether the start pattern is dark there; then the stop pattern. */
constexpr std::array<bool, kStartModules> kStart{true,  true, true,  true,  true,  true,
                                                 true,  true, false, true,  false, true,
                                                 false, true, false, false, false};
constexpr std::array<bool, kStopModules> kStop{true, true,  true, true,  true,  true,
                                               true, false, true, false, false, false,
                                               true, false, true, false, false, true};

/**
 * How alike the profile's ends and the two patterns are.
 *
 * @param module  of the start pattern, in samples.
 * @param last    of the stop pattern; seen from the side it is as much smaller as that is larger.
 */
double patternFit(const std::vector<double>& profile, double module, double last) {
    constexpr int kParts = 4;  // of a module
    double greys = 0;
    double squares = 0;
    double dark = 0;
    const auto add = [&](double at, bool isDark) {
        const double grey = profile[std::min(static_cast<std::size_t>(at), profile.size() - 1)];
        greys += grey;
        squares += grey * grey;
        dark += isDark ? grey : 0;
    };
    const auto size = static_cast<double>(profile.size());
    for (int i = 0; i < kStartModules * kParts; ++i) {
        add((i + 0.5) / kParts * module, kStart[static_cast<std::size_t>(i / kParts)]);
    }
    for (int i = 0; i < kStopModules * kParts; ++i) {
        add(size - (kStopModules - (i + 0.5) / kParts) * last,
            kStop[static_cast<std::size_t>(i / kParts)]);
    }
    constexpr int kDarkParts = (11 + 11) * kParts;
    constexpr int kAllParts = (kStartModules + kStopModules) * kParts;
    const double spread = std::sqrt(std::max(1e-9, squares - greys * greys / kAllParts));
    return (greys * kDarkParts / kAllParts - dark) / spread;
}

int modulesAcross(const std::vector<double>& profile) {
    constexpr int kMostColumns = 30;
    constexpr int kMostTilt = 7;  // times two percent
    // Tilted enough, a column too many fits, too; patterns that fit well get about 5.
    constexpr double kCostOfTilt = 2;
    int best = kLeastModules;
    double bestFit = 0;
    for (int columns = 1; columns <= kMostColumns; ++columns) {
        const int modules = 17 * (columns + 4) + 1;
        const double module = static_cast<double>(profile.size()) / modules;
        for (int tilt = -kMostTilt; tilt <= kMostTilt; ++tilt) {
            const double share = tilt * 0.02;
            const double fit = patternFit(profile, module * (1 + share), module * (1 - share)) -
                               kCostOfTilt * std::abs(share);
            if (fit <= bestFit) continue;
            best = modules;
            bestFit = fit;
        }
    }
    return best;
}

class StackedReader {
 public:
    StackedReader(const UprightCut& cut, GreyMap ink) : cut_(cut), ink_(std::move(ink)) {}

    [[nodiscard]] std::vector<FoundCode> read() {
        std::vector<FoundCode> codes;
        for (int i = 0; i < kMostCodes; ++i) {
            const auto decoded = decodeStack(ink_);
            if (!decoded) break;
            codes.push_back(measured(*decoded));
            blank(seenOf(decoded->corners).corners);
        }
        return codes;
    }

 private:
    /** The code's corners as the cut-out shows them, upper left first, and whether it is on its
     * head. */
    struct Seen {
        Outline corners;
        bool reversed = false;
    };

    /** The library says where the start pattern is, but not always where the stop pattern is. */
    [[nodiscard]] Seen seenOf(const Outline& own) const {
        constexpr double kLeastWidth = kLeastModules * 2;
        Seen seen{own, own[0].x > own[1].x};
        if (std::abs(own[1].x - own[0].x) < kLeastWidth ||
            std::abs(own[2].x - own[3].x) < kLeastWidth ||
            std::abs(own[1].y - own[0].y) > std::abs(own[1].x - own[0].x) / 4) {
            // A corner that it does not know is the first sample, or the last of all if reversed.
            seen.reversed = own[1].x >= 1;
            seen.corners[1] = farEnd(own, own[0], seen.reversed ? -1 : 1);
            seen.corners[2] = farEnd(own, own[3], seen.reversed ? -1 : 1);
        }
        if (seen.reversed) {
            std::rotate(seen.corners.begin(), seen.corners.begin() + 2, seen.corners.end());
        }
        return seen;
    }

    /** Along the row through the code's middle, until there is more paper than codes have. */
    [[nodiscard]] Point farEnd(const Outline& own, const Point& from, int step) const {
        const int row = std::clamp(static_cast<int>((own[0].y + own[3].y) / 2), 0, ink_.height - 1);
        const double shift = from.x - (own[0].x + own[3].x) / 2;
        int x =
            std::clamp(static_cast<int>((own[0].x + own[3].x) / 2) + 3 * step, 0, ink_.width - 1);
        int bar = 0;
        while (x + step >= 0 && x + step < ink_.width && ink_.isInk(x, row)) {
            x += step;
            ++bar;
        }
        const int mostPaper = std::max(4, bar);  // eight modules; six are the most within
        int last = x;
        for (; x >= 0 && x < ink_.width && std::abs(x - last) < mostPaper; x += step) {
            if (ink_.isInk(x, row)) last = x;
        }
        return {last + (step > 0 ? 1 : 0) + shift, from.y};
    }

    [[nodiscard]] FoundCode measured(const DecodedStack& decoded) const {
        const auto [upright, reversed] = seenOf(decoded.corners);
        const UprightLine left = fitUpright({upright[0], upright[3]});
        const UprightLine right = fitUpright({upright[1], upright[2]});
        const BarBody body(cut_.grey, 1, left, right, static_cast<int>(upright[0].y),
                           static_cast<int>(upright[3].y));
        std::vector<double> profile = body.profile();
        if (reversed) std::reverse(profile.begin(), profile.end());
        const int modules = modulesAcross(profile);
        Outline corners = body.corners(static_cast<double>(kStartModules) / modules);
        for (Point& corner : corners) corner = cut_.toPicture(corner);
        const double width =
            (length(corners[1] - corners[0]) + length(corners[2] - corners[3])) / 2;
        FoundCode code{"PDF417", decoded.text, corners, width / modules};
        if (reversed)
            std::rotate(code.corners.begin(), code.corners.begin() + 2, code.corners.end());
        return code;
    }

    void blank(const Outline& corners) {
        Point low = corners[0];
        Point high = corners[0];
        for (const Point& corner : corners) {
            low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
            high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
        }
        const int left = std::clamp(static_cast<int>(low.x) - 1, 0, ink_.width);
        const int right = std::clamp(static_cast<int>(high.x) + 2, left, ink_.width);
        const int top = std::clamp(static_cast<int>(low.y) - 1, 0, ink_.height);
        const int bottom = std::clamp(static_cast<int>(high.y) + 2, top, ink_.height);
        for (int y = top; y < bottom; ++y) {
            std::fill(ink_.row(y) + left, ink_.row(y) + right, kPaperValue);
        }
    }

    const UprightCut& cut_;
    GreyMap ink_;  // what was read is blank in it
};

}  // namespace

std::vector<FoundCode> readStackedCodes(const UprightCut& cut, Effort effort) {
    auto codes = StackedReader(cut, cut.ink).read();
    if (effort == Effort::plain) return codes;
    for (const int reach : {2, 4}) {
        if (!codes.empty()) break;
        const GreyMap sharp = sharpened(smoothedDown(cut.grey, 2), reach * cut.samples);
        codes = StackedReader(cut, cut.inkIn(sharp)).read();
    }
    return codes;
}

}  // namespace kestrosim
