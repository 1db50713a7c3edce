// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "GigeWire.h"
#include "RegisterMap.h"
#include "Scene.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kestrosim {

/** What was done to a frame's results. */
enum class ResultFault { none, cut, corrupt };

/** The bytes of one frame with all that its leader says. */
struct FramePayload {
    std::shared_ptr<const std::vector<std::uint8_t>> bytes;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    std::uint64_t timestamp = 0;
    PayloadType type = PayloadType::image;
    bool hasChunks = false;  ///< image or JPEG file are the first of several chunks
    bool isStamped = false;
    ResultFault resultFault = ResultFault::none;
    ReadingSummary reading;
};

/** The bytes of a packet: a head that is its own, and a piece of the payload behind it. */
struct StreamPacket {
    static constexpr std::size_t kMaxHeadBytes = 56;  ///< extended header and leader
    std::array<std::uint8_t, kMaxHeadBytes> head{};
    std::size_t headBytes = 0;
    std::span<const std::uint8_t> body;
};

/**
 * A frame cut into GVSP packets: leader 0, payload 1 to n, trailer n + 1. Any packet can be made
 * at any time, so that it can be sent again. Immutable; threads: any.
 */
class StreamFrame {
 public:
    StreamFrame(std::uint64_t blockId, FramePayload payload, std::uint32_t packetBytes,
                bool extendedIds);

    [[nodiscard]] std::uint64_t blockId() const { return blockId_; }
    [[nodiscard]] std::uint64_t timestamp() const { return payload_.timestamp; }
    [[nodiscard]] const ReadingSummary& reading() const { return payload_.reading; }
    [[nodiscard]] ResultFault resultFault() const { return payload_.resultFault; }
    [[nodiscard]] bool isStamped() const { return payload_.isStamped; }
    [[nodiscard]] std::uint32_t packetCount() const;
    [[nodiscard]] std::size_t leaderBytes() const;
    /** As the leader tells it; 0 where it tells none. */
    [[nodiscard]] std::uint32_t pixelFormat() const;
    /** `id` is below packetCount(). */
    [[nodiscard]] StreamPacket packet(std::uint32_t id, Status status) const;

 private:
    [[nodiscard]] std::span<const std::uint8_t> piece(std::uint32_t id) const;
    [[nodiscard]] std::uint16_t payloadType() const;
    void addLeader(StreamPacket& packet) const;
    void addImage(std::uint8_t* leader) const;
    void addTrailer(StreamPacket& packet) const;

    std::uint64_t blockId_;
    FramePayload payload_;
    bool extendedIds_;
    std::size_t pieceBytes_;
};

/** Of the GVSP header that the head begins with. */
[[nodiscard]] std::size_t headerBytesOf(const StreamPacket& packet);

/** A packet without content: a head that carries only a status. */
[[nodiscard]] StreamPacket statusPacket(std::uint64_t blockId, std::uint32_t packetId,
                                        bool extendedIds, Status status);

}  // namespace kestrosim
