// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

namespace kestrosim {

/**
 * Spreads packets evenly over time: small bursts, each at its absolute deadline, so that neither
 * the sleep's inaccuracy nor the time spent sending adds up. One thread.
 */
class Pacer {
 public:
    using Clock = std::chrono::steady_clock;

    /** `interval` is the time from the start of one packet to the start of the next. */
    explicit Pacer(std::chrono::nanoseconds interval);

    /** How many packets may leave at once. */
    [[nodiscard]] std::size_t burstPackets() const { return burstPackets_; }
    /** Sleeps until the packets after the `packets` just sent are due. */
    void waitAfter(std::size_t packets);

    /** What one packet of that IP length and the pause behind it take on the link. */
    [[nodiscard]] static std::chrono::nanoseconds interval(std::size_t ipBytes, double linkMbits,
                                                           std::chrono::nanoseconds pause);

 private:
    std::chrono::nanoseconds interval_;
    std::size_t burstPackets_;
    Clock::time_point next_;
};

}  // namespace kestrosim
