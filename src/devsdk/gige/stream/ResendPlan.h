// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FramePattern.h"
#include "PartialFrame.h"

#include <chrono>
#include <cstdint>

namespace Vorda::Gige {

/** How soon a camera has sent again what it was asked for. Threads: one. */
class AnswerTime {
 public:
    using Duration = std::chrono::steady_clock::duration;

    /**
     * What was asked for and has not come is asked for again after this time, or sooner, and then
     * less and less so, where the camera has shown to answer sooner: newer frames wait behind it.
     */
    static constexpr auto kRepeatRequestAfter = std::chrono::milliseconds(20);
    static constexpr auto kSoonestRepeat = std::chrono::milliseconds(4);

    /** From a request to the first packet that it brought. */
    void note(Duration took);
    /** How long to wait for an answer, after so many requests in vain. */
    [[nodiscard]] Duration repeatAfter(unsigned rounds) const;

 private:
    Duration time_ = kRepeatRequestAfter;
};

/** What of a block is asked for again, and when. Threads: one. */
class ResendPlan {
 public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr Time kNever = Time::max();

    /** A gap is asked for after this time: reordered packets fill it by themselves. */
    static constexpr auto kFirstRequestAfter = std::chrono::milliseconds(1);
    /** The end of a frame is asked for when nothing came for this long and no newer one began. */
    static constexpr auto kTailRequestAfter = std::chrono::milliseconds(40);
    static constexpr unsigned kMaxRequestRounds = 7;

    /** Packets, the missing ones among which are to be asked for. */
    struct Span {
        std::uint32_t first = 0;
        std::uint32_t end = 0;
    };

    /** Forgets everything. */
    void begin(bool canResend);
    /** True while asking makes sense. */
    [[nodiscard]] bool isOpen() const { return isOpen_; }
    void close() { isOpen_ = false; }
    /** Whether the packet comes because it was asked for, or comes late. */
    [[nodiscard]] bool wasAskedFor(std::uint32_t packetId) const { return packetId < askedEnd_; }

    /** Packets are missing that were not before. */
    void noteGap(Time now);
    /** The camera has gone on to a newer block: what this one lacks of its end is overdue. */
    void noteNewerBlock(Time now);
    /** A packet came that was asked for. */
    void noteAnswer(Time now, AnswerTime& answers);
    /** The block has got nearer to its end. */
    void noteProgress(const PartialFrame& part);
    /** What came, and was asked for, counts no more. */
    void startAgain(Time now);

    /** When ask() has something to do; kNever for nothing. */
    [[nodiscard]] Time dueAt(const PartialFrame& part, Time lastPacket) const;
    /** What to ask for now; nothing, when it is too much, or was in vain too often. */
    [[nodiscard]] Span ask(const PartialFrame& part, Time lastPacket, const FramePattern& pattern,
                           const AnswerTime& answers, Time now);

 private:
    [[nodiscard]] Time tailDueAt(const PartialFrame& part, Time lastPacket) const;
    [[nodiscard]] std::uint32_t endToAskFor(const PartialFrame& part, Time lastPacket,
                                            const FramePattern& pattern, Time now) const;

    bool isOpen_ = false;
    Time gapSince_ = kNever;   ///< of the gaps not yet asked for
    Time tailSince_ = kNever;  ///< since when the end is overdue
    Time repeatAt_ = kNever;
    Time askedAt_ = kNever;       ///< the latest request that nothing has answered yet
    std::uint32_t askedEnd_ = 0;  ///< packets below were asked for once, or came
    unsigned rounds_ = 0;         ///< in vain
};

}  // namespace Vorda::Gige
