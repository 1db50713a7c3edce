// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Canvas.h"
#include "SeededRandom.h"

namespace kestrosim {

/** Draws a parcel on a belt over the whole picture; returns where labels may go. */
Box drawGround(Canvas& canvas, SeededRandom& random);

/** Adds the sensor's noise, about 4 grey levels (sigma), to every pixel. */
void addNoise(std::vector<std::uint8_t>& pixels, SeededRandom& random);

}  // namespace kestrosim
