// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "SeededRandom.h"

namespace kestrosim {

/** Smooth unevenness: random heights on a lattice of square cells, interpolated between. */
template <int kCellBits>
class Unevenness {
 public:
    Unevenness(int width, int height, int amplitude, SeededRandom& random)
        : columns_(width / kCell + 2),
          heights_(static_cast<std::size_t>(columns_) *
                   static_cast<std::size_t>(height / kCell + 2)),
          row_(static_cast<std::size_t>(columns_)) {
        for (int& value : heights_) value = random.between(-amplitude, amplitude);
    }

    /** What at() tells of from now on. */
    void goToRow(int y) {
        const int below = y % kCell;
        const std::size_t first =
            static_cast<std::size_t>(y / kCell) * static_cast<std::size_t>(columns_);
        for (std::size_t i = 0; i < row_.size(); ++i) {
            row_[i] =
                heights_[first + i] * (kCell - below) + heights_[first + row_.size() + i] * below;
        }
    }

    [[nodiscard]] int at(int x) const {
        const auto column = static_cast<std::size_t>(x / kCell);
        const int right = x % kCell;
        return (row_[column] * (kCell - right) + row_[column + 1] * right) >> (2 * kCellBits);
    }

 private:
    static constexpr int kCell = 1 << kCellBits;

    int columns_;
    std::vector<int> heights_;
    std::vector<int> row_;
};

/** How much of a slope from end to end there is at that place of a length: whole steps. */
class Slope {
 public:
    Slope(int rise, int length) : step_(rise * kUnit / length) {}
    [[nodiscard]] int at(int place) const { return (step_ * place) / kUnit; }

 private:
    static constexpr int kUnit = 1 << 14;
    int step_;
};

}  // namespace kestrosim
