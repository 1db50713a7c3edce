// SPDX-License-Identifier: Apache-2.0
#include "Pump.h"

#include "StopSignal.h"

#include <algorithm>

namespace kestrocli {

End pump(Mailbox& mailbox, const Deadlines& deadlines, const DeliveryHandler& handler) {
    auto firstFrame = deadlines.firstFrame;
    for (;;) {
        if (StopSignal::requested()) return End::stopped;
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadlines.end) return End::time;
        if (const auto delivery = mailbox.take()) {
            firstFrame = Deadlines().firstFrame;
            if (!handler(*delivery)) return End::done;
            continue;
        }
        if (mailbox.lost()) return End::lost;
        if (now >= firstFrame) return End::noFrame;
        mailbox.wake().waitUntil(std::min(deadlines.end, firstFrame));
    }
}

void drain(Mailbox& mailbox, const DeliveryHandler& handler) {
    while (const auto delivery = mailbox.take()) {
        if (!handler(*delivery)) return;
    }
}

}  // namespace kestrocli
