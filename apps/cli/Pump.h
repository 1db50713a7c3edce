// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Mailbox.h"

#include <chrono>
#include <functional>

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

/** Takes a delivery; false when it wants no more. */
using DeliveryHandler = std::function<bool(const Delivery&)>;

/** Hands what arrives to the handler, on the calling thread, until something ends it. */
[[nodiscard]] End pump(Mailbox& mailbox, const Deadlines& deadlines,
                       const DeliveryHandler& handler);

/** Hands over what is still waiting after the cameras were stopped. */
void drain(Mailbox& mailbox, const DeliveryHandler& handler);

}  // namespace kestrocli
