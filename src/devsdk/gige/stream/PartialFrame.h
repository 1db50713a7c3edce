// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Gvsp.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Vorda::Gige {

/**
 * The packets of one block, put in their places.
 *
 * Packet 0 is the leader, 1 to n carry the payload, n+1 is the trailer; they come in any order. All
 * payload packets but the last have one size, the stride, and so packet i lies at (i-1) strides.
 * The stride is guessed from the packet size that the camera was set to, but some cameras send
 * smaller packets: the guess is replaced by the first packet that proves another. A packet of a
 * size that does not fit is left out, as if it had not come, or thrown out when the others show it;
 * packets whose ids contradict each other make the block malformed. Only complete() blocks are to
 * be trusted.
 */
class PartialFrame {
 public:
    /** A packet that is refused is missing still; malformed and tooBig are said of the block. */
    enum class Outcome { taken, duplicate, refused, malformed, tooBig };

    /** Forgets everything; `stride` is the guess, `capacity` the most that the payload may have. */
    void begin(std::size_t stride, std::size_t capacity);
    /** Where the payload goes, `capacity` bytes; needed before the first payload packet. */
    void setBuffer(std::uint8_t* data) { data_ = data; }

    [[nodiscard]] Outcome takeLeader(const GvspLeader& leader);
    [[nodiscard]] Outcome takePayload(std::uint32_t packetId, ByteView bytes);
    [[nodiscard]] Outcome takeTrailer(std::uint32_t packetId);

    /**
     * How many full packets may follow the highest one without a look at each: they fit, and
     * nothing that came before speaks against them.
     */
    [[nodiscard]] std::uint32_t roomForRun() const;
    /** The place of the first of them, if there is room for any; the others' are right behind. */
    [[nodiscard]] std::uint8_t* runPlace() const;
    /** The first `count` of them have come, and are in their places. */
    void takeRun(std::uint32_t count);
    [[nodiscard]] std::size_t stride() const { return stride_; }
    [[nodiscard]] std::uint32_t highestPayload() const { return highestPayload_; }

    /** Throws out the last packet of a complete frame, and of two both: one may have been cut. */
    void throwOutEnd();
    /** How many packets were thrown out since this was asked last: they are missing again. */
    [[nodiscard]] std::uint32_t takeThrownOut();

    [[nodiscard]] bool complete() const;
    [[nodiscard]] const std::optional<GvspLeader>& leader() const { return leader_; }
    [[nodiscard]] bool hasTrailer() const { return trailerId_ != 0; }
    /** Of a complete frame. */
    [[nodiscard]] std::size_t sizeBytes() const;
    /** The size of full packets, when one was seen. */
    [[nodiscard]] std::optional<std::size_t> provenStride() const;

    /** One past the highest packet id that is known to exist; 0 when nothing came yet. */
    [[nodiscard]] std::uint32_t knownEnd() const;
    /** Packets below knownEnd() that have not come. */
    [[nodiscard]] std::uint32_t missing() const { return knownEnd() - received(); }
    [[nodiscard]] bool has(std::uint32_t packetId) const;

    /** The first packet not below `from` and below `end` that has not come; else `end`. */
    [[nodiscard]] std::uint32_t nextMissing(std::uint32_t from, std::uint32_t end) const;
    /** The first packet not below `from` and below `end` that has come; else `end`. */
    [[nodiscard]] std::uint32_t nextPresent(std::uint32_t from, std::uint32_t end) const;

 private:
    [[nodiscard]] std::uint32_t received() const;
    [[nodiscard]] bool settleStride(std::uint32_t packetId, std::size_t size);
    [[nodiscard]] bool adoptStride(std::size_t stride);
    [[nodiscard]] bool isOverfull(std::uint32_t packetId, std::size_t size) const;
    void settleShort(std::size_t sizeBehind);
    void throwOutShort();
    void throwOutAll();
    void mark(std::uint32_t packetId);
    void unmark(std::uint32_t packetId);

    std::uint8_t* data_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t guess_ = 0;  ///< of the stride, as at first
    std::size_t stride_ = 0;
    std::optional<GvspLeader> leader_;
    std::uint32_t trailerId_ = 0;  ///< 0: none yet
    std::uint32_t highestPayload_ = 0;
    std::uint32_t payloadCount_ = 0;
    std::uint32_t fullCount_ = 0;  ///< payload packets of stride_ bytes
    std::uint32_t fullId_ = 0;     ///< the first of them
    std::uint32_t shortId_ = 0;    ///< the one smaller packet, taken for the last; 0: none
    std::size_t shortBytes_ = 0;
    std::uint32_t thrownOut_ = 0;
    bool wasOverfull_ = false;            ///< a packet went past the capacity
    std::vector<std::uint64_t> present_;  ///< a bit for each payload packet
};

}  // namespace Vorda::Gige
