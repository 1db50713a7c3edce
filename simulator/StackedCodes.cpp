// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>

#include "BarBody.h"
#include "FoundCode.h"
#include "GreyMap.h"
#include "SymbolDecoder.h"

namespace kestrosim {
namespace {

constexpr int kMostCodes = 8;
constexpr int kStartModules = 17;
constexpr int kStopModules = 18;

/** How well the profile's first modules are the start pattern, if the code is so many wide. */
double startFit(const std::vector<double>& profile, int modules) {
    constexpr std::array<int, 8> kStart{8, 1, 1, 1, 1, 1, 1, 3};
    double fit = 0;
    int module = 0;
    for (std::size_t i = 0; i < kStart.size(); ++i) {
        for (int end = module + kStart[i]; module < end; ++module) {
            const auto at = static_cast<std::size_t>((module + 0.5) / modules *
                                                     static_cast<double>(profile.size()));
            const double grey = profile[std::min(at, profile.size() - 1)];
            fit += i % 2 == 0 ? -grey / 11 : grey / 6;
        }
    }
    return fit;
}

int modulesAcross(const std::vector<double>& profile) {
    int best = 0;
    double bestFit = 0;
    for (int columns = 1; columns <= 30; ++columns) {
        const int modules = 17 * (columns + 4) + 1;
        const double fit = startFit(profile, modules);
        if (best != 0 && fit <= bestFit) continue;
        best = modules;
        bestFit = fit;
    }
    return best;
}

class StackedReader {
 public:
    explicit StackedReader(const UprightCut& cut) : cut_(cut), ink_(cut.ink) {}

    [[nodiscard]] std::vector<FoundCode> read() {
        std::vector<FoundCode> codes;
        for (int i = 0; i < kMostCodes; ++i) {
            const auto decoded = decodeStack(ink_);
            if (!decoded) break;
            codes.push_back(measured(*decoded));
            blank(decoded->corners);
        }
        return codes;
    }

 private:
    [[nodiscard]] FoundCode measured(const DecodedStack& decoded) const {
        // Read upside down, the code's own upper left is the cut-out's lower right.
        const bool reversed = decoded.corners[0].x > decoded.corners[1].x;
        Outline upright = decoded.corners;
        if (reversed) std::rotate(upright.begin(), upright.begin() + 2, upright.end());
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

std::vector<FoundCode> readStackedCodes(const UprightCut& cut) { return StackedReader(cut).read(); }

}  // namespace kestrosim
