// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BlockIds.h"
#include "CameraLink.h"
#include "FramePattern.h"
#include "Gvsp.h"
#include "PartialFrame.h"
#include "PayloadChunks.h"
#include "ResendPlan.h"
#include "StreamCounters.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vorda::Gige {

struct FrameBuffer;

/** What is told of a complete frame, beside its bytes. */
struct FrameInfo {
    std::uint64_t blockId = 0;  ///< 16-bit ids counted on past their wrap
    std::size_t sizeBytes = 0;  ///< all, chunks included
    GvspLeader leader;
    PayloadContent content;
    std::shared_ptr<const PayloadLayout> layout;  ///< may be null
};

/** Where a FrameAssembler gets its buffers and puts its frames and requests. */
class FrameOutput {
 public:
    virtual ~FrameOutput() = default;
    /** A buffer of the capacity that the assembler was made for; null when there is none. */
    [[nodiscard]] virtual FrameBuffer* takeBuffer() = 0;
    /** True while a buffer is free that nothing needs if one more frame gets under way. */
    [[nodiscard]] virtual bool hasSpareBuffer() const = 0;
    /** A buffer comes back unused. */
    virtual void returnBuffer(FrameBuffer& buffer) = 0;
    /** A complete frame; the buffer is the receiver's. */
    virtual void deliver(FrameBuffer& buffer, const FrameInfo& info) = 0;
    virtual void requestResend(const ResendRequest& request) = 0;
};

/** The full packets that come next if all goes well, and where their payloads belong. */
struct ExpectedRun {
    std::uint8_t* place = nullptr;  ///< of the first one; the others' are right behind
    std::size_t stride = 0;         ///< bytes of each
    std::size_t headerBytes = 0;
    std::size_t count = 0;  ///< no more than these; 0: what comes next is not known
};

/**
 * Makes frames of packets: a state machine without clock, socket or thread.
 *
 * Frames come out in the order of their block ids, each with every byte that the camera sent or not
 * at all. kOpenBlocks may be under way at once, and up to kMaxOpenBlocks while there are spare
 * buffers; while an older one waits for packets to be sent again, newer ones wait behind it.
 * Threads: one.
 */
class FrameAssembler {
 public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    static constexpr std::size_t kOpenBlocks = 4;
    /** A quick camera's next frames come sooner than what it sends again. */
    static constexpr std::size_t kMaxOpenBlocks = 32;
    /** An incomplete frame is given up when nothing new came for it for this long. */
    static constexpr auto kRetention = std::chrono::milliseconds(100);

    FrameAssembler(const StreamSetup& setup, FrameOutput& output, StreamCounters& counters);
    FrameAssembler(const FrameAssembler&) = delete;
    FrameAssembler& operator=(const FrameAssembler&) = delete;
    /** Returns the buffers of the frames under way. */
    ~FrameAssembler();

    void take(ByteView datagram, Time now);
    /** Packets of `packetBytes` one behind the other, the last one perhaps smaller. */
    void takeBatch(ByteView batch, std::size_t packetBytes, Time now);
    /**
     * What should come next. Its places may be written to, whatever comes, until something is taken
     * or given up.
     */
    [[nodiscard]] ExpectedRun expectedRun() const;
    /**
     * Takes packets whose payloads lie in the places of expectedRun(): as many of the headers, one
     * behind the other, as are the expected ones. Gives their count.
     */
    [[nodiscard]] std::size_t takePlaced(ByteView headers, Time now);
    /** Asks for missing packets and gives frames up, as far as it is time. */
    void tick(Time now);
    /** Gives up the frames under way: nothing more will come for them. */
    void abandon();
    /** When tick() has something to do next; Time::max() when nothing is under way. */
    [[nodiscard]] Time deadline() const;
    /**
     * How long what the newest frame under way still lacks will take to come, if it comes as the
     * frame before did; longer than anything where that cannot be told.
     */
    [[nodiscard]] Clock::duration restOfFrame() const;
    /** True while a frame is under way. */
    [[nodiscard]] bool busy() const { return openCount_ != 0; }

 private:
    enum class State { gathering, complete, dropped };

    struct OpenBlock {
        PartialFrame part;
        FrameBuffer* buffer = nullptr;
        State state = State::gathering;
        std::uint64_t id = 0;       ///< counted on past the wrap
        std::uint64_t wireId = 0;   ///< as the camera writes it
        Clock::duration silence{};  ///< before its first packet
        Time firstPacket{};
        unsigned laterLooks = 0;  ///< how often more of it was there, after the first packet
        Time lastPacket{};
        ResendPlan resend;
        bool refused = false;  ///< a packet was left or thrown out
        unsigned doubts = 0;   ///< how often the end was asked for though it had come
        std::size_t doubtedBytes = 0;
    };

    [[nodiscard]] OpenBlock* blockOf(const GvspPacket& packet, Time now);
    [[nodiscard]] OpenBlock* findOpen(std::uint64_t id);
    OpenBlock& open(std::uint64_t id, const GvspPacket& packet, Time now);
    [[nodiscard]] bool hasRoom() const;
    void makeRoomFor(std::uint64_t id);
    [[nodiscard]] bool isRestart(std::uint64_t id, const GvspPacket& packet, Time now) const;
    void restart(bool extendedIds);

    void takeInto(OpenBlock& block, const GvspPacket& packet, Time now);
    [[nodiscard]] std::size_t takeRun(ByteView batch, std::size_t packetBytes, Time now);
    [[nodiscard]] std::size_t countNext(ByteView packets, std::size_t step, std::size_t most) const;
    void noteRun(std::size_t count, Time now);
    [[nodiscard]] PartialFrame::Outcome place(OpenBlock& block, const GvspPacket& packet);
    [[nodiscard]] PartialFrame::Outcome placeLeader(OpenBlock& block, const GvspPacket& packet);
    [[nodiscard]] PartialFrame::Outcome placePayload(OpenBlock& block, const GvspPacket& packet);
    void takeRefusal(const GvspPacket& packet);
    void notePacket(OpenBlock& block, Time now);
    void noteProgress(OpenBlock& block, std::uint32_t missingBefore, Time now);
    [[nodiscard]] bool isDoubtful(OpenBlock& block);
    void askForTheEnd(OpenBlock& block, Time now);
    void noteGap(OpenBlock& block, std::uint32_t missingBefore, Time now);
    void finish(OpenBlock& block);
    [[nodiscard]] static Clock::duration timeOf(const OpenBlock& block);
    void drop(OpenBlock& block, Counter& reason);
    void giveUp(OpenBlock& block);

    void askForMissing(OpenBlock& block, Time now);

    /** Hands on what is complete and in order, gives up what cannot become so. */
    void release();
    [[nodiscard]] bool overtaken() const;
    void closeFront();
    void handOver(OpenBlock& block);

    const StreamSetup setup_;
    FrameOutput& output_;
    StreamCounters& counters_;

    std::array<OpenBlock, kMaxOpenBlocks> blocks_;
    std::array<OpenBlock*, kMaxOpenBlocks> order_{};  ///< the open ones first, oldest first
    std::size_t openCount_ = 0;
    OpenBlock* current_ = nullptr;  ///< the one that the last packet belonged to

    BlockIds ids_;
    FramePattern pattern_;
    unsigned vainDoubts_ = 0;  ///< one after the other
    Time lastProgress_{};      ///< when a packet last made a difference
    AnswerTime answers_;
};

}  // namespace Vorda::Gige
