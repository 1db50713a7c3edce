// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"
#include "StreamSettings.h"

#include <memory>

namespace kestrosim {

/**
 * A scene as the camera sends it: the window of the sensor with its brightness, and of the reading
 * what the reader's settings leave. The scene itself where they change nothing.
 */
[[nodiscard]] std::shared_ptr<const Scene> viewOf(const std::shared_ptr<const Scene>& scene,
                                                  const StreamSettings& settings);

}  // namespace kestrosim
