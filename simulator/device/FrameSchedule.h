// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StreamSettings.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace kestrosim {

/**
 * When the frames of an acquisition are due: at the frame rate, each on a trigger of its own, or
 * in bursts that wait for one. One thread at a time.
 */
class FrameSchedule {
 public:
    using Clock = std::chrono::steady_clock;

    /** Begins anew. After `framesWanted` frames the acquisition is over; 0: never. */
    void start(Clock::time_point now, std::uint64_t framesWanted);
    /** A trigger; false when nothing waits for it. */
    bool trigger(TriggerKind kind, const StreamSettings& settings, Clock::time_point now);
    /** When the next frame is due; empty while it waits for a trigger. */
    [[nodiscard]] std::optional<Clock::time_point> due(const StreamSettings& settings) const;
    /** The frame that is due is taken now. The next one is due a period later. */
    void begin(const StreamSettings& settings, Clock::time_point now);
    [[nodiscard]] bool isOver() const { return framesWanted_ != 0 && frames_ >= framesWanted_; }

 private:
    using Pending = std::deque<Clock::time_point>;

    [[nodiscard]] bool awaitsBurst(const StreamSettings& settings) const;
    [[nodiscard]] Pending& pending(TriggerKind kind);
    [[nodiscard]] const Pending& pending(TriggerKind kind) const;

    std::uint64_t frames_ = 0;
    std::uint64_t framesWanted_ = 0;
    std::uint32_t burstLeft_ = 0;                 ///< frames of the burst under way
    Clock::time_point frameTime_;                 ///< when the latest untriggered frame was due
    std::array<Pending, kTriggerCount> pending_;  ///< when each unanswered trigger takes effect
};

}  // namespace kestrosim
