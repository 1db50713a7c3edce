// SPDX-License-Identifier: Apache-2.0
#include "GreyMap.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace kestrosim {
namespace {

constexpr double kOutside = kPaperValue;
constexpr int kOne = 1 << 16;  // of the fixed-point numbers that places in a line are stepped with

double pixelOr(const PictureView& picture, int x, int y) {
    return picture.contains(x, y) ? picture.at(x, y) : kOutside;
}

/** Steps from..to, both included, of a line along which a coordinate is within bounds. */
struct Steps {
    int from;
    int to;

    void keepWithin(double start, double step, double low, double high) {
        if (std::abs(step) < 1e-9) {
            if (start < low || start > high) to = from - 1;
            return;
        }
        const double first = (step > 0 ? low - start : high - start) / step;
        const double last = (step > 0 ? high - start : low - start) / step;
        from = static_cast<int>(std::ceil(std::clamp(first, static_cast<double>(from), to + 1.0)));
        to = static_cast<int>(std::floor(std::clamp(last, from - 1.0, static_cast<double>(to))));
    }
};

/** Where all four pixels around a point of the line are there, whichever way it is rounded. */
Steps stepsInside(const PictureView& picture, const Point& start, const Point& step, int count) {
    Steps steps{0, count - 1};
    steps.keepWithin(start.x, step.x, 1, picture.width() - 1.5);
    steps.keepWithin(start.y, step.y, 1, picture.height() - 1.5);
    return steps;
}

/** Samples of a line, all of them well inside the picture. */
void sampleInside(const PictureView& picture, Point from, const Point& step, std::uint8_t* out,
                  int count) {
    auto x = static_cast<std::int64_t>((from.x - 0.5) * kOne);
    auto y = static_cast<std::int64_t>((from.y - 0.5) * kOne);
    const auto stepX = static_cast<std::int64_t>(step.x * kOne);
    const auto stepY = static_cast<std::int64_t>(step.y * kOne);
    for (int i = 0; i < count; ++i, x += stepX, y += stepY) {
        const std::uint8_t* const upper =
            picture.row(static_cast<int>(y >> 16)) + static_cast<int>(x >> 16);
        const std::uint8_t* const lower = upper + picture.width();
        const int fx = static_cast<int>(x & 0xFFFF) >> 8;
        const int fy = static_cast<int>(y & 0xFFFF) >> 8;
        const int above = upper[0] * (256 - fx) + upper[1] * fx;
        const int below = lower[0] * (256 - fx) + lower[1] * fx;
        out[i] = static_cast<std::uint8_t>((above * (256 - fy) + below * fy + 0x8000) >> 16);
    }
}

/** The darkest and the brightest of every cell of a grid, and then of all cells within reach. */
class Extremes {
 public:
    Extremes(const GreyMap& grey, int reachAcross, int reachDown)
        : cellWidth_(std::max(1, reachAcross / kCellsInReach)),
          cellHeight_(std::max(1, reachDown / kCellsInReach)),
          columns_((grey.width + cellWidth_ - 1) / cellWidth_),
          rows_((grey.height + cellHeight_ - 1) / cellHeight_),
          darkest_(columns_, rows_),
          brightest_(columns_, rows_) {
        std::fill(brightest_.pixels.begin(), brightest_.pixels.end(), std::uint8_t{0});
        collect(grey);
        spread(std::min(kCellsInReach, reachAcross), std::min(kCellsInReach, reachDown));
    }

    [[nodiscard]] int cellWidth() const { return cellWidth_; }
    [[nodiscard]] int darkest(int x, int y) const {
        return darkest_.at(x / cellWidth_, y / cellHeight_);
    }
    [[nodiscard]] int brightest(int x, int y) const {
        return brightest_.at(x / cellWidth_, y / cellHeight_);
    }

 private:
    static constexpr int kCellsInReach = 4;

    void collect(const GreyMap& grey) {
        for (int y = 0; y < grey.height; ++y) {
            std::uint8_t* const dark = darkest_.row(y / cellHeight_);
            std::uint8_t* const bright = brightest_.row(y / cellHeight_);
            const std::uint8_t* const line = grey.row(y);
            for (int x = 0, column = 0, left = cellWidth_; x < grey.width; ++x) {
                dark[column] = std::min(dark[column], line[x]);
                bright[column] = std::max(bright[column], line[x]);
                if (--left > 0) continue;
                ++column;
                left = cellWidth_;
            }
        }
    }

    template <class Better>
    void spreadOne(GreyMap& map, int across, int down, Better better) const {
        GreyMap wide(columns_, rows_);
        for (int y = 0; y < rows_; ++y) {
            for (int x = 0; x < columns_; ++x) {
                const auto* const from = map.row(y) + std::max(0, x - across);
                const auto* const to = map.row(y) + std::min(columns_, x + across + 1);
                wide.row(y)[x] = *std::min_element(from, to, better);
            }
        }
        for (int y = 0; y < rows_; ++y) {
            for (int x = 0; x < columns_; ++x) {
                std::uint8_t best = wide.row(y)[x];
                const int end = std::min(rows_, y + down + 1);
                for (int other = std::max(0, y - down); other < end; ++other) {
                    best = std::min(best, wide.row(other)[x], better);
                }
                map.row(y)[x] = best;
            }
        }
    }

    void spread(int across, int down) {
        spreadOne(darkest_, across, down, std::less<>());
        spreadOne(brightest_, across, down, std::greater<>());
    }

    int cellWidth_;
    int cellHeight_;
    int columns_;
    int rows_;
    GreyMap darkest_;
    GreyMap brightest_;
};

}  // namespace

double greyAt(const PictureView& picture, const Point& point) {
    const double x = point.x - 0.5;
    const double y = point.y - 0.5;
    const int column = static_cast<int>(std::floor(x));
    const int row = static_cast<int>(std::floor(y));
    const double fx = x - column;
    const double fy = y - row;
    const double above =
        pixelOr(picture, column, row) * (1 - fx) + pixelOr(picture, column + 1, row) * fx;
    const double below =
        pixelOr(picture, column, row + 1) * (1 - fx) + pixelOr(picture, column + 1, row + 1) * fx;
    return above * (1 - fy) + below * fy;
}

GreyMap cutOut(const PictureView& picture, const Frame& frame, double width, double height,
               int samplesAcross, int samplesDown) {
    GreyMap cut(std::max(1, static_cast<int>(width * samplesAcross)),
                std::max(1, static_cast<int>(height * samplesDown)));
    const Point step = frame.right * (1.0 / samplesAcross);
    for (int y = 0; y < cut.height; ++y) {
        const Point start = frame.toPicture(Point{0.5 / samplesAcross, (y + 0.5) / samplesDown});
        const auto [from, to] = stepsInside(picture, start, step, cut.width);
        if (from > to) continue;
        sampleInside(picture, start + step * from, step, cut.row(y) + from, to - from + 1);
    }
    return cut;
}

GreyMap halved(const PictureView& picture) {
    GreyMap half(picture.width() / 2, picture.height() / 2);
    for (int y = 0; y < half.height; ++y) {
        const std::uint8_t* const upper = picture.row(2 * y);
        const std::uint8_t* const lower = picture.row(2 * y + 1);
        for (int x = 0; x < half.width; ++x) {
            const int sum = upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1];
            half.row(y)[x] = static_cast<std::uint8_t>((sum + 2) / 4);
        }
    }
    return half;
}

GreyMap sharpened(const GreyMap& grey, int reach) {
    GreyMap sharp(grey.width, grey.height);
    std::vector<int> sums(static_cast<std::size_t>(grey.width) + 1);
    for (int y = 0; y < grey.height; ++y) {
        const std::uint8_t* const line = grey.row(y);
        std::partial_sum(line, line + grey.width, sums.begin() + 1, std::plus<int>());
        for (int x = 0; x < grey.width; ++x) {
            const int from = std::max(0, x - reach);
            const int to = std::min(grey.width, x + reach + 1);
            const int sum =
                sums[static_cast<std::size_t>(to)] - sums[static_cast<std::size_t>(from)];
            const int value = 3 * line[x] - 2 * sum / (to - from);
            sharp.row(y)[x] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
        }
    }
    return sharp;
}

GreyMap smoothedDown(const GreyMap& grey, int reach) {
    GreyMap smooth(grey.width, grey.height);
    std::vector<int> sums(static_cast<std::size_t>(grey.width));
    for (int y = 0; y < grey.height; ++y) {
        const int from = std::max(0, y - reach);
        const int to = std::min(grey.height, y + reach + 1);
        std::fill(sums.begin(), sums.end(), 0);
        for (int other = from; other < to; ++other) {
            const std::uint8_t* const line = grey.row(other);
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += line[x];
        }
        std::transform(sums.begin(), sums.end(), smooth.row(y),
                       [&](int sum) { return static_cast<std::uint8_t>(sum / (to - from)); });
    }
    return smooth;
}

GreyMap inkOf(const GreyMap& grey, int reachAcross, int reachDown, int leastContrast) {
    const Extremes extremes(grey, reachAcross, reachDown);
    GreyMap ink(grey.width, grey.height);
    for (int y = 0; y < grey.height; ++y) {
        const std::uint8_t* const line = grey.row(y);
        std::uint8_t* const out = ink.row(y);
        for (int begin = 0; begin < grey.width; begin += extremes.cellWidth()) {
            const int dark = extremes.darkest(begin, y);
            const int bright = extremes.brightest(begin, y);
            if (bright - dark < leastContrast) continue;
            const int end = std::min(grey.width, begin + extremes.cellWidth());
            for (int x = begin; x < end; ++x) {
                out[x] = 2 * line[x] < dark + bright ? kInkValue : kPaperValue;
            }
        }
    }
    return ink;
}

}  // namespace kestrosim
