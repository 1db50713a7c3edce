// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Homography.h"
#include "Label.h"

namespace kestrosim {

/** How a label lies in the picture. */
struct LabelPose {
    Point centre;
    int degrees = 0;     ///< clockwise from upright
    int tiltAcross = 0;  ///< degrees, about the label's upright axis: one side recedes
    int tiltDown = 0;    ///< degrees, about its level axis: its head or its foot recedes
};

/** From quarters of a pixel on the label's face to pixels of the picture. */
[[nodiscard]] Homography pictureOf(const Label& label, const LabelPose& pose);

/** The outline of a label of that pose, grown by that many pixels on all sides. */
[[nodiscard]] Outline outlineOf(const Label& label, const LabelPose& pose, int growPixels);

/** Where the box of the label's face lies in the picture. */
[[nodiscard]] Outline quadOf(const Box& box, const Homography& picture);

/** Puts the label's face with its shadow on the picture: each pixel as dark as what it covers. */
void drawLabel(Canvas& canvas, const Label& label, const Homography& picture);

}  // namespace kestrosim
