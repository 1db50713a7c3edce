// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraClock.h"
#include "RegisterMap.h"
#include "StreamSender.h"
#include "Thermometer.h"
#include "UserSets.h"

#include <chrono>
#include <cstdint>
#include <span>

namespace kestrosim {

/** What writes to registers set going: acquisition, triggers, user sets, clock, restart. One
 * thread. */
class CameraActions {
 public:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::span<const std::uint8_t>;

    CameraActions(RegisterMap& registers, CameraClock& clock, StreamSender& stream);

    /** Writes whole words, if the camera's state allows it, and does what they stand for. */
    [[nodiscard]] Status write(std::uint32_t address, Bytes bytes);
    /** Takes what goes on by itself to where it is now. */
    void catchUp(Clock::time_point now);
    /** Ends what an application set going, and closes its channels. */
    void endSession();
    /** Whether a restart was ordered since the last call. */
    [[nodiscard]] bool takeRestart();

 private:
    [[nodiscard]] Status mayChange(std::uint32_t address, Bytes bytes) const;
    [[nodiscard]] Status mayStart(std::uint32_t address) const;
    void act(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] bool command(std::uint32_t address);
    void actOnClock(std::uint32_t value);
    void restart();

    RegisterMap& registers_;
    CameraClock& clock_;
    StreamSender& stream_;
    UserSets userSets_;
    Thermometer thermometer_;
    bool restarted_ = false;
};

}  // namespace kestrosim
