// SPDX-License-Identifier: Apache-2.0
#include "CameraClock.h"

#include "Feature.h"
#include "Text.h"

#include <cmath>

namespace kestrocli {
namespace {

using Clock = std::chrono::steady_clock;

/** How cameras name what reads their clock. */
struct ClockFeatures {
    const char* latch;
    const char* value;
    const char* frequency;  ///< null: nanoseconds
};

constexpr ClockFeatures kWays[] = {
    {"TimestampLatch", "TimestampLatchValue", nullptr},
    {"GevTimestampControlLatch", "GevTimestampValue", "GevTimestampTickFrequency"}};

std::int64_t wholeNumber(const Control& control, const char* name) {
    const auto value = Feature(control, name).value();
    const auto* number = value ? std::get_if<std::int64_t>(&*value) : nullptr;
    return number == nullptr ? 0 : *number;
}

}  // namespace

std::optional<ClockReading> readClock(const Control& control) {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    for (const auto& [latch, value, frequency] : kWays) {
        if (!hasFeature(control, latch) || !hasFeature(control, value)) continue;
        if (frequency != nullptr && !hasFeature(control, frequency)) continue;
        ClockReading reading;
        reading.ticksPerSecond =
            frequency == nullptr ? kNanoseconds : wholeNumber(control, frequency);
        if (reading.ticksPerSecond <= 0) continue;
        const auto before = Clock::now();
        if (kestro::ParameterCommand(control.camera(), latch).execute().isFailure()) continue;
        const auto after = Clock::now();
        reading.doubt = (after - before) / 2;
        reading.host = before + reading.doubt;
        reading.ticks = wholeNumber(control, value);
        return reading;
    }
    return std::nullopt;
}

Finding checkCameraClock(const std::optional<ClockReading>& first,
                         const std::optional<ClockReading>& last) {
    constexpr double kMillion = 1e6;
    constexpr double kMostDrift = 500;  // parts in a million; a poor crystal has 100
    const std::string name = "camera clock";
    if (!first || !last) return {Verdict::skip, name, "the camera does not tell its time", {}};
    const double host = std::chrono::duration<double>(last->host - first->host).count();
    const double doubt = std::chrono::duration<double>(first->doubt + last->doubt).count();
    const double camera = static_cast<double>(last->ticks - first->ticks) /
                          static_cast<double>(first->ticksPerSecond);
    if (last->ticks == first->ticks) {
        return {Verdict::warn, name, "it stands still: frames have no time of their own",
                "the maker's firmware; use the times of this host (host_time)"};
    }
    if (host <= 0) return {Verdict::skip, name, "the trial was too short", {}};
    const double drift = (camera / host - 1) * kMillion;
    const double bounds = doubt / host * kMillion;
    const std::string seen = fixed(drift, 0) + " ppm (within " + fixed(bounds, 0) +
                             ") against this host" + " over " + fixed(host, 1) + " s";
    if (std::abs(drift) <= kMostDrift + bounds) return {Verdict::pass, name, seen, {}};
    return {Verdict::warn, name, seen + ": it was set meanwhile, or runs wrong",
            "do not compare timestamps of frames with times of this host"};
}

}  // namespace kestrocli
