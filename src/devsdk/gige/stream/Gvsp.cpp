// SPDX-License-Identifier: Apache-2.0
#include "Gvsp.h"

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
constexpr unsigned kBlockIdShift = 32;  // in the first 8 bytes

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
    packet.packetId = formatAndId & kLastStandardPacketId;
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
    : start_(std::uint64_t{static_cast<std::uint8_t>(GvspFormat::payload)} << kFormatShift),
      blockId_(blockId),
      size_(extendedIds ? kGvspExtendedHeaderBytes : kGvspHeaderBytes) {
    start_ |= extendedIds ? kExtendedBit : blockId << kBlockIdShift;
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
