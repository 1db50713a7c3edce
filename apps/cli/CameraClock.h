// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"
#include "Finding.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace kestrocli {

/** The camera's clock at a moment of the host's. */
struct ClockReading {
    std::int64_t ticks = 0;
    std::int64_t ticksPerSecond = 0;
    std::chrono::steady_clock::time_point host;  ///< the middle of the question
    std::chrono::nanoseconds doubt{};            ///< half of how long it took
};

/** Latches the camera's clock; empty for a camera that does not tell it. */
[[nodiscard]] std::optional<ClockReading> readClock(const Control& control);

/** Whether it runs, and as fast as the host's. */
[[nodiscard]] Finding checkCameraClock(const std::optional<ClockReading>& first,
                                       const std::optional<ClockReading>& last);

}  // namespace kestrocli
