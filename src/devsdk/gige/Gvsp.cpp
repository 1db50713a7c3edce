// SPDX-License-Identifier: Apache-2.0
#include "Gvsp.h"

namespace Vorda::Gige {

namespace {

/** Unsigned big-endian number of sizeof(T) bytes; the caller has checked that they are there. */
template <typename T>
T bigEndian(std::span<const std::uint8_t> bytes, std::size_t offset) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(static_cast<T>(value << 8) | bytes[offset + i]);
    return value;
}

// Header, all numbers big endian:
//   0  status         16
//   2  block id       16   (flags when extended)
//   4  EI bit and packet format
//   5  packet id      24   (0 when extended)
//   8  block id       64   extended only
//  16  packet id      32   extended only
constexpr std::size_t kStatusAt = 0;
constexpr std::size_t kBlockIdAt = 2;
constexpr std::size_t kFormatAt = 4;
constexpr std::size_t kExtendedBlockIdAt = 8;
constexpr std::size_t kExtendedPacketIdAt = 16;
constexpr std::uint8_t kExtendedBit = 0x80;
constexpr std::uint8_t kFormatMask = 0x0f;
constexpr std::uint32_t kPacketIdMask = 0x00ffffff;

// Leader body:
//   2  payload type   16
//   4  time stamp     64
//  12  pixel format   32   images: these and the rest up to 36
//  16  width          32
//  20  height         32
//  24  offset x, y    2 x 32
//  32  padding x, y   2 x 16
constexpr std::size_t kLeaderBytes = 12;
constexpr std::size_t kImageLeaderBytes = 36;
constexpr std::uint16_t kChunkBit = 0x4000;

}  // namespace

std::optional<GvspPacket> decodeGvspPacket(std::span<const std::uint8_t> datagram) {
    if (datagram.size() < kGvspHeaderBytes) return std::nullopt;
    GvspPacket packet;
    packet.status = bigEndian<std::uint16_t>(datagram, kStatusAt);
    packet.format = datagram[kFormatAt] & kFormatMask;
    packet.extendedIds = (datagram[kFormatAt] & kExtendedBit) != 0;
    if (!packet.extendedIds) {
        packet.blockId = bigEndian<std::uint16_t>(datagram, kBlockIdAt);
        packet.packetId = bigEndian<std::uint32_t>(datagram, kFormatAt) & kPacketIdMask;
        packet.body = datagram.subspan(kGvspHeaderBytes);
        return packet;
    }
    if (datagram.size() < kGvspExtendedHeaderBytes) return std::nullopt;
    packet.blockId = bigEndian<std::uint64_t>(datagram, kExtendedBlockIdAt);
    packet.packetId = bigEndian<std::uint32_t>(datagram, kExtendedPacketIdAt);
    packet.body = datagram.subspan(kGvspExtendedHeaderBytes);
    return packet;
}

std::optional<GvspLeader> decodeGvspLeader(std::span<const std::uint8_t> body) {
    if (body.size() < kLeaderBytes) return std::nullopt;
    GvspLeader leader;
    leader.payloadType = bigEndian<std::uint16_t>(body, 2);
    leader.timestamp = bigEndian<std::uint64_t>(body, 4);
    if ((leader.payloadType & ~kChunkBit) != kGvspImage) return leader;
    if (body.size() < kImageLeaderBytes) return std::nullopt;
    leader.pixelFormat = bigEndian<std::uint32_t>(body, 12);
    leader.width = bigEndian<std::uint32_t>(body, 16);
    leader.height = bigEndian<std::uint32_t>(body, 20);
    return leader;
}

std::size_t gvspPayloadBytes(std::uint32_t packetBytes, bool extendedIds) {
    const std::size_t headers =
        kIpUdpHeaderBytes + (extendedIds ? kGvspExtendedHeaderBytes : kGvspHeaderBytes);
    return packetBytes > headers ? packetBytes - headers : 0;
}

}  // namespace Vorda::Gige
