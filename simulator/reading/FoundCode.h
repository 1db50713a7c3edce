// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "CodeRegions.h"
#include "Geometry.h"
#include "GreyMap.h"
#include "PictureView.h"

namespace kestrosim {

/** A code as read, where the picture shows it. */
struct FoundCode {
    std::string type;
    std::string text;
    Outline corners;  ///< in the code's own order: upper left first, clockwise
    double pixelsPerModule = 0;
};

/** How hard to try; what is more costs more and is for codes that less did not read. */
enum class Effort { plain, more };

/** The bar codes in the region whose bars are upright in it, as far as it is not to stop. */
[[nodiscard]] std::vector<FoundCode> readLinearCodes(const PictureView& picture,
                                                     const CodeRegion& region, Effort effort,
                                                     const std::stop_token& stop);

/** The region held upright, and what is ink in it. */
struct UprightCut {
    UprightCut(const PictureView& picture, const CodeRegion& region);

    [[nodiscard]] Point toPicture(const Point& at) const {
        return frame.toPicture(at * (1.0 / samples));
    }

    /** What is ink in a map made of `grey`. */
    [[nodiscard]] GreyMap inkIn(const GreyMap& map) const;

    PictureView picture;
    Frame frame;
    int samples;  ///< a pixel, either way: more for small regions, whose modules are small
    int leastContrast;
    GreyMap grey;
    GreyMap ink;
};

/** The PDF417 codes whose bars are upright. */
[[nodiscard]] std::vector<FoundCode> readStackedCodes(const UprightCut& cut, Effort effort);

/** The QR codes, any side up. */
[[nodiscard]] std::vector<FoundCode> readQrCodes(const UprightCut& cut);

/** The Data Matrix codes, any side up. */
[[nodiscard]] std::vector<FoundCode> readDataMatrixCodes(const UprightCut& cut);

}  // namespace kestrosim
