// SPDX-License-Identifier: Apache-2.0
#include "ControlPrivilege.h"

namespace kestrosim {
namespace {

constexpr std::uint32_t kExclusive = 0x1;
constexpr std::uint32_t kControl = 0x2;

}  // namespace

bool ControlPrivilege::request(const Endpoint& application, std::uint32_t value) {
    if (owner_ && *owner_ != application) return false;
    const std::uint32_t wanted = value & (kExclusive | kControl);
    owner_ = wanted != 0 ? std::optional(application) : std::nullopt;
    value_ = wanted;
    lastHeard_ = Clock::now();
    return true;
}

void ControlPrivilege::heard(const Endpoint& from, Clock::time_point now) {
    if (isHeldBy(from)) lastHeard_ = now;
}

bool ControlPrivilege::isHeldBy(const Endpoint& application) const {
    return owner_ && *owner_ == application;
}

bool ControlPrivilege::mayRead(const Endpoint& application) const {
    return !owner_ || (value_ & kExclusive) == 0 || *owner_ == application;
}

}  // namespace kestrosim
