// SPDX-License-Identifier: Apache-2.0
#include "CodeRegions.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace kestrosim {
namespace {

constexpr int kBlock = 16;  // pixels, of the grid that edges are counted on
constexpr int kStride = 2;  // pixels; every second one of every second row tells enough
constexpr float kSamplesInBlock = (kBlock / kStride) * (kBlock / kStride);
constexpr int kReach = 2;             // blocks; busy blocks so near belong together
constexpr double kMarginPixels = 36;  // with the block's rest the quiet zone that readers ask for
// Squared slopes as the Sobel operator has them: eight times the grey levels from pixel to pixel.
constexpr float kLeastEnergy = 3600;
constexpr float kMostNoise = 6000;
constexpr float kTimesNoise = 2.5F;
constexpr float kShareOfNeighbours = 0.1F;

/** Sums over a block or a region: how steep it is, and which way. */
struct Slopes {
    float energy = 0;  // mean square of the slope
    // The slope's direction as a unit number in the complex plane, raised to the second power
    // (opposite slopes add up) and to the fourth (slopes at right angles do as well).
    float twoCos = 0;
    float twoSin = 0;
    float fourCos = 0;
    float fourSin = 0;
    float steepness = 0;
    float rightwards = 0;  // brighter to the right or darker; bars are as much the one as the other
    float downwards = 0;

    void add(float gx, float gy) {
        const float square = gx * gx + gy * gy;
        if (square == 0) return;
        steepness += std::abs(gx) + std::abs(gy);
        rightwards += gx;
        downwards += gy;
        const float a = gx * gx - gy * gy;
        const float b = 2 * gx * gy;
        energy += square;
        twoCos += a;
        twoSin += b;
        fourCos += (a * a - b * b) / square;
        fourSin += 2 * a * b / square;
    }

    void add(const Slopes& other) {
        energy += other.energy;
        twoCos += other.twoCos;
        twoSin += other.twoSin;
        fourCos += other.fourCos;
        fourSin += other.fourSin;
        steepness += other.steepness;
        rightwards += other.rightwards;
        downwards += other.downwards;
    }

    /** Whether it grows brighter as often as darker; on the edge of a box it does the one alone. */
    [[nodiscard]] bool alternates() const {
        constexpr float kMostOneWay = 0.7F;
        return std::abs(rightwards) + std::abs(downwards) < kMostOneWay * steepness;
    }

    /** The direction across most edges, from -pi/2 to pi/2; edges at right angles to them help. */
    [[nodiscard]] double direction() const {
        const double quarter = std::atan2(fourSin, fourCos) / 4;
        const double along = twoCos * std::cos(2 * quarter) + twoSin * std::sin(2 * quarter);
        if (along >= 0) return quarter;
        constexpr double kHalfPi = 1.57079632679489662;
        return quarter > 0 ? quarter - kHalfPi : quarter + kHalfPi;
    }
};

using Blocks = std::vector<std::pair<int, int>>;  // column, row

/** One cell a block: busy with edges or not. */
class BusyGrid {
 public:
    explicit BusyGrid(const PictureView& picture)
        : columns_((picture.width() + kBlock - 1) / kBlock),
          rows_((picture.height() + kBlock - 1) / kBlock),
          slopes_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)),
          busy_(slopes_.size()) {
        for (int y = 1; y + 1 < picture.height(); y += kStride) addRow(picture, y);
        for (Slopes& block : slopes_) block.energy /= kSamplesInBlock;
        markBusy();
    }

    [[nodiscard]] int columns() const { return columns_; }
    [[nodiscard]] int rows() const { return rows_; }
    [[nodiscard]] const Slopes& at(int column, int row) const {
        return slopes_[index(column, row)];
    }

    [[nodiscard]] bool isBusy(int column, int row) const {
        return column >= 0 && column < columns_ && row >= 0 && row < rows_ &&
               busy_[index(column, row)] != 0;
    }

    /** The blocks around a busy one that hang together; they are taken off the grid. */
    [[nodiscard]] Blocks takeCluster(int column, int row) {
        Blocks cluster;
        take(column, row, cluster);
        for (std::size_t next = 0; next < cluster.size(); ++next) {
            const auto [x, y] = cluster[next];
            for (int dy = -kReach; dy <= kReach; ++dy) {
                for (int dx = -kReach; dx <= kReach; ++dx) take(x + dx, y + dy, cluster);
            }
        }
        return cluster;
    }

 private:
    [[nodiscard]] std::size_t index(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
               static_cast<std::size_t>(column);
    }

    void take(int column, int row, Blocks& cluster) {
        if (!isBusy(column, row)) return;
        busy_[index(column, row)] = 0;
        cluster.emplace_back(column, row);
    }

    void addRow(const PictureView& picture, int y) {
        const std::uint8_t* const above = picture.row(y - 1);
        const std::uint8_t* const here = picture.row(y);
        const std::uint8_t* const below = picture.row(y + 1);
        Slopes* const blocks = &slopes_[index(0, y / kBlock)];
        for (int x = 1; x + 1 < picture.width(); x += kStride) {
            const int gx = above[x + 1] + 2 * here[x + 1] + below[x + 1] - above[x - 1] -
                           2 * here[x - 1] - below[x - 1];
            const int gy = below[x - 1] + 2 * below[x] + below[x + 1] - above[x - 1] -
                           2 * above[x] - above[x + 1];
            blocks[x / kBlock].add(static_cast<float>(gx), static_cast<float>(gy));
        }
    }

    /** What the quieter part of the picture shows, as long as that can be noise. */
    [[nodiscard]] float noise() const {
        if (slopes_.empty()) return 0;
        std::vector<float> energies;
        for (const Slopes& block : slopes_) energies.push_back(block.energy);
        const auto quiet = energies.begin() + static_cast<std::ptrdiff_t>(energies.size() * 3 / 10);
        std::nth_element(energies.begin(), quiet, energies.end());
        return std::min(*quiet, kMostNoise);
    }

    [[nodiscard]] float strongestAround(int column, int row) const {
        constexpr int kAround = 3;
        float strongest = 0;
        for (int y = std::max(0, row - kAround); y <= std::min(rows_ - 1, row + kAround); ++y) {
            for (int x = std::max(0, column - kAround);
                 x <= std::min(columns_ - 1, column + kAround); ++x) {
                strongest = std::max(strongest, at(x, y).energy);
            }
        }
        return strongest;
    }

    [[nodiscard]] bool alternatesAround(int column, int row) const {
        Slopes sum;
        for (int y = std::max(0, row - 1); y <= std::min(rows_ - 1, row + 1); ++y) {
            for (int x = std::max(0, column - 1); x <= std::min(columns_ - 1, column + 1); ++x) {
                sum.add(at(x, y));
            }
        }
        return sum.alternates();
    }

    /** A label's border and the shadow of it are weak beside the code on it: they do not count. */
    void markBusy() {
        const float least = std::max(kLeastEnergy, kTimesNoise * noise());
        for (int row = 0; row < rows_; ++row) {
            for (int column = 0; column < columns_; ++column) {
                const float energy = at(column, row).energy;
                busy_[index(column, row)] =
                    energy > least && energy > kShareOfNeighbours * strongestAround(column, row) &&
                    alternatesAround(column, row);
            }
        }
        dropThinOnes();
    }

    /** Codes are two blocks wide and high at least; an edge of something else is one. */
    void dropThinOnes() {
        std::vector<std::uint8_t> kept(busy_.size());
        for (int row = 0; row + 1 < rows_; ++row) {
            for (int column = 0; column + 1 < columns_; ++column) {
                if (!isBusy(column, row) || !isBusy(column + 1, row) || !isBusy(column, row + 1) ||
                    !isBusy(column + 1, row + 1)) {
                    continue;
                }
                kept[index(column, row)] = kept[index(column + 1, row)] = 1;
                kept[index(column, row + 1)] = kept[index(column + 1, row + 1)] = 1;
            }
        }
        busy_ = std::move(kept);
    }

    int columns_;
    int rows_;
    std::vector<Slopes> slopes_;
    std::vector<std::uint8_t> busy_;
};

CodeRegion regionOf(const BusyGrid& grid, const Blocks& cluster) {
    Slopes slopes;
    for (const auto& [column, row] : cluster) slopes.add(grid.at(column, row));
    const double direction = slopes.direction();
    CodeRegion region;
    region.frame.right = {std::cos(direction), std::sin(direction)};
    region.frame.down = {-region.frame.right.y, region.frame.right.x};

    constexpr double kFar = std::numeric_limits<double>::max();
    Point low{kFar, kFar};
    Point high{-kFar, -kFar};
    for (const auto& [column, row] : cluster) {
        // Of a turned block the tips hold little: half its side each way is reach enough.
        const Point middle{(column + 0.5) * kBlock, (row + 0.5) * kBlock};
        const double x = dot(middle, region.frame.right);
        const double y = dot(middle, region.frame.down);
        low = {std::min(low.x, x), std::min(low.y, y)};
        high = {std::max(high.x, x), std::max(high.y, y)};
    }
    const double margin = kMarginPixels + kBlock / 2.0;
    const Point corner = low - Point{margin, margin};
    region.frame.origin = region.frame.right * corner.x + region.frame.down * corner.y;
    region.width = high.x - low.x + 2 * margin;
    region.height = high.y - low.y + 2 * margin;
    const auto blocks = static_cast<float>(cluster.size());
    region.contrast = std::sqrt(slopes.energy / blocks) / 4;
    region.oneWay = std::hypot(slopes.twoCos, slopes.twoSin) / (slopes.energy * kSamplesInBlock);
    return region;
}

}  // namespace

std::vector<CodeRegion> findCodeRegions(const PictureView& picture) {
    std::vector<CodeRegion> regions;
    BusyGrid grid(picture);
    for (int row = 0; row < grid.rows(); ++row) {
        for (int column = 0; column < grid.columns(); ++column) {
            if (!grid.isBusy(column, row)) continue;
            const Blocks cluster = grid.takeCluster(column, row);
            // A code that can be read covers more than a block.
            if (cluster.size() >= 2) regions.push_back(regionOf(grid, cluster));
        }
    }
    return regions;
}

}  // namespace kestrosim
