// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "GreyMap.h"

namespace kestrosim {

/** x = at + slope * y: an edge that is upright but for what the frame misses. */
struct UprightLine {
    double at = 0;
    double slope = 0;

    [[nodiscard]] double x(double y) const { return at + slope * y; }
};

/** The line nearest to those points, but for the few that lie far off. */
[[nodiscard]] UprightLine fitUpright(const std::vector<Point>& points);

/** Bars between two edges: how far up and down the same bars go, and what they look like. */
class BarBody {
 public:
    /**
     * @param grey           a line of samples a pixel row, `samplesAcross` of them a pixel.
     * @param left, right    the outer edges, in pixels of the frame.
     * @param top, bottom    rows that show the bars.
     */
    BarBody(const GreyMap& grey, int samplesAcross, const UprightLine& left,
            const UprightLine& right, int top, int bottom);

    /** The bars' grey levels from edge to edge, mean of the rows, `kSamplesAPixel` a pixel. */
    [[nodiscard]] const std::vector<double>& profile() const { return profile_; }

    /** The corners in pixels of the frame, from the bars at `share` of the width at either side. */
    [[nodiscard]] Outline corners(double share) const;

    static constexpr int kSamplesAPixel = 3;

 private:
    struct Extent {
        double top = 0;
        double bottom = 0;
    };

    [[nodiscard]] double sample(double share, int row) const;
    [[nodiscard]] double likeness(int row, std::size_t from, std::size_t to, double mean) const;
    [[nodiscard]] Extent extent(double fromShare, double toShare) const;
    [[nodiscard]] int walk(int row, int step, std::size_t from, std::size_t to, double least) const;

    const GreyMap& grey_;
    int samplesAcross_;
    UprightLine left_;
    UprightLine right_;
    int top_;
    int bottom_;
    std::vector<double> profile_;
};

}  // namespace kestrosim
