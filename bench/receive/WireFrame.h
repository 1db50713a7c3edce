// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestro::bench {

/** A Mono8 picture. */
struct ImageShape {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    [[nodiscard]] std::size_t bytes() const { return std::size_t{width} * height; }
};

/** Packets of a frame that are sent by one system call. */
struct Piece {
    std::size_t firstPacket = 0;
    std::size_t packets = 0;
    std::size_t bytes = 0;  ///< UDP payload
    std::size_t firstMessage = 0;
    std::size_t messages = 0;
};

/**
 * A frame as it goes over the wire, made before it is sent: all its packets behind each other with
 * their headers, and what sendmmsg is to be told of them.
 *
 * Batched, a message is a run of payload packets, which the kernel cuts at each segmentBytes()
 * (UDP_SEGMENT); else each packet is one. The trailer is a piece of its own, so that the time of
 * its sending can be told.
 */
class WireFrame {
 public:
    /** `packetBytes` with IP and UDP headers. `seed` makes the picture's bytes. */
    WireFrame(const ImageShape& shape, std::size_t packetBytes, bool isBatched, unsigned seed);

    [[nodiscard]] const std::vector<Piece>& pieces() const { return pieces_; }
    [[nodiscard]] std::size_t packets() const { return payloadPackets_ + 2; }
    [[nodiscard]] std::size_t bytes() const { return bytes_.size(); }
    [[nodiscard]] std::size_t segmentBytes() const { return segmentBytes_; }

    /** Makes the packets of a piece those of a block; the leader has the time, too. */
    void stamp(const Piece& piece, std::uint16_t blockId, std::int64_t time);
    [[nodiscard]] std::span<mmsghdr> messages(const Piece& piece) {
        return std::span(messages_).subspan(piece.firstMessage, piece.messages);
    }

 private:
    [[nodiscard]] std::size_t offsetOf(std::size_t packet) const;
    void writeLeader(const ImageShape& shape);
    void writePayload(unsigned seed);
    void writeTrailer(const ImageShape& shape);
    void writeHeader(std::size_t packet, unsigned format);
    void cutIntoPieces(bool isBatched);
    void addMessage(Piece& piece, std::size_t firstPacket, std::size_t packets);

    std::size_t segmentBytes_;
    std::size_t payloadPackets_;
    std::vector<std::uint8_t> bytes_;
    std::vector<iovec> slices_;
    std::vector<mmsghdr> messages_;
    std::vector<Piece> pieces_;
};

}  // namespace kestro::bench
