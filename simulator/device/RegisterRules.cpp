// SPDX-License-Identifier: Apache-2.0
#include "RegisterRules.h"

#include "GigeWire.h"
#include "JpegEncoder.h"
#include "RegisterTable.h"
#include "Registers.h"
#include "ResultChunks.h"
#include "Scene.h"
#include "StreamSettings.h"

#include <algorithm>

namespace kestrosim {
namespace {

constexpr std::uint32_t kHeartbeatMinMs = 500;
constexpr std::uint32_t kPacketSizeMin = 576;
constexpr std::uint32_t kPacketSizeMax = 9000;

/** What no frame's payload exceeds, whatever is in the picture. */
std::size_t mostPayloadBytes(const StreamSettings& settings) {
    const std::size_t pixels = std::size_t{settings.width} * settings.height;
    switch (settings.format) {
        case ResultFormat::container:
        case ResultFormat::raw:
            return mostContainerBytes(pixels);
        case ResultFormat::containerJpeg:
            return mostContainerBytes(mostJpegBytes(pixels));
        case ResultFormat::chunk:
            return mostChunkBytes(pixels, settings.chunks);
        case ResultFormat::jpeg:
            return mostChunkBytes(mostJpegBytes(pixels), settings.chunks);
        case ResultFormat::chunkOnly:
            return mostResultChunkBytes(settings.chunks);
        case ResultFormat::none:
            break;
    }
    return pixels;
}

std::uint32_t payloadSize(const RegisterValues& values) {
    return static_cast<std::uint32_t>(mostPayloadBytes(streamSettingsOf(values)));
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

// A picture that gets smaller takes the reader's region with it.
void fitInto(RegisterValues& values, const RegisterValues& before, const Stretch& stretch) {
    const std::uint32_t whole = values.word(stretch.whole);
    if (whole == before.word(stretch.whole) || whole == 0) return;
    const std::uint32_t begin = std::min(values.word(stretch.begin), whole - 1);
    values.setWord(stretch.begin, begin);
    values.setWord(stretch.length, std::min(values.word(stretch.length), whole - begin));
}

constexpr Stretch kColumns{reg::kOffsetX, reg::kWidth, reg::kSensorWidth};
constexpr Stretch kRows{reg::kOffsetY, reg::kHeight, reg::kSensorHeight};
constexpr Stretch kRegionColumns{reg::kRoiX, reg::kRoiWidth, reg::kWidth};
constexpr Stretch kRegionRows{reg::kRoiY, reg::kRoiHeight, reg::kHeight};

}  // namespace

void settle(RegisterValues& values, const RegisterValues& before) {
    forEachRegister([&values](std::uint32_t address, const Register& entry) {
        if (entry.content != Content::word || entry.access == Access::read) return;
        values.setWord(address, values.word(address) & entry.kept);
    });
    values.setWord(reg::kHeartbeatTimeout,
                   std::max(values.word(reg::kHeartbeatTimeout), kHeartbeatMinMs));
    fitInto(values, before, kRegionColumns);
    fitInto(values, before, kRegionRows);
    values.setWord(reg::kPayloadSize, payloadSize(values));
}

bool isValid(const RegisterValues& values) {
    const std::uint32_t packetBytes = values.word(reg::kStreamPacketSize) & kPacketSizeMask;
    return areAllInLimits(values) && packetBytes >= kPacketSizeMin &&
           packetBytes <= kPacketSizeMax && isInside(values, kColumns) && isInside(values, kRows) &&
           isInside(values, kRegionColumns) && isInside(values, kRegionRows);
}

}  // namespace kestrosim
