// SPDX-License-Identifier: Apache-2.0
#include "Pacer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>

namespace kestrosim {
namespace {

using std::chrono::nanoseconds;

// Long enough that sleeping pays, short enough that a burst fits any receiver's buffer.
constexpr nanoseconds kBurstTime = std::chrono::microseconds(250);
constexpr std::size_t kBurstMaxPackets = 32;
// A sender that fell behind further than this does not flood the link to catch up.
constexpr nanoseconds kMaxLag = std::chrono::milliseconds(2);
// Preamble, Ethernet header, check sequence and the gap between frames.
constexpr std::size_t kEthernetBytes = 38;

void sleepUntil(Pacer::Clock::time_point deadline) {
    const auto since = std::chrono::duration_cast<nanoseconds>(deadline.time_since_epoch()).count();
    timespec until{};
    until.tv_sec = static_cast<time_t>(since / 1'000'000'000);
    until.tv_nsec = since % 1'000'000'000;
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

}  // namespace

Pacer::Pacer(nanoseconds interval)
    : interval_(std::max(interval, nanoseconds(1))),
      burstPackets_(std::clamp<std::size_t>(static_cast<std::size_t>(kBurstTime / interval_), 1,
                                            kBurstMaxPackets)),
      next_(Clock::now()) {}

void Pacer::waitAfter(std::size_t packets) {
    next_ = std::max(next_ + interval_ * static_cast<long>(packets), Clock::now() - kMaxLag);
    sleepUntil(next_);
}

nanoseconds Pacer::interval(std::size_t ipBytes, double linkMbits, nanoseconds pause) {
    const auto bits = static_cast<double>((ipBytes + kEthernetBytes) * 8);
    return nanoseconds(std::llround(bits * 1000 / linkMbits)) + pause;
}

}  // namespace kestrosim
