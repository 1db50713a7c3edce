// SPDX-License-Identifier: Apache-2.0
//
// GVCP, the control protocol of GigE Vision, as bytes: pure encoders and decoders.
//
// | command bytes | field                          | acknowledge bytes | field          |
// |---------------|--------------------------------|-------------------|----------------|
// | 0             | 0x42                           | 0..1              | status         |
// | 1             | flags                          | 2..3              | acknowledge    |
// | 2..3          | command                        | 4..5              | payload length |
// | 4..5          | payload length                 | 6..7              | request id     |
// | 6..7          | request id, never 0            |                   |                |
//
// Everything is big endian.
#pragma once

#include "Bytes.h"
#include "Ipv4.h"
#include "MacAddress.h"
#include "ResendRequest.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vorda::Gige::Gvcp {

inline constexpr std::uint16_t kPort = 3956;
inline constexpr std::size_t kHeaderBytes = 8;
inline constexpr std::size_t kMaxPacketBytes = 576;
/** What one READMEM or WRITEMEM carries: a multiple of 4 that every camera takes. */
inline constexpr std::size_t kMemoryBlockBytes = 512;

enum class Command : std::uint16_t {
    discovery = 0x0002,
    forceIp = 0x0004,
    packetResend = 0x0040,
    readRegister = 0x0080,
    writeRegister = 0x0082,
    readMemory = 0x0084,
    writeMemory = 0x0086,
    pendingAck = 0x0089,  ///< an acknowledge of its own, without a command
    event = 0x00c0,       ///< these two come from the camera
    eventData = 0x00c2,
};

/** The acknowledge that answers `command`. */
constexpr Command acknowledgeOf(Command command) {
    return static_cast<Command>(static_cast<std::uint16_t>(command) + 1);
}

/** Addresses of the bootstrap registers that are used here. */
namespace Register {
inline constexpr std::uint32_t kMessageChannelCount = 0x0900;
inline constexpr std::uint32_t kCapability = 0x0934;
inline constexpr std::uint32_t kHeartbeatTimeoutMs = 0x0938;
inline constexpr std::uint32_t kControlPrivilege = 0x0a00;
inline constexpr std::uint32_t kPrimaryApplicationPort = 0x0a04;
inline constexpr std::uint32_t kPrimaryApplicationAddress = 0x0a14;
inline constexpr std::uint32_t kMessagePort = 0x0b00;
inline constexpr std::uint32_t kMessageDestination = 0x0b10;
inline constexpr std::uint32_t kMessageSourcePort = 0x0b1c;
inline constexpr std::uint32_t kStreamPort = 0x0d00;
inline constexpr std::uint32_t kStreamPacketSize = 0x0d04;
inline constexpr std::uint32_t kStreamDestination = 0x0d18;
inline constexpr std::uint32_t kStreamSourcePort = 0x0d1c;
}  // namespace Register

inline constexpr std::uint32_t kCapabilityResend = 1u << 2;
inline constexpr std::uint32_t kPrivilegeExclusive = 1;
inline constexpr std::uint32_t kPrivilegeControl = 2;
inline constexpr std::uint32_t kPrivilegeSwitchover = 4;
inline constexpr std::uint32_t kPacketSizeMask = 0xffff;
inline constexpr std::uint32_t kPacketSizeFireTest = 1u << 31;
inline constexpr std::uint32_t kPacketSizeDoNotFragment = 1u << 30;

inline constexpr std::uint16_t kStatusSuccess = 0;
inline constexpr std::uint16_t kStatusAccessDenied = 0x8006;

/** "access denied (0x8006)" */
[[nodiscard]] std::string statusText(std::uint16_t status);

[[nodiscard]] Bytes encodeDiscovery(std::uint16_t id, bool allowBroadcastAnswer);
[[nodiscard]] Bytes encodeForceIp(std::uint16_t id, const MacAddress& mac, Ipv4 address, Ipv4 mask,
                                  Ipv4 gateway);
[[nodiscard]] Bytes encodeReadRegister(std::uint16_t id, std::uint32_t address);
[[nodiscard]] Bytes encodeWriteRegister(std::uint16_t id, std::uint32_t address,
                                        std::uint32_t value);
/** `count` is a multiple of 4, at most kMemoryBlockBytes; so is the size of `data` below. */
[[nodiscard]] Bytes encodeReadMemory(std::uint16_t id, std::uint32_t address, std::uint16_t count);
[[nodiscard]] Bytes encodeWriteMemory(std::uint16_t id, std::uint32_t address, ByteView data);
[[nodiscard]] Bytes encodeResend(std::uint16_t id, std::uint16_t channel,
                                 const ResendRequest& request);

struct Acknowledge {
    std::uint16_t status = 0;
    Command command{};
    std::uint16_t id = 0;
    ByteView payload;  ///< into the datagram
};

/** Empty for a datagram that is no acknowledge or that is shorter than it says. */
[[nodiscard]] std::optional<Acknowledge> decodeAcknowledge(ByteView datagram);

/** What a camera says of itself in answer to DISCOVERY. */
struct Announcement {
    MacAddress mac;
    Ipv4 address;
    Ipv4 mask;
    Ipv4 gateway;
    std::string manufacturer;
    std::string model;
    std::string version;
    std::string information;
    std::string serial;
    std::string userName;
};

[[nodiscard]] std::optional<Announcement> decodeAnnouncement(ByteView payload);
/** One event of a message. */
struct Event {
    std::uint16_t id = 0;
    ByteView bytes;  ///< with its own header, into the datagram
};

/** An EVENT or EVENTDATA, which a camera sends of its own accord. */
struct Message {
    Command command{};
    std::uint16_t id = 0;
    bool isAnswerWanted = false;
    std::vector<Event> events;  ///< at least one
};

/**
 * Empty for a datagram that is neither EVENT nor EVENTDATA, that is shorter than it says, or whose
 * events do not fill it.
 */
[[nodiscard]] std::optional<Message> decodeMessage(ByteView datagram);
/** The acknowledge that says that a message arrived. */
[[nodiscard]] Bytes encodeMessageAcknowledge(const Message& message);

/** Milliseconds that a PENDING_ACK asks to wait. */
[[nodiscard]] std::optional<std::uint16_t> decodePendingMs(ByteView payload);

}  // namespace Vorda::Gige::Gvcp
