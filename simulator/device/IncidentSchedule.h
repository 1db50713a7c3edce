// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FaultPlan.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace kestrosim {

/** Which incidents are due, each once. One thread at a time. */
class IncidentSchedule {
 public:
    using Clock = std::chrono::steady_clock;

    IncidentSchedule(std::vector<Incident> incidents, Clock::time_point switchedOn);

    /** A frame more was sent: the incidents that are due by that. */
    [[nodiscard]] std::vector<Incident> takeDueByFrame();
    /** The incidents that are due by the time. */
    [[nodiscard]] std::vector<Incident> takeDue(Clock::time_point now);
    /** When takeDue() has something to take at the earliest. */
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;

 private:
    template <typename IsDue>
    std::vector<Incident> take(IsDue isDue);

    std::vector<Incident> incidents_;  ///< that did not happen yet
    Clock::time_point switchedOn_;
    std::uint64_t frames_ = 0;
};

}  // namespace kestrosim
