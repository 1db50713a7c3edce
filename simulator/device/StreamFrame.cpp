// SPDX-License-Identifier: Apache-2.0
#include "StreamFrame.h"

#include "CameraClock.h"

#include <algorithm>
#include <utility>

namespace kestrosim {
namespace {

// GVSP header, big endian, with 16-bit block ids or (extended) with 64-bit ones:
//   0 status16 | 2 block16   | 4 format8 | 5 packet24
//   0 status16 | 2 flags16=0 | 4 0x80+format8 | 5 0 (24) | 8 block64 | 16 packet32
constexpr std::size_t kHeaderBytes = 8;
constexpr std::size_t kExtendedHeaderBytes = 20;
constexpr std::uint8_t kExtendedIdBit = 0x80;

// Leader: 0 field info16 | 2 payload type16 | 4 timestamp64
//   of an image:      12 pixel format32 | 16 width32 | 20 height32 | 24 offset x32 | 28 offset y32
//                     32 padding x16 | 34 padding y16
//   of raw data:      12 bytes of the payload64
//   of a JPEG file:   12 bytes of the payload64 | 20 ticks a second64 | 28 data format32
std::size_t leaderBytesOf(PayloadType type) {
    switch (type) {
        case PayloadType::image:
            return 36;
        case PayloadType::raw:
            return 20;
        case PayloadType::jpeg:
            return 32;
        case PayloadType::chunks:
            break;
    }
    return 12;
}

// Trailer: 0 reserved16 | 2 payload type16
//   of an image: 4 height32;  of nothing but chunks: 4 bytes of the payload32
//   and with chunks behind something else: bytes of the payload32 | chunk layout32
constexpr std::size_t kTrailerBytes = 4;
constexpr std::uint32_t kUntoldLayout = 0;  // chunks are where their own trailers say

void appendWord(StreamPacket& packet, std::uint32_t word) {
    store32(packet.head.data() + packet.headBytes, word);
    packet.headBytes += 4;
}

std::size_t headerBytes(bool extendedIds) {
    return extendedIds ? kExtendedHeaderBytes : kHeaderBytes;
}

StreamPacket makeHead(std::uint64_t blockId, std::uint32_t packetId, bool extendedIds,
                      PacketFormat format, Status status) {
    StreamPacket packet;
    packet.headBytes = headerBytes(extendedIds);
    std::uint8_t* const to = packet.head.data();
    store16(to, static_cast<std::uint16_t>(status));
    if (!extendedIds) {
        store16(to + 2, static_cast<std::uint16_t>(blockId));
        store32(to + 4, packetId & 0xffffff);
        to[4] = static_cast<std::uint8_t>(format);
        return packet;
    }
    to[4] = static_cast<std::uint8_t>(kExtendedIdBit | static_cast<std::uint8_t>(format));
    store64(to + 8, blockId);
    store32(to + 16, packetId);
    return packet;
}

}  // namespace

StreamFrame::StreamFrame(std::uint64_t blockId, FramePayload payload, std::uint32_t packetBytes,
                         bool extendedIds)
    : blockId_(blockId),
      payload_(std::move(payload)),
      extendedIds_(extendedIds),
      pieceBytes_(packetBytes - kIpUdpHeaderBytes - headerBytes(extendedIds)) {}

std::uint32_t StreamFrame::packetCount() const {
    const std::size_t pieces = (payload_.bytes->size() + pieceBytes_ - 1) / pieceBytes_;
    return static_cast<std::uint32_t>(pieces + 2);
}

std::size_t StreamFrame::leaderBytes() const {
    return headerBytes(extendedIds_) + leaderBytesOf(payload_.type);
}

std::uint32_t StreamFrame::pixelFormat() const {
    return payload_.type == PayloadType::image ? kPixelFormatMono8 : 0;
}

StreamPacket StreamFrame::packet(std::uint32_t id, Status status) const {
    const bool isLeader = id == 0;
    const bool isTrailer = id + 1 == packetCount();
    const PacketFormat format = isLeader    ? PacketFormat::leader
                                : isTrailer ? PacketFormat::trailer
                                            : PacketFormat::payload;
    StreamPacket packet = makeHead(blockId_, id, extendedIds_, format, status);
    if (isLeader) {
        addLeader(packet);
    } else if (isTrailer) {
        addTrailer(packet);
    } else {
        packet.body = piece(id);
    }
    return packet;
}

std::span<const std::uint8_t> StreamFrame::piece(std::uint32_t id) const {
    const std::span<const std::uint8_t> bytes(*payload_.bytes);
    const std::size_t offset = (id - 1) * pieceBytes_;
    return bytes.subspan(offset, std::min(pieceBytes_, bytes.size() - offset));
}

std::uint16_t StreamFrame::payloadType() const {
    const auto type = static_cast<std::uint16_t>(payload_.type);
    return payload_.hasChunks ? kChunkBit | type : type;
}

void StreamFrame::addLeader(StreamPacket& packet) const {
    std::uint8_t* const to = packet.head.data() + packet.headBytes;
    packet.headBytes += leaderBytesOf(payload_.type);
    store16(to + 2, payloadType());
    store64(to + 4, payload_.timestamp);
    if (payload_.type == PayloadType::image) return addImage(to);
    if (payload_.type == PayloadType::chunks) return;
    store64(to + 12, payload_.bytes->size());
    if (payload_.type == PayloadType::jpeg) store64(to + 20, CameraClock::kTicksPerSecond);
}

void StreamFrame::addImage(std::uint8_t* leader) const {
    store32(leader + 12, pixelFormat());
    store32(leader + 16, payload_.width);
    store32(leader + 20, payload_.height);
    store32(leader + 24, payload_.offsetX);
    store32(leader + 28, payload_.offsetY);
}

void StreamFrame::addTrailer(StreamPacket& packet) const {
    const auto payloadBytes = static_cast<std::uint32_t>(payload_.bytes->size());
    store16(packet.head.data() + packet.headBytes + 2, payloadType());
    packet.headBytes += kTrailerBytes;
    if (payload_.type == PayloadType::image) appendWord(packet, payload_.height);
    if (payload_.type == PayloadType::chunks) appendWord(packet, payloadBytes);
    if (!payload_.hasChunks) return;
    appendWord(packet, payloadBytes);
    appendWord(packet, kUntoldLayout);
}

std::size_t headerBytesOf(const StreamPacket& packet) {
    return headerBytes((packet.head[4] & kExtendedIdBit) != 0);
}

StreamPacket statusPacket(std::uint64_t blockId, std::uint32_t packetId, bool extendedIds,
                          Status status) {
    return makeHead(blockId, packetId, extendedIds, PacketFormat::payload, status);
}

}  // namespace kestrosim
