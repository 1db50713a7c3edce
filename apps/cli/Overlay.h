// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Raster.h"

#include <kestro/BarcodeInfo.h>

#include <memory>
#include <vector>

namespace kestrocli {

/** Codes of one picture, as its frame has them. */
using Codes = std::vector<std::shared_ptr<kestro::BarcodeInfo>>;

/**
 * Draws what was read onto the picture that it was read in.
 *
 * Each code gets its outline, with a dot on its first point and an arrow towards its second, and a
 * label with its type and text. Lines and letters are sized to the picture. Of more than 256 codes
 * the rest is only counted, in a corner. Points may have any values.
 */
void drawOverlay(Raster& picture, const Codes& codes);

}  // namespace kestrocli
