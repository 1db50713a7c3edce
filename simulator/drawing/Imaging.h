// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Canvas.h"
#include "SeededRandom.h"

namespace kestrosim {

/**
 * What light, lens, motion and sensor make of the scene.
 *
 * @param difficulty  0 to 10; 0: full contrast, sharp, noise of 4 grey levels (sigma).
 */
void takePicture(Canvas& canvas, int difficulty, SeededRandom& random);

}  // namespace kestrosim
