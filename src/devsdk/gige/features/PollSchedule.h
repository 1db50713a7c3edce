// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <queue>
#include <utility>
#include <vector>

namespace Vorda::Gige {

/**
 * When which of a row of things is due, each in its period.
 *
 * A period counts from the end of the round before: things with the same period stay together, and
 * a slow camera gets its pause.
 */
class PollSchedule {
 public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    /** Shorter ones would let a description flood the wire. */
    static constexpr Milliseconds kShortestPeriod{50};
    static constexpr Milliseconds kLongestPeriod = std::chrono::hours(24);

    /** Things are numbered from 0 in the order in which they are added; each is due at once. */
    void add(Milliseconds period, Clock::time_point now) {
        waiting_.push({now, periods_.size()});
        periods_.push_back(std::clamp(period, kShortestPeriod, kLongestPeriod));
    }
    /** When the next is due; there is at least one. */
    [[nodiscard]] Clock::time_point next() const { return waiting_.top().first; }
    /** Takes those that are due, the longest overdue first; they wait again after finish(). */
    [[nodiscard]] std::vector<std::size_t> takeDue(Clock::time_point now) {
        std::vector<std::size_t> due;
        while (!waiting_.empty() && waiting_.top().first <= now) {
            due.push_back(waiting_.top().second);
            waiting_.pop();
        }
        return due;
    }
    void finish(const std::vector<std::size_t>& round, Clock::time_point now) {
        for (const std::size_t each : round) waiting_.push({now + periods_[each], each});
    }

 private:
    using Deadline = std::pair<Clock::time_point, std::size_t>;

    std::vector<Milliseconds> periods_;
    std::priority_queue<Deadline, std::vector<Deadline>, std::greater<>> waiting_;
};

}  // namespace Vorda::Gige
