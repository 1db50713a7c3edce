// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "SeededRandom.h"

namespace kestrosim {

/** Smooth unevenness: random heights on a lattice of cells, interpolated between. */
class Unevenness {
 public:
    Unevenness(int width, int height, int cellPixels, int amplitude, SeededRandom& random)
        : cell_(cellPixels),
          columns_(width / cellPixels + 2),
          heights_(static_cast<std::size_t>(columns_) *
                   static_cast<std::size_t>(height / cellPixels + 2)) {
        for (int& value : heights_) value = random.between(-amplitude, amplitude);
    }

    [[nodiscard]] int at(int x, int y) const {
        const int fx = x % cell_;
        const int fy = y % cell_;
        const auto columns = static_cast<std::size_t>(columns_);
        const auto cell =
            static_cast<std::size_t>(y / cell_) * columns + static_cast<std::size_t>(x / cell_);
        const auto below = cell + columns;
        const int upper = heights_[cell] * (cell_ - fx) + heights_[cell + 1] * fx;
        const int lower = heights_[below] * (cell_ - fx) + heights_[below + 1] * fx;
        return (upper * (cell_ - fy) + lower * fy) / (cell_ * cell_);
    }

 private:
    int cell_;
    int columns_;
    std::vector<int> heights_;
};

}  // namespace kestrosim
