// SPDX-License-Identifier: Apache-2.0
#include "Gvsp.h"

#include <cstring>

namespace Vorda::Gige {

namespace {

// Header, all numbers big endian:
//   0  status         16
//   2  block id       16   (flags when extended)
//   4  EI bit, packet format
//   5  packet id      24   (0 when extended)
//   8  block id       64   extended only
//  16  packet id      32   extended only
constexpr std::uint32_t kExtendedBit = 0x80000000;
constexpr unsigned kFormatShift = 24;
constexpr std::uint32_t kFormatMask = 0x0f;
constexpr std::uint32_t kPacketIdMask = 0x00ffffff;
constexpr std::size_t kBlockIdAt = 2;
constexpr std::size_t kBlockIdEnd = 4;
constexpr std::size_t kFormatAt = 4;
constexpr std::size_t kExtendedBlockIdEnd = 16;

// Leader body:
//   2  payload type   16
//   4  time stamp     64
//  12  pixel format   32   images: these and the rest up to 36
//  16  width          32
//  20  height         32
//  24  offset x, y    2 x 32
//  32  padding x, y   2 x 16
constexpr std::size_t kPayloadTypeAt = 2;
constexpr std::size_t kOffsetsAndPaddingsBytes = 12;

}  // namespace

std::optional<GvspPacket> decodeGvspPacket(ByteView datagram) {
    if (datagram.size() < kGvspHeaderBytes) return std::nullopt;
    BigEndianReader header(datagram);
    GvspPacket packet;
    packet.status = header.u16();
    packet.blockId = header.u16();
    const std::uint32_t formatAndId = header.u32();
    packet.format = static_cast<std::uint8_t>(formatAndId >> kFormatShift & kFormatMask);
    packet.packetId = formatAndId & kPacketIdMask;
    packet.extendedIds = (formatAndId & kExtendedBit) != 0;
    packet.body = datagram.subspan(kGvspHeaderBytes);
    if (!packet.extendedIds) return packet;
    if (datagram.size() < kGvspExtendedHeaderBytes) return std::nullopt;
    packet.blockId = header.u64();
    packet.packetId = header.u32();
    packet.body = datagram.subspan(kGvspExtendedHeaderBytes);
    return packet;
}

PlainPayloadHeader::PlainPayloadHeader(std::uint64_t blockId, bool extendedIds)
    : size_(extendedIds ? kGvspExtendedHeaderBytes : kGvspHeaderBytes) {
    constexpr std::uint8_t kExtended = kExtendedBit >> kFormatShift;
    const auto format = static_cast<std::uint8_t>(GvspFormat::payload);
    bytes_[kFormatAt] = extendedIds ? format | kExtended : format;
    const std::size_t idEnd = extendedIds ? kExtendedBlockIdEnd : kBlockIdEnd;
    for (std::size_t at = idEnd; at > kBlockIdAt && blockId != 0; blockId >>= 8)
        bytes_[--at] = static_cast<std::uint8_t>(blockId);
}

bool PlainPayloadHeader::isOf(ByteView datagram, std::uint32_t packetId) {
    const bool isExtended = size_ == kGvspExtendedHeaderBytes;
    if (!isExtended && packetId > kPacketIdMask) return false;
    // The id ends the header; a standard one has 24 bits.
    for (std::size_t i = 1; i <= (isExtended ? 4U : 3U); ++i, packetId >>= 8)
        bytes_[size_ - i] = static_cast<std::uint8_t>(packetId);
    return datagram.size() >= size_ && std::memcmp(datagram.data(), bytes_.data(), size_) == 0;
}

bool isReadable(const GvspLeader& leader) {
    switch (leader.type()) {
        case kGvspImage:
        case kGvspRaw:
        case kGvspChunks:
        case kGvspImageChunks:
        case kGvspJpeg:
            return true;
        default:
            return false;
    }
}

std::optional<GvspLeader> decodeGvspLeader(ByteView body) {
    BigEndianReader reader(body);
    reader.seek(kPayloadTypeAt);
    GvspLeader leader;
    leader.payloadType = reader.u16();
    leader.timestamp = reader.u64();
    if (reader.ok() && (leader.type() == kGvspImage || leader.type() == kGvspImageChunks)) {
        leader.pixelFormat = reader.u32();
        leader.width = reader.u32();
        leader.height = reader.u32();
        static_cast<void>(reader.take(kOffsetsAndPaddingsBytes));
    }
    return reader.ok() ? std::optional(leader) : std::nullopt;
}

std::size_t gvspPayloadBytes(std::uint32_t packetBytes, bool extendedIds) {
    const std::size_t headers =
        kIpUdpHeaderBytes + (extendedIds ? kGvspExtendedHeaderBytes : kGvspHeaderBytes);
    return packetBytes > headers ? packetBytes - headers : 0;
}

}  // namespace Vorda::Gige
