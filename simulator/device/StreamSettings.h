// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Registers.h"
#include "Simulator.h"
#include "Symbologies.h"
#include "UdpSocket.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kestrosim {

class RegisterValues;

inline constexpr std::uint32_t kChunkCount = std::size(reg::kChunkIds);
inline constexpr std::uint32_t kEventCount = std::size(reg::kEventIds);

/** The exposure at which a picture is as bright as it was drawn. */
inline constexpr double kNominalExposureMicroseconds = 10'000;

// Bits of the stream channel's registers.
inline constexpr std::uint32_t kExtendedIdsBit = 0x40000000;
inline constexpr std::uint32_t kPacketSizeDontFragment = 0x40000000;
inline constexpr std::uint32_t kPacketSizeMask = 0xffff;

/** What a trigger starts; the values of TriggerSelector. */
enum class TriggerKind : std::uint32_t { frame = 0, burst = 1 };
inline constexpr std::uint32_t kTriggerCount = 2;

struct TriggerSettings {
    bool isOn = false;
    std::chrono::duration<double, std::micro> delay{};
};

/** A rectangle of pixels. */
struct Region {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/** What the reader looks for, and how long. */
struct ReaderSettings {
    std::array<bool, kSymbologies.size()> symbologies{};
    std::uint32_t expectedCount = 0;  ///< of a complete reading; 0: all the codes there are
    std::uint32_t timeoutMilliseconds = 0;
    bool hasRegion = false;
    Region region;  ///< of the picture as it is sent; codes are read that lie wholly in it
};

/** All that shapes the picture of a scene: with equal ones it is the same. */
struct PictureSettings {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    bool mirrored = false;  ///< left to right, before the window is taken
    double exposureMicroseconds = 0;
    double gainDecibels = 0;
    double blackLevel = 0;                 ///< grey levels that are added
    std::uint32_t compressionQuality = 0;  ///< of a JPEG file, in percent

    [[nodiscard]] bool operator==(const PictureSettings&) const = default;
};

/** The settings that a frame is made and sent with, taken at one moment. */
struct StreamSettings : PictureSettings {
    double framesPerSecond = 0;
    std::array<TriggerSettings, kTriggerCount> triggers{};
    std::uint32_t burstFrames = 1;
    ReaderSettings reader;
    ResultFormat format = ResultFormat::none;
    std::array<bool, kChunkCount> chunks{};  ///< which ones are sent, where chunks are
    Endpoint destination;                    ///< port 0: the channel is closed
    std::uint32_t packetBytes = 0;
    bool dontFragment = false;
    bool extendedIds = false;
    std::uint32_t packetDelayTicks = 0;

    [[nodiscard]] const TriggerSettings& trigger(TriggerKind kind) const {
        return triggers[static_cast<std::size_t>(kind)];
    }
};

[[nodiscard]] StreamSettings streamSettingsOf(const RegisterValues& values);

}  // namespace kestrosim
