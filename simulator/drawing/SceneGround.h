// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Canvas.h"
#include "SeededRandom.h"

namespace kestrosim {

/** Draws a parcel on a belt over the whole picture; returns where labels may go. */
Box drawGround(Canvas& canvas, SeededRandom& random);

}  // namespace kestrosim
