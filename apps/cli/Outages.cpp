// SPDX-License-Identifier: Apache-2.0
#include "Outages.h"

#include "Output.h"
#include "Text.h"

#include <cstdlib>
#include <string_view>

namespace kestrocli {

WhenLost whenLost(bool noReconnect) {
    constexpr const char* kVariable = "KESTRO_RECONNECT";
    if (noReconnect) setenv(kVariable, "0", 1);
    const char* value = std::getenv(kVariable);
    return value != nullptr && std::string_view(value) == "0" ? WhenLost::end : WhenLost::wait;
}

void Outages::begin(std::chrono::system_clock::time_point hostTime,
                    std::chrono::steady_clock::time_point time) {
    if (away_) return;
    away_ = true;
    since_ = time;
    say("camera " + camera_ + " lost at " + isoTime(hostTime) + ", waiting for it");
}

bool Outages::end(std::chrono::steady_clock::time_point time) {
    if (!away_) return false;
    away_ = false;
    const std::chrono::duration<double> length = time - since_;
    say("camera " + camera_ + " is back after " + fixed(length.count(), 1) + " s");
    return true;
}

}  // namespace kestrocli
