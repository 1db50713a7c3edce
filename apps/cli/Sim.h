// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Options.h"

#include <Simulator.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kestrocli {

/**
 * The cameras that the options ask for: several get serial numbers S-1, S-2 ..., addresses and
 * seeds that follow each other. Throws Failure (usage) for what no camera can have.
 */
[[nodiscard]] std::vector<kestrosim::CameraOptions> planCameras(const SimOptions& options);

/** What goes wrong with the first camera. Throws Failure (usage). */
[[nodiscard]] kestrosim::FaultPlan planFaults(const SimOptions& options);

/** What --format takes. */
[[nodiscard]] std::vector<std::string> formatNames();

/** The IPv4 address `steps` after this one; throws Failure (usage). */
[[nodiscard]] std::string addressAfter(const std::string& address, std::uint32_t steps);

}  // namespace kestrocli
