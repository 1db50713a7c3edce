// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "Scene.h"

namespace kestrosim {

/** Draws the scene of that number: pixels and `drawn` are set, nothing is read yet. */
[[nodiscard]] Scene drawScene(const SceneOptions& options, std::uint32_t number);

/** Reads the codes in the pixels: sets `read`, `status` and `readMilliseconds`. */
void readScene(Scene& scene);

}  // namespace kestrosim
