// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "PictureView.h"
#include "Scene.h"

namespace kestrosim {

using Corners = std::array<PixelPoint, 4>;

/** What the decoder does not say of a code that it read: taken from the picture. */
struct Measured {
    Corners corners;
    double pixelsPerModule = 0;
};

/** A Code 128, from the few rows that the decoder looked at: its bars' full height and its module.
 */
[[nodiscard]] Measured measureLinear(const PictureView& picture, const Corners& rows);

/** A QR code: its module, from the size whose finder and timing patterns fit best. */
[[nodiscard]] Measured measureMatrix(const PictureView& picture, const Corners& corners);

}  // namespace kestrosim
