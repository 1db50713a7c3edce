// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Geometry.h"
#include "PictureView.h"

namespace kestrosim {

/** A place where a code may be: a rectangle turned as the edges in it lie, most of them upright. */
struct CodeRegion {
    Frame frame;  ///< its origin is the rectangle's upper left corner
    double width = 0;
    double height = 0;
    double contrast = 0;  ///< grey levels that its hard edges have, roughly
    double oneWay = 0;    ///< 1: all edges are upright; 0: as many lie

    /** Whether a code that fills it can be seen without looking between pixels. */
    [[nodiscard]] bool isLarge() const {
        constexpr double kLargeArea = 500'000;
        return width * height > kLargeArea;
    }
};

/** The places with many hard edges, each with some margin, from top to bottom. */
[[nodiscard]] std::vector<CodeRegion> findCodeRegions(const PictureView& picture);

}  // namespace kestrosim
