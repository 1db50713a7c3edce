// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Canvas.h"
#include "PictureView.h"

namespace kestrosim {

/** Where codes may be: the places with many hard edges and some margin, from top to bottom. */
[[nodiscard]] std::vector<Box> findCodeRegions(const PictureView& picture);

}  // namespace kestrosim
