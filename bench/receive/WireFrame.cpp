// SPDX-License-Identifier: Apache-2.0
#include "WireFrame.h"

#include "GigeWire.h"

#include <algorithm>
#include <random>

namespace kestro::bench {

using kestrosim::PacketFormat;
using kestrosim::store16;
using kestrosim::store32;
using kestrosim::store64;

namespace {

// Header: 0 status16 | 2 block16 | 4 format8 | 5 packet24
constexpr std::size_t kHeaderBytes = 8;
// Leader: 0 reserved16 | 2 payload type16 | 4 timestamp64 | 12 pixel format32 | 16 width32
//         20 height32 | 24 offset x32 | 28 offset y32 | 32 padding x16 | 34 padding y16
constexpr std::size_t kLeaderBytes = kHeaderBytes + 36;
// Trailer: 0 reserved16 | 2 payload type16 | 4 height32
constexpr std::size_t kTrailerBytes = kHeaderBytes + 8;

/** The most that one UDP datagram holds, and that the kernel cuts one into. */
constexpr std::size_t kMostBytes = 65507;
constexpr std::size_t kMostSegments = 64;

constexpr auto kImage = static_cast<std::uint16_t>(kestrosim::PayloadType::image);

}  // namespace

WireFrame::WireFrame(const ImageShape& shape, std::size_t packetBytes, bool isBatched,
                     unsigned seed)
    : segmentBytes_(packetBytes - kestrosim::kIpUdpHeaderBytes),
      payloadPackets_((shape.bytes() - 1) / (segmentBytes_ - kHeaderBytes) + 1),
      bytes_(kLeaderBytes + shape.bytes() + payloadPackets_ * kHeaderBytes + kTrailerBytes) {
    writeLeader(shape);
    writePayload(seed);
    writeTrailer(shape);
    cutIntoPieces(isBatched);
}

std::size_t WireFrame::offsetOf(std::size_t packet) const {
    if (packet == 0) return 0;
    if (packet > packets() - 1) return bytes_.size();
    if (packet == packets() - 1) return bytes_.size() - kTrailerBytes;
    return kLeaderBytes + (packet - 1) * segmentBytes_;
}

void WireFrame::writeHeader(std::size_t packet, unsigned format) {
    store32(bytes_.data() + offsetOf(packet) + 4,
            static_cast<std::uint32_t>(format << 24 | packet));
}

void WireFrame::writeLeader(const ImageShape& shape) {
    writeHeader(0, static_cast<unsigned>(PacketFormat::leader));
    std::uint8_t* const leader = bytes_.data() + kHeaderBytes;
    store16(leader + 2, kImage);
    store32(leader + 12, kestrosim::kPixelFormatMono8);
    store32(leader + 16, shape.width);
    store32(leader + 20, shape.height);
}

void WireFrame::writePayload(unsigned seed) {
    std::minstd_rand random(seed + 1);
    for (std::size_t packet = 1; packet <= payloadPackets_; ++packet) {
        const std::size_t end = offsetOf(packet + 1);
        std::fill(bytes_.begin() + static_cast<std::ptrdiff_t>(offsetOf(packet) + kHeaderBytes),
                  bytes_.begin() + static_cast<std::ptrdiff_t>(end),
                  static_cast<std::uint8_t>(random()));
        writeHeader(packet, static_cast<unsigned>(PacketFormat::payload));
    }
}

void WireFrame::writeTrailer(const ImageShape& shape) {
    writeHeader(packets() - 1, static_cast<unsigned>(PacketFormat::trailer));
    std::uint8_t* const trailer = bytes_.data() + bytes_.size() - kTrailerBytes + kHeaderBytes;
    store16(trailer + 2, kImage);
    store32(trailer + 4, shape.height);
}

/** Pieces are as large in both ways of sending, so that packets come equally bunched. */
void WireFrame::cutIntoPieces(bool isBatched) {
    slices_.reserve(packets());  // messages point into it
    const std::size_t packetsOfPiece = std::min(kMostBytes / segmentBytes_, kMostSegments);
    for (std::size_t first = 1; first <= payloadPackets_; first += packetsOfPiece) {
        Piece piece;
        piece.firstPacket = first == 1 ? 0 : first;
        piece.firstMessage = messages_.size();
        if (first == 1) addMessage(piece, 0, 1);
        const std::size_t count = std::min(packetsOfPiece, payloadPackets_ + 1 - first);
        const std::size_t step = isBatched ? count : 1;
        for (std::size_t i = 0; i < count; i += step) addMessage(piece, first + i, step);
        pieces_.push_back(piece);
    }
    Piece trailer;
    trailer.firstPacket = packets() - 1;
    trailer.firstMessage = messages_.size();
    addMessage(trailer, trailer.firstPacket, 1);
    pieces_.push_back(trailer);
}

void WireFrame::addMessage(Piece& piece, std::size_t firstPacket, std::size_t packets) {
    const std::size_t begin = offsetOf(firstPacket);
    const std::size_t bytes = offsetOf(firstPacket + packets) - begin;
    slices_.push_back({bytes_.data() + begin, bytes});
    mmsghdr message{};
    message.msg_hdr.msg_iov = &slices_.back();
    message.msg_hdr.msg_iovlen = 1;
    messages_.push_back(message);
    ++piece.messages;
    piece.packets += packets;
    piece.bytes += bytes;
}

void WireFrame::stamp(const Piece& piece, std::uint16_t blockId, std::int64_t time) {
    for (std::size_t i = 0; i < piece.packets; ++i)
        store16(bytes_.data() + offsetOf(piece.firstPacket + i) + 2, blockId);
    if (piece.firstPacket == 0)
        store64(bytes_.data() + kHeaderBytes + 4, static_cast<std::uint64_t>(time));
}

}  // namespace kestro::bench
