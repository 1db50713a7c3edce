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

/** The point of an outline that is nearest to another point. */
[[nodiscard]] Spot nearestPoint(const Outline& outline, Spot to);

struct LabelSize {
    double width = 0;
    double height = 0;
};

/**
 * Finds a place for each code's label, as near to the code as can be without covering that, other
 * codes or other labels, and without being nearer to another code. The sizes are one for each code,
 * and each label must fit into the room: that is where all of them end up.
 */
[[nodiscard]] std::vector<Rect> placeLabels(const Rect& room, const std::vector<Outline>& codes,
                                            const std::vector<LabelSize>& sizes);

}  // namespace kestrocli
