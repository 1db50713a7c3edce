// SPDX-License-Identifier: Apache-2.0
#include "RegisterRules.h"

#include "GigeWire.h"
#include "RegisterTable.h"
#include "Registers.h"
#include "StreamSettings.h"

#include <algorithm>

namespace kestrosim {
namespace {

constexpr std::uint32_t kHeartbeatMinMs = 500;
constexpr std::uint32_t kPacketSizeMin = 576;
constexpr std::uint32_t kPacketSizeMax = 9000;

// Behind the picture there is room for the results as text, in a container with its head and two
// blocks as in chunks; it is fixed so that the size does not depend on what will be read.
constexpr std::uint32_t kResultRoomBytes = 65536;

std::uint32_t payloadSize(const RegisterValues& values) {
    const std::uint32_t pictureBytes = values.word(reg::kWidth) * values.word(reg::kHeight);
    const auto format = static_cast<ResultFormat>(values.word(reg::kResultFormat));
    return pictureBytes + (format == ResultFormat::none ? 0 : kResultRoomBytes);
}

// A value that is no number is in no limits.
bool isInLimits(const RegisterValues& values, std::uint32_t address, const Register& entry) {
    const bool isReal = entry.content == Content::real;
    const double value = isReal ? values.real(address) : values.word(address);
    if (!(value >= entry.lowest && value <= entry.highest)) return false;
    return isReal || values.word(address) % entry.step == 0;
}

bool areAllInLimits(const RegisterValues& values) {
    bool valid = true;
    forEachRegister([&](std::uint32_t address, const Register& entry) {
        const bool isChecked = entry.content != Content::bytes && entry.access != Access::read;
        if (isChecked && !isInLimits(values, address, entry)) valid = false;
    });
    return valid;
}

/** The registers of where something begins, how long it is, and of how long the whole is. */
struct Stretch {
    std::uint32_t begin, length, whole;
};

bool isInside(const RegisterValues& values, const Stretch& stretch) {
    return std::uint64_t{values.word(stretch.begin)} + values.word(stretch.length) <=
           values.word(stretch.whole);
}

}  // namespace

void settle(RegisterValues& values) {
    forEachRegister([&values](std::uint32_t address, const Register& entry) {
        if (entry.content != Content::word || entry.access == Access::read) return;
        values.setWord(address, values.word(address) & entry.kept);
    });
    values.setWord(reg::kHeartbeatTimeout,
                   std::max(values.word(reg::kHeartbeatTimeout), kHeartbeatMinMs));
    values.setWord(reg::kPayloadSize, payloadSize(values));
}

bool isValid(const RegisterValues& values) {
    const std::uint32_t packetBytes = values.word(reg::kStreamPacketSize) & kPacketSizeMask;
    return areAllInLimits(values) && packetBytes >= kPacketSizeMin &&
           packetBytes <= kPacketSizeMax &&
           isInside(values, {reg::kOffsetX, reg::kWidth, reg::kSensorWidth}) &&
           isInside(values, {reg::kOffsetY, reg::kHeight, reg::kSensorHeight});
}

}  // namespace kestrosim
