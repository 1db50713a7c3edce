// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"

#include <string>
#include <vector>

namespace kestrocli {

/** Every camera on the network; throws Failure when the search cannot be made. */
[[nodiscard]] std::vector<FoundCamera> discoverCameras();

/**
 * The one camera that the text means (see matching()).
 *
 * Throws Failure with a list of what there is: ExitCode::notFound for none, ExitCode::usage for
 * several.
 */
[[nodiscard]] FoundCamera findCamera(const std::string& text);

/** findCamera() among these; separate from the network. */
[[nodiscard]] const FoundCamera& chooseCamera(const std::vector<FoundCamera>& cameras,
                                              const std::string& text);

}  // namespace kestrocli
