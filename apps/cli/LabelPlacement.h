// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Raster.h"

#include <vector>

namespace kestrocli {

/** A code's outline: its corners in order. */
using Outline = std::vector<Spot>;

[[nodiscard]] Rect boundsOf(const Outline& outline);
/** True when they share some area; takes an outline that is not convex for its hull. */
[[nodiscard]] bool overlap(const Rect& rect, const Outline& outline);

/** Finds places for labels beside codes. */
class LabelPlacement {
 public:
    LabelPlacement(Rect picture, const std::vector<Outline>& codes)
        : picture_(picture), codes_(codes) {}

    /**
     * The best place for the next label, inside the picture: as near to its code as can be without
     * covering that, other codes or labels before it. The label must fit into the picture.
     */
    [[nodiscard]] Rect place(std::size_t code, double width, double height);

 private:
    [[nodiscard]] double costOf(const Rect& label, std::size_t code) const;

    Rect picture_;
    const std::vector<Outline>& codes_;
    std::vector<Rect> placed_;
};

}  // namespace kestrocli
