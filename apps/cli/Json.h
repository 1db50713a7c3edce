// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"

#include <Simulator.h>
#include <kestro/Frame.h>

#include <chrono>
#include <string>

namespace kestrocli {

/** What a result record says beside the frame itself. */
struct FrameContext {
    std::string cameraKey;
    std::chrono::system_clock::time_point hostTime;
    std::string image;  ///< where the picture was saved; empty: nowhere
};

// Each is one JSON object on one line, in UTF-8, without the newline.

[[nodiscard]] std::string cameraLine(const CameraRecord& camera, const CameraState& state);
/** As docs/formats/result.schema.json describes it. */
[[nodiscard]] std::string resultLine(const kestro::Frame& frame, const FrameContext& context);
[[nodiscard]] std::string statisticsLine(const kestrosim::CameraOptions& camera,
                                         const kestrosim::CameraStatistics& statistics);

}  // namespace kestrocli
