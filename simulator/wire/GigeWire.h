// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/** Numbers and byte order of the GigE Vision control (GVCP) and stream (GVSP) protocols. */
namespace kestrosim {

inline constexpr std::uint16_t kGvcpPort = 3956;
inline constexpr std::uint8_t kGvcpKey = 0x42;
inline constexpr std::uint8_t kFlagAcknowledge = 0x01;
inline constexpr std::uint8_t kFlagExtendedIds = 0x10;  ///< of PACKETRESEND
inline constexpr std::size_t kGvcpHeaderBytes = 8;
inline constexpr std::size_t kGvcpMaxPayloadBytes = 540;
inline constexpr std::size_t kMaxMemoryBytes = 536;  ///< of one READMEM or WRITEMEM
inline constexpr std::size_t kIpUdpHeaderBytes = 28;

enum class Command : std::uint16_t {
    discovery = 0x0002,
    forceIp = 0x0004,
    packetResend = 0x0040,
    readRegister = 0x0080,
    writeRegister = 0x0082,
    readMemory = 0x0084,
    writeMemory = 0x0086
};

enum class Status : std::uint16_t {
    success = 0x0000,
    packetResend = 0x0100,
    notImplemented = 0x8001,
    invalidParameter = 0x8002,
    invalidAddress = 0x8003,
    writeProtect = 0x8004,
    badAlignment = 0x8005,
    accessDenied = 0x8006,
    busy = 0x8007,
    packetUnavailable = 0x800c,
    invalidHeader = 0x800e,
    wrongConfiguration = 0x800f,
    packetNotYetAvailable = 0x8010
};

enum class PacketFormat : std::uint8_t { leader = 1, trailer = 2, payload = 3 };

/** What the payload of a frame is. */
enum class PayloadType : std::uint16_t { image = 1, raw = 2, chunks = 4, jpeg = 6 };

inline constexpr std::uint16_t kChunkBit = 0x4000;  ///< of a payload that has chunks behind it
inline constexpr std::uint32_t kPixelFormatMono8 = 0x01080001;

[[nodiscard]] inline std::uint16_t load16(const std::uint8_t* from) {
    return static_cast<std::uint16_t>((from[0] << 8) | from[1]);
}

[[nodiscard]] inline std::uint32_t load32(const std::uint8_t* from) {
    return (std::uint32_t{load16(from)} << 16) | load16(from + 2);
}

[[nodiscard]] inline std::uint64_t load64(const std::uint8_t* from) {
    return (std::uint64_t{load32(from)} << 32) | load32(from + 4);
}

inline void store16(std::uint8_t* to, std::uint16_t value) {
    to[0] = static_cast<std::uint8_t>(value >> 8);
    to[1] = static_cast<std::uint8_t>(value);
}

inline void store32(std::uint8_t* to, std::uint32_t value) {
    store16(to, static_cast<std::uint16_t>(value >> 16));
    store16(to + 2, static_cast<std::uint16_t>(value));
}

inline void store64(std::uint8_t* to, std::uint64_t value) {
    store32(to, static_cast<std::uint32_t>(value >> 32));
    store32(to + 4, static_cast<std::uint32_t>(value));
}

}  // namespace kestrosim
