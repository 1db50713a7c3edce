// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <cstdint>

namespace kestro::bench {

inline constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

inline std::int64_t readClock(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * kNanosecondsPerSecond + time.tv_nsec;
}

/** Nanoseconds of the clock that all programs of a machine share. */
inline std::int64_t monotonicNow() { return readClock(CLOCK_MONOTONIC); }

}  // namespace kestro::bench
