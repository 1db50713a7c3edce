// SPDX-License-Identifier: Apache-2.0
#include "BarBody.h"

#include <algorithm>
#include <cmath>

namespace kestrosim {
namespace {

/** Rows without the bars that still lie within one code: a scratch, a fold, some dirt. */
constexpr int kMostGapRows = 18;

UprightLine fitAll(const std::vector<Point>& points) {
    Point mean;
    for (const Point& point : points) mean = mean + point;
    mean = mean * (1.0 / static_cast<double>(points.size()));
    double xy = 0;
    double yy = 0;
    for (const Point& point : points) {
        xy += (point.x - mean.x) * (point.y - mean.y);
        yy += (point.y - mean.y) * (point.y - mean.y);
    }
    const double slope = yy > 0 ? xy / yy : 0;
    return {mean.x - slope * mean.y, slope};
}

}  // namespace

UprightLine fitUpright(const std::vector<Point>& points) {
    const UprightLine first = fitAll(points);
    std::vector<double> offsets;
    for (const Point& point : points) offsets.push_back(std::abs(point.x - first.x(point.y)));
    std::vector<double> sorted = offsets;
    std::nth_element(sorted.begin(),
                     sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2), sorted.end());
    const double most = std::max(0.5, 3 * sorted[sorted.size() / 2]);
    std::vector<Point> near;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (offsets[i] <= most) near.push_back(points[i]);
    }
    return near.size() < 2 ? first : fitAll(near);
}

BarBody::BarBody(const GreyMap& grey, int samplesAcross, const UprightLine& left,
                 const UprightLine& right, int top, int bottom)
    : grey_(grey),
      samplesAcross_(samplesAcross),
      left_(left),
      right_(right),
      top_(std::clamp(top, 0, grey.height - 1)),
      bottom_(std::clamp(bottom, top_ + 1, grey.height)) {
    const double middle = (top_ + bottom_) / 2.0;
    const double width = std::max(1.0, right.x(middle) - left.x(middle));
    profile_.resize(static_cast<std::size_t>(width * kSamplesAPixel) + 1);
    for (std::size_t i = 0; i < profile_.size(); ++i) {
        const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(profile_.size());
        double sum = 0;
        for (int row = top_; row < bottom_; ++row) sum += sample(share, row);
        profile_[i] = sum / (bottom_ - top_);
    }
}

double BarBody::sample(double share, int row) const {
    const double y = row + 0.5;
    const double x = (left_.x(y) * (1 - share) + right_.x(y) * share) * samplesAcross_;
    const int column = std::clamp(static_cast<int>(x), 0, grey_.width - 1);
    return grey_.at(column, row);
}

/** How much of the bars' contrast a row shows between those samples of the profile. */
double BarBody::likeness(int row, std::size_t from, std::size_t to, double mean) const {
    double sum = 0;
    for (std::size_t i = from; i < to; ++i) {
        const double share = (static_cast<double>(i) + 0.5) / static_cast<double>(profile_.size());
        sum += (profile_[i] - mean) * sample(share, row);
    }
    return sum;
}

/** The last row in that direction that shows the bars. */
int BarBody::walk(int row, int step, std::size_t from, std::size_t to, double least) const {
    double mean = 0;
    for (std::size_t i = from; i < to; ++i) mean += profile_[i];
    mean /= static_cast<double>(to - from);
    int last = row;
    for (int y = row + step; y >= 0 && y < grey_.height && std::abs(y - last) <= kMostGapRows;
         y += step) {
        if (likeness(y, from, to, mean) >= least) last = y;
    }
    return last;
}

BarBody::Extent BarBody::extent(double fromShare, double toShare) const {
    const auto size = static_cast<double>(profile_.size());
    const auto from = static_cast<std::size_t>(fromShare * size);
    const auto to = std::max(from + 1, static_cast<std::size_t>(toShare * size));
    double mean = 0;
    for (std::size_t i = from; i < to; ++i) mean += profile_[i];
    mean /= static_cast<double>(to - from);
    double whole = 0;
    for (std::size_t i = from; i < to; ++i) {
        whole += (profile_[i] - mean) * (profile_[i] - mean);
    }
    const int middle = (top_ + bottom_) / 2;
    return {static_cast<double>(walk(middle, -1, from, to, whole / 2)),
            static_cast<double>(walk(middle, 1, from, to, whole / 2)) + 1};
}

Outline BarBody::corners(double share) const {
    const Extent left = extent(0, share);
    const Extent right = extent(1 - share, 1);
    // The extents hold for the middle of their shares; from there out to the edges.
    const double out = share / 2 / (1 - share);
    const double dTop = (right.top - left.top) * out;
    const double dBottom = (right.bottom - left.bottom) * out;
    const auto at = [](const UprightLine& line, double y) { return Point{line.x(y), y}; };
    return {at(left_, left.top - dTop), at(right_, right.top + dTop),
            at(right_, right.bottom + dBottom), at(left_, left.bottom - dBottom)};
}

}  // namespace kestrosim
