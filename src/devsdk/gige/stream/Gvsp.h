// SPDX-License-Identifier: Apache-2.0
//
// Bytes of the GigE Vision stream protocol to values. Pure; every length is checked.
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Vorda::Gige {

/** Bytes of IP and UDP headers, which a camera's packet size counts too. */
inline constexpr std::size_t kIpUdpHeaderBytes = 28;
inline constexpr std::size_t kGvspHeaderBytes = 8;
inline constexpr std::size_t kGvspExtendedHeaderBytes = 20;

/** Largest standard block id; the next block after it has id 1. */
inline constexpr std::uint64_t kLastStandardBlockId = 0xffff;
/** Largest packet id that goes with it. */
inline constexpr std::uint32_t kLastStandardPacketId = 0xffffff;

enum class GvspFormat : std::uint8_t { leader = 1, trailer = 2, payload = 3 };

/** Payload types, without the chunk bit. */
inline constexpr std::uint16_t kGvspImage = 0x0001;
inline constexpr std::uint16_t kGvspRaw = 0x0002;
inline constexpr std::uint16_t kGvspChunks = 0x0004;       ///< nothing but chunks
inline constexpr std::uint16_t kGvspImageChunks = 0x0005;  ///< an image in chunks, as it once was
inline constexpr std::uint16_t kGvspJpeg = 0x0006;
/** Payloads of the other types with this bit consist of chunks, the first one being the payload. */
inline constexpr std::uint16_t kGvspChunkBit = 0x4000;

/** Status codes with this bit are errors; such a packet carries no data. */
inline constexpr std::uint16_t kGvspErrorBit = 0x8000;
inline constexpr std::uint16_t kGvspPacketNotYetAvailable = 0x8010;

struct GvspPacket {
    std::uint16_t status = 0;
    std::uint8_t format = 0;   ///< a GvspFormat, or one that we do not know
    bool extendedIds = false;  ///< 64-bit block id and 32-bit packet id
    std::uint32_t packetId = 0;
    std::uint64_t blockId = 0;  ///< 0 in test packets
    ByteView body;

    [[nodiscard]] bool isError() const { return (status & kGvspErrorBit) != 0; }
};

/** What a leader says of the block; the geometry is that of images and 0 for other payloads. */
struct GvspLeader {
    std::uint16_t payloadType = 0;  ///< with the chunk bit
    std::uint64_t timestamp = 0;    ///< ticks of the camera's clock
    std::uint32_t pixelFormat = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    [[nodiscard]] std::uint16_t type() const {
        return static_cast<std::uint16_t>(payloadType & ~kGvspChunkBit);
    }
    [[nodiscard]] bool hasChunks() const {
        return (payloadType & kGvspChunkBit) != 0 || type() == kGvspChunks ||
               type() == kGvspImageChunks;
    }
};

/** True for payloads that are one piece of bytes, with or without chunks behind it. */
[[nodiscard]] bool isReadable(const GvspLeader& leader);

/** Empty when the bytes are too few for the header that they begin. The body borrows from them. */
[[nodiscard]] std::optional<GvspPacket> decodeGvspPacket(ByteView datagram);

/**
 * The header that the packets of a block's payload nearly all have: no status, reserved bits 0.
 * To compare with it is quicker than to decode.
 */
class PlainPayloadHeader {
 public:
    PlainPayloadHeader(std::uint64_t blockId, bool extendedIds);

    [[nodiscard]] std::size_t size() const { return size_; }
    /** Whether the datagram begins with it, and with this packet id. */
    [[nodiscard]] bool isOf(ByteView datagram, std::uint32_t packetId) const {
        const std::uint8_t* const bytes = datagram.data();
        if (datagram.size() < size_) return false;
        if (size_ == kGvspHeaderBytes)
            return packetId <= kLastStandardPacketId && bigEndian64(bytes) == (start_ | packetId);
        return bigEndian64(bytes) == start_ && bigEndian64(bytes + 8) == blockId_ &&
               bigEndian32(bytes + 16) == packetId;
    }

 private:
    std::uint64_t start_;    ///< its first 8 bytes, with packet id 0
    std::uint64_t blockId_;  ///< behind them in an extended one
    std::size_t size_;
};

/** Empty when the body is shorter than a leader of its payload type. */
[[nodiscard]] std::optional<GvspLeader> decodeGvspLeader(ByteView body);

/** Payload bytes in a full packet of a stream whose packets have `packetBytes` with all headers. */
[[nodiscard]] std::size_t gvspPayloadBytes(std::uint32_t packetBytes, bool extendedIds);

}  // namespace Vorda::Gige
