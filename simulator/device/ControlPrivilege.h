// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UdpSocket.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace kestrosim {

/** Who controls the camera (register CCP), and for how long without a sign of life. One thread. */
class ControlPrivilege {
 public:
    using Clock = std::chrono::steady_clock;

    /** Takes, changes or gives back control; false when another application holds it. */
    [[nodiscard]] bool request(const Endpoint& application, std::uint32_t value);
    void release() { owner_.reset(); }
    /** A command from the controlling application is a sign of life. */
    void heard(const Endpoint& from, Clock::time_point now);

    [[nodiscard]] bool isHeld() const { return owner_.has_value(); }
    [[nodiscard]] bool isHeldBy(const Endpoint& application) const;
    /** With exclusive access, other applications may not even read. */
    [[nodiscard]] bool mayRead(const Endpoint& application) const;
    [[nodiscard]] Endpoint owner() const { return owner_.value_or(Endpoint{}); }
    [[nodiscard]] std::uint32_t registerValue() const { return owner_ ? value_ : 0; }
    [[nodiscard]] Clock::time_point lastHeard() const { return lastHeard_; }

 private:
    std::optional<Endpoint> owner_;
    std::uint32_t value_ = 0;
    Clock::time_point lastHeard_;
};

}  // namespace kestrosim
