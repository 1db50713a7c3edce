// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kestrosim {

/** The camera's time: ticks since it was switched on or its clock was reset. Threads: any. */
class CameraClock {
 public:
    static constexpr std::uint64_t kTicksPerSecond = 1'000'000'000;

    CameraClock() { reset(); }

    [[nodiscard]] std::uint64_t ticks() const { return hostTicks() - origin_.load(); }
    void reset() { origin_.store(hostTicks()); }
    /** Goes on that much later, or earlier; not earlier than 0. */
    void jump(std::chrono::nanoseconds by) {
        const auto origin = origin_.load() - static_cast<std::uint64_t>(by.count());
        const bool isBefore0 = by.count() < 0 && ticks() < static_cast<std::uint64_t>(-by.count());
        origin_.store(isBefore0 ? hostTicks() : origin);
    }

 private:
    static std::uint64_t hostTicks() {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
    }

    std::atomic<std::uint64_t> origin_{0};
};

}  // namespace kestrosim
