// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "Control.h"
#include "Finding.h"
#include "Host.h"

#include <string>
#include <vector>

namespace kestrocli {

// What `kestro doctor` checks of cameras, up to the stream.

/** How the search went. */
[[nodiscard]] Finding checkSearch(const Host& host, const std::vector<CameraRecord>& cameras);

/** Where the camera was found; the others are those whose addresses are taken. */
[[nodiscard]] Findings checkPlace(const Host& host, const CameraRecord& camera,
                                  const CameraState& state,
                                  const std::vector<CameraRecord>& others);

/** True when some program has the control of it. */
[[nodiscard]] bool isControlled(const CameraState& state);
/** Who controls it, as it says before it is connected. */
[[nodiscard]] Finding checkAccess(const CameraRecord& camera, const CameraState& state);

/** Downloads the description, walks the tree and reads what can be read. */
[[nodiscard]] Finding checkDescription(const Control& control);

/** Whether the connection held, and what becomes of the camera if this program dies. */
[[nodiscard]] Finding checkHeartbeat(const Control& control, bool wasLost);

/** The address of the host that the camera was found from; null when it is gone. */
[[nodiscard]] const HostAddress* addressTowards(const Host& host, const CameraRecord& camera);

/** "192.168.1.7/24": an address for the camera in the interface's subnet; empty without one. */
[[nodiscard]] std::string proposedAddress(const Host& host, const CameraRecord& camera,
                                          const std::vector<CameraRecord>& others);

}  // namespace kestrocli
