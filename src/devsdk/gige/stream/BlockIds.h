// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Gvsp.h"

#include <array>
#include <chrono>
#include <cstdint>

namespace Vorda::Gige {

/**
 * The block ids of a stream: counts 16-bit ones on past their wrap, and tells when the camera
 * counts from 1 again. Threads: one.
 */
class BlockIds {
 public:
    using Duration = std::chrono::steady_clock::duration;

    /** Forgets everything: the camera begins, or begins anew. */
    void begin(bool areExtended);
    /** True for 64-bit ids. */
    [[nodiscard]] bool areExtended() const { return areExtended_; }

    /** The id that the camera wrote, counted on past the wrap; 0 for one from before the first. */
    [[nodiscard]] std::uint64_t countOn(std::uint64_t wireId) const;
    /** From 40000 to 1 a camera may have begun anew, though from 65500 to 1 it has gone on. */
    [[nodiscard]] bool isFarBehindWrap(std::uint64_t id, std::uint64_t wireId) const;
    /**
     * A leader of an old block is either late or sent twice, or of a camera that lost power and
     * counts from 1 again. The clock in the leader tells: the same block has the same time. One
     * that seems to be ahead, behind the wrap of the ids, is of such a camera when there was no
     * time for the blocks between. `silence` is how long nothing came before it.
     */
    [[nodiscard]] bool isRestart(std::uint64_t id, const GvspLeader& leader,
                                 Duration silence) const;
    /** How many blocks are missing before one that is closed next; 0 if it is a new beginning. */
    [[nodiscard]] std::uint64_t missingBefore(std::uint64_t id, Duration silence) const;

    /** True before the first block. */
    [[nodiscard]] bool isFirst() const { return newest_ == 0; }
    [[nodiscard]] std::uint64_t lastClosed() const { return lastClosed_; }
    void noteBlock(std::uint64_t id);
    void noteLeader(std::uint64_t id, const GvspLeader& leader);
    /** In their order; `leader` may be null. */
    void noteClosed(std::uint64_t id, const GvspLeader* leader);

 private:
    /** A block that is done with. */
    struct Closed {
        std::uint64_t id = 0;
        std::uint64_t timestamp = 0;
        bool hasTimestamp = false;
    };
    /** What the leaders say of the camera's clock, in its ticks. */
    struct CameraClock {
        std::uint64_t id = 0;      ///< of the newest block whose leader came; 0: none
        std::uint64_t latest = 0;  ///< that leader's time
        std::uint64_t least = 0;   ///< from one block to the next; 0: not known
    };

    [[nodiscard]] std::uint64_t mostTakenUntil(const GvspLeader& leader, Duration silence) const;

    bool areExtended_ = false;
    std::uint64_t newest_ = 0;
    std::uint64_t lastClosed_ = 0;  ///< 0: none
    CameraClock clock_;
    std::array<Closed, 64> closed_{};
    std::size_t closedNext_ = 0;
};

}  // namespace Vorda::Gige
