// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace kestrosim {

/**
 * The temperature inside the camera: from that of the room when it is switched on, slowly to one
 * that is the higher the more frames it makes. One thread.
 */
class Thermometer {
 public:
    using Clock = std::chrono::steady_clock;

    /** In degrees Celsius, to a sixteenth. `frames` have been made so far. */
    [[nodiscard]] double read(Clock::time_point now, std::uint32_t frames) {
        const double seconds = std::chrono::duration<double>(now - lastRead_).count();
        if (seconds < kShortestSeconds) return rounded();
        const double framesPerSecond = (frames - lastFrames_) / seconds;
        const double target = kIdle + std::min(framesPerSecond * kPerFrame, kMostByFrames);
        degrees_ += (target - degrees_) * (1 - std::exp(-seconds / kSecondsToWarm));
        lastRead_ = now;
        lastFrames_ = frames;
        return rounded();
    }

 private:
    static constexpr double kRoom = 22;
    static constexpr double kIdle = 38;
    static constexpr double kPerFrame = 0.25;
    static constexpr double kMostByFrames = 18;
    static constexpr double kSecondsToWarm = 120;
    static constexpr double kShortestSeconds = 0.1;

    [[nodiscard]] double rounded() const { return std::round(degrees_ * 16) / 16; }

    double degrees_ = kRoom;
    Clock::time_point lastRead_ = Clock::now();
    std::uint32_t lastFrames_ = 0;
};

}  // namespace kestrosim
