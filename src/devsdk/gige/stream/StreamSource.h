// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraLink.h"
#include "StreamCounters.h"
#include "VordaGenICam.h"

#include <memory>

namespace Vorda::Gige {

/**
 * The image stream of a camera, stopped.
 *
 * `counters` are reset at each start and may be read while the stream runs.
 */
[[nodiscard]] Memory::TSharedPtr<GenICam::IStreamSource> makeStreamSource(
    std::shared_ptr<CameraLink> link,
    std::shared_ptr<StreamCounters> counters = std::make_shared<StreamCounters>());

}  // namespace Vorda::Gige
