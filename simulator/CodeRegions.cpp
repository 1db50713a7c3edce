// SPDX-License-Identifier: Apache-2.0
#include "CodeRegions.h"

#include <algorithm>
#include <cstdlib>

namespace kestrosim {
namespace {

constexpr int kBlock = 16;      // pixels, of the grid that edges are counted on
constexpr int kHardEdge = 100;  // grey levels within two pixels; ink on paper, hardly ever a shadow
constexpr int kEdgesInBlock = 20;  // one bar through the whole block makes 32 at either side
constexpr int kReach = 2;          // blocks; busy blocks so near belong together
constexpr int kMarginPixels = 40;  // holds the quiet zone that readers ask for

/** One cell a block: busy with edges or not. */
class BusyGrid {
 public:
    explicit BusyGrid(const PictureView& picture)
        : columns_((picture.width() + kBlock - 1) / kBlock),
          rows_((picture.height() + kBlock - 1) / kBlock),
          busy_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {
        for (int row = 0; row < rows_; ++row) countRow(picture, row);
    }

    [[nodiscard]] int columns() const { return columns_; }
    [[nodiscard]] int rows() const { return rows_; }

    /** The blocks around a busy one that hang together, in blocks; they are taken off the grid. */
    [[nodiscard]] Box takeCluster(int column, int row) {
        Box cluster{column, row, column + 1, row + 1};
        std::vector<std::pair<int, int>> open;
        take(column, row, open);
        while (!open.empty()) {
            const auto [x, y] = open.back();
            open.pop_back();
            cluster = {std::min(cluster.left, x), std::min(cluster.top, y),
                       std::max(cluster.right, x + 1), std::max(cluster.bottom, y + 1)};
            for (int dy = -kReach; dy <= kReach; ++dy) {
                for (int dx = -kReach; dx <= kReach; ++dx) take(x + dx, y + dy, open);
            }
        }
        return cluster;
    }

    [[nodiscard]] bool isBusy(int column, int row) const {
        return column >= 0 && column < columns_ && row >= 0 && row < rows_ &&
               busy_[index(column, row)] != 0;
    }

 private:
    [[nodiscard]] std::size_t index(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
               static_cast<std::size_t>(column);
    }

    void take(int column, int row, std::vector<std::pair<int, int>>& open) {
        if (!isBusy(column, row)) return;
        busy_[index(column, row)] = 0;
        open.emplace_back(column, row);
    }

    void countRow(const PictureView& picture, int row) {
        std::vector<int> edges(static_cast<std::size_t>(columns_));
        const int bottom = std::min((row + 1) * kBlock, picture.height());
        for (int y = row * kBlock; y < bottom; ++y) {
            const std::uint8_t* const line = picture.row(y);
            for (int x = 0; x + 2 < picture.width(); ++x) {
                const bool hard = std::abs(line[x + 2] - line[x]) > kHardEdge;
                edges[static_cast<std::size_t>(x / kBlock)] += hard ? 1 : 0;
            }
        }
        for (int column = 0; column < columns_; ++column) {
            busy_[index(column, row)] = edges[static_cast<std::size_t>(column)] > kEdgesInBlock;
        }
    }

    int columns_;
    int rows_;
    std::vector<std::uint8_t> busy_;
};

Box toPixels(const Box& blocks, const PictureView& picture) {
    const Box box{blocks.left * kBlock, blocks.top * kBlock, blocks.right * kBlock,
                  blocks.bottom * kBlock};
    return box.grownBy(kMarginPixels).clippedTo(picture.width(), picture.height());
}

}  // namespace

std::vector<Box> findCodeRegions(const PictureView& picture) {
    std::vector<Box> regions;
    BusyGrid grid(picture);
    for (int row = 0; row < grid.rows(); ++row) {
        for (int column = 0; column < grid.columns(); ++column) {
            if (!grid.isBusy(column, row)) continue;
            const Box cluster = grid.takeCluster(column, row);
            // A code that can be read covers more than a block.
            if (cluster.width() * cluster.height() < 2) continue;
            regions.push_back(toPixels(cluster, picture));
        }
    }
    return regions;
}

}  // namespace kestrosim
