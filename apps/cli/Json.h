// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "FeatureFile.h"
#include "FeatureValue.h"
#include "Finding.h"

#include <Simulator.h>
#include <kestro/Frame.h>

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

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
/** All about a feature; the names of the categories that it lies in, from below "Root". */
[[nodiscard]] std::string featureLine(const FeatureRecord& feature,
                                      const std::vector<std::string>& categories);
/** A feature before and after it was set; empty for a value that cannot be read. */
[[nodiscard]] std::string changeLine(const std::string& name,
                                     const std::optional<FeatureValue>& before,
                                     const std::optional<FeatureValue>& after);
[[nodiscard]] std::string differenceLine(const Difference& difference);
/** A register of four bytes. */
[[nodiscard]] std::string registerLine(std::uint64_t address, std::uint32_t value);
[[nodiscard]] std::string memoryLine(std::uint64_t address, std::span<const std::uint8_t> bytes);
/** A feature that changed by itself. */
[[nodiscard]] std::string updateLine(std::chrono::system_clock::time_point time,
                                     const std::string& name,
                                     const std::optional<FeatureValue>& value);
[[nodiscard]] std::string connectionLine(std::chrono::system_clock::time_point time, bool online);
/** What a check saw; an empty key stands for this host. */
[[nodiscard]] std::string findingLine(const std::string& cameraKey, const Finding& finding);
[[nodiscard]] std::string statisticsLine(const kestrosim::CameraOptions& camera,
                                         const kestrosim::CameraStatistics& statistics);

}  // namespace kestrocli
