// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"

#include <chrono>
#include <string>

namespace kestrocli {

/** What a command does when its camera goes away. */
enum class WhenLost { end, wait };

/**
 * That the user wants: to wait, unless with --no-reconnect or KESTRO_RECONNECT=0. Then the library,
 * too, leaves a lost camera alone; so this is for before a camera is connected.
 */
[[nodiscard]] WhenLost whenLost(bool noReconnect);

/** Says on stderr how a camera goes away and comes back. */
class Outages {
 public:
    explicit Outages(const CameraRecord& camera) : camera_(nameOf(camera)) {}

    void begin(std::chrono::system_clock::time_point hostTime,
               std::chrono::steady_clock::time_point time);
    /** False when it was not away. */
    bool end(std::chrono::steady_clock::time_point time);

    [[nodiscard]] bool isAway() const { return away_; }

 private:
    std::string camera_;
    bool away_ = false;
    std::chrono::steady_clock::time_point since_;
};

}  // namespace kestrocli
