// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Mailbox.h"
#include "StopSignal.h"

#include <algorithm>
#include <chrono>

namespace kestrocli {

/** Why a reading ended. */
enum class End {
    done,     ///< the handler has all it wants
    time,     ///< the time was up
    stopped,  ///< the user asked
    noFrame,  ///< the first frame did not come in time
    lost      ///< a camera went away
};

struct Deadlines {
    std::chrono::steady_clock::time_point end = std::chrono::steady_clock::time_point::max();
    std::chrono::steady_clock::time_point firstFrame = std::chrono::steady_clock::time_point::max();
};

/** The point in time so many seconds after another. */
[[nodiscard]] inline std::chrono::steady_clock::time_point after(
    std::chrono::steady_clock::time_point start, double seconds) {
    using Time = std::chrono::steady_clock::time_point;
    return start +
           std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(seconds));
}

/** True of what the wait for a first one is for. */
template <typename Item>
[[nodiscard]] bool isAwaited(const Item&) {
    return true;
}
[[nodiscard]] inline bool isAwaited(const Delivery& delivery) { return delivery.frame != nullptr; }

/** What there is to do while nothing arrives: nothing, ever. */
inline std::chrono::steady_clock::time_point doNothing() {
    return std::chrono::steady_clock::time_point::max();
}

/**
 * Hands what arrives to the handler, on the calling thread, until something ends it: one is that
 * the handler answers false, because it wants no more. `idle` is called before each wait, and says
 * when it wants to be called again at the latest.
 */
template <typename Item, typename Handler, typename Idle = decltype(&doNothing)>
[[nodiscard]] End pump(MailboxOf<Item>& mailbox, const Deadlines& deadlines, const Handler& handler,
                       const Idle& idle = doNothing) {
    auto firstFrame = deadlines.firstFrame;
    for (;;) {
        if (StopSignal::requested()) return End::stopped;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadlines.end) return End::time;
        if (const auto item = mailbox.take()) {
            if (isAwaited(*item)) firstFrame = Deadlines().firstFrame;
            if (!handler(*item)) return End::done;
            continue;
        }
        if (mailbox.lost()) return End::lost;
        if (now >= firstFrame) return End::noFrame;
        mailbox.wake().waitUntil(std::min({deadlines.end, firstFrame, idle()}));
    }
}

/** Hands over what is still waiting after the cameras were stopped. */
template <typename Item, typename Handler>
void drain(MailboxOf<Item>& mailbox, const Handler& handler) {
    while (const auto item = mailbox.take()) {
        if (!handler(*item)) return;
    }
}

}  // namespace kestrocli
