// SPDX-License-Identifier: Apache-2.0
#include "FrameAssembler.h"

#include "BufferPool.h"
#include "HeldLines.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace Vorda::Gige {

namespace {

using Outcome = PartialFrame::Outcome;

/** The end of a frame that may have been cut is asked for so often; and of so many in vain, for a
 * camera may mean it so, and may not be able to send it again. */
constexpr unsigned kMostDoubts = 3;
constexpr unsigned kMostVainDoubts = 3;

bool isLeader(const GvspPacket& packet) {
    return packet.format == static_cast<std::uint8_t>(GvspFormat::leader);
}

void noteChunks(const PayloadContent& content, std::uint64_t blockId, StreamCounters& counters) {
    if (content.chunks.ignored() != 0)
        GIGE_LOG_WHEN_FREE(kDebug, "Block " + std::to_string(blockId) + " has " +
                                       std::to_string(content.chunks.ignored()) +
                                       " chunks too many");
    if (!content.isBroken) return;
    // The first one is worth a warning; how many there were, the counters tell.
    const bool isFirst = counters.brokenChunks.get() == 0;
    counters.brokenChunks.add();
    const std::string text =
        "The chunks of block " + std::to_string(blockId) + " do not fit together";
    if (isFirst)
        GIGE_LOG_WHEN_FREE(kWarning, text);
    else
        GIGE_LOG_WHEN_FREE(kDebug, text);
}

}  // namespace

FrameAssembler::FrameAssembler(const StreamSetup& setup, FrameOutput& output,
                               StreamCounters& counters)
    : setup_(setup), output_(output), counters_(counters) {
    for (std::size_t i = 0; i < kMaxOpenBlocks; ++i) order_[i] = &blocks_[i];
    restart(setup.extendedIds);
}

FrameAssembler::~FrameAssembler() {
    for (OpenBlock& block : blocks_)
        if (block.buffer) output_.returnBuffer(*block.buffer);
}

void FrameAssembler::take(ByteView datagram, Time now) {
    const auto packet = decodeGvspPacket(datagram);
    if (!packet) return counters_.malformedPackets.add();
    counters_.packets.add();
    if (packet->blockId == 0) return;  // a test packet
    if (packet->isError()) return takeRefusal(*packet);
    if (OpenBlock* block = blockOf(*packet, now)) takeInto(*block, *packet, now);
}

void FrameAssembler::takeBatch(ByteView batch, std::size_t packetBytes, Time now) {
    while (!batch.empty()) {
        const std::size_t bytes = std::min(packetBytes, batch.size());
        take(batch.first(bytes), now);
        batch = batch.subspan(bytes);
        batch = batch.subspan(takeRun(batch, packetBytes, now));
    }
}

/**
 * Takes what a batch begins with as long as it goes on just where the current block ends, full
 * packet by full packet: nearly all of a stream does. Gives the bytes taken.
 */
std::size_t FrameAssembler::takeRun(ByteView batch, std::size_t packetBytes, Time now) {
    const ExpectedRun run = expectedRun();
    if (run.count == 0 || packetBytes != run.headerBytes + run.stride) return 0;
    if (batch.size() < packetBytes) return 0;
    const std::size_t most = std::min(run.count, batch.size() / packetBytes);
    const std::size_t count = countNext(batch, packetBytes, most);
    const std::uint8_t* from = batch.data() + run.headerBytes;
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(run.place + i * run.stride, from + i * packetBytes, run.stride);
    noteRun(count, now);
    return count * packetBytes;
}

ExpectedRun FrameAssembler::expectedRun() const {
    if (!current_ || current_->state != State::gathering) return {};
    const PartialFrame& part = current_->part;
    if (current_->resend.wasAskedFor(part.highestPayload() + 1)) return {};
    const std::size_t header = ids_.areExtended() ? kGvspExtendedHeaderBytes : kGvspHeaderBytes;
    return {part.runPlace(), part.stride(), header, part.roomForRun()};
}

std::size_t FrameAssembler::takePlaced(ByteView headers, Time now) {
    const ExpectedRun run = expectedRun();
    if (run.count == 0) return 0;
    const std::size_t most = std::min(run.count, headers.size() / run.headerBytes);
    const std::size_t count = countNext(headers, run.headerBytes, most);
    noteRun(count, now);
    return count;
}

/** How many of the packets, one each `step` bytes, come next in the current block. */
std::size_t FrameAssembler::countNext(ByteView packets, std::size_t step, std::size_t most) const {
    const PlainPayloadHeader header(current_->wireId, ids_.areExtended());
    const std::uint32_t first = current_->part.highestPayload() + 1;
    std::size_t count = 0;
    while (count < most &&
           header.isOf(packets.subspan(count * step), first + static_cast<std::uint32_t>(count)))
        ++count;
    return count;
}

void FrameAssembler::noteRun(std::size_t count, Time now) {
    if (count == 0) return;
    counters_.packets.add(count);
    current_->part.takeRun(static_cast<std::uint32_t>(count));
    notePacket(*current_, now);
}

/** The open block that the packet belongs to, opened if it is new; null when it is to be ignored.
 */
FrameAssembler::OpenBlock* FrameAssembler::blockOf(const GvspPacket& packet, Time now) {
    if (packet.extendedIds != ids_.areExtended()) {
        // A camera that came back may be set up differently; anything but a leader is debris.
        if (!isLeader(packet)) {
            counters_.malformedPackets.add();
            return nullptr;
        }
        restart(packet.extendedIds);
    }
    if (current_ && current_->wireId == packet.blockId) return current_;
    std::uint64_t id = ids_.countOn(packet.blockId);
    if (OpenBlock* block = findOpen(id)) return current_ = block;
    const bool isOld = id <= ids_.lastClosed() || (id < order_[0]->id && !hasRoom());
    if (isOld || ids_.isFarBehindWrap(id, packet.blockId)) {
        if (isRestart(id, packet, now)) {
            counters_.cameraRestarts.add();
            restart(packet.extendedIds);
            id = packet.blockId;
        } else if (isOld || !isLeader(packet)) {
            counters_.latePackets.add();
            return nullptr;
        }
    }
    return current_ = &open(id, packet, now);
}

FrameAssembler::OpenBlock* FrameAssembler::findOpen(std::uint64_t id) {
    for (std::size_t i = 0; i < openCount_; ++i)
        if (order_[i]->id == id) return order_[i];
    return nullptr;
}

bool FrameAssembler::isRestart(std::uint64_t id, const GvspPacket& packet, Time now) const {
    if (!isLeader(packet)) return false;
    const auto leader = decodeGvspLeader(packet.body);
    return leader && ids_.isRestart(id, *leader, now - lastProgress_);
}

void FrameAssembler::abandon() {
    while (openCount_ != 0) {
        if (order_[0]->state == State::gathering) giveUp(*order_[0]);
        closeFront();
    }
}

void FrameAssembler::restart(bool extendedIds) {
    abandon();
    ids_.begin(extendedIds);
    pattern_.begin(setup_, extendedIds);
}

FrameAssembler::OpenBlock& FrameAssembler::open(std::uint64_t id, const GvspPacket& packet,
                                                Time now) {
    if (!hasRoom()) makeRoomFor(id);
    OpenBlock& block = *order_[openCount_];
    block.part.begin(pattern_.stride(), setup_.payloadBytes);
    block.state = State::gathering;
    block.id = id;
    block.wireId = packet.blockId;
    block.silence = ids_.isFirst() ? Clock::duration::zero() : now - lastProgress_;
    block.firstPacket = block.lastPacket = now;
    block.laterLooks = 0;
    block.resend.begin(setup_.canResend);
    block.refused = false;
    block.doubts = 0;
    ++openCount_;
    for (std::size_t i = openCount_ - 1; i > 0 && order_[i - 1]->id > id; --i)
        std::swap(order_[i - 1], order_[i]);
    for (std::size_t i = 0; order_[i] != &block; ++i) order_[i]->resend.noteNewerBlock(now);
    ids_.noteBlock(id);
    return block;
}

bool FrameAssembler::hasRoom() const {
    if (openCount_ < kOpenBlocks) return true;
    return openCount_ < kMaxOpenBlocks && output_.hasSpareBuffer();
}

/** Gives the oldest block up, and hands on what waited behind it, but nothing newer than `id`. */
void FrameAssembler::makeRoomFor(std::uint64_t id) {
    giveUp(*order_[0]);
    do {
        closeFront();
    } while (openCount_ != 0 && order_[0]->id < id && order_[0]->state != State::gathering);
}

void FrameAssembler::takeInto(OpenBlock& block, const GvspPacket& packet, Time now) {
    if (block.state == State::dropped) return;
    if (block.state == State::complete) return counters_.duplicatePackets.add();
    const std::uint32_t missingBefore = block.part.missing();
    const Outcome outcome = place(block, packet);
    const std::uint32_t thrownOut = block.part.takeThrownOut();
    counters_.malformedPackets.add(thrownOut);
    if (thrownOut != 0) block.refused = true;
    switch (outcome) {
        case Outcome::taken:
            break;
        case Outcome::duplicate:
            return counters_.duplicatePackets.add();
        case Outcome::refused:
            counters_.malformedPackets.add();
            block.refused = true;
            break;
        case Outcome::tooBig:
            return drop(block, counters_.tooBig);
        case Outcome::malformed:
            return drop(block, counters_.malformedFrames);
    }
    if (block.state == State::dropped) return;
    if (outcome == Outcome::refused) return noteGap(block, missingBefore, now);
    if (block.resend.wasAskedFor(packet.packetId)) {
        counters_.resentPackets.add();
        block.resend.noteAnswer(now, answers_);
    }
    noteProgress(block, missingBefore, now);
    if (!block.part.complete()) return;
    if (isDoubtful(block)) return askForTheEnd(block, now);
    finish(block);
}

Outcome FrameAssembler::place(OpenBlock& block, const GvspPacket& packet) {
    switch (static_cast<GvspFormat>(packet.format)) {
        case GvspFormat::payload:
            return placePayload(block, packet);
        case GvspFormat::leader:
            return placeLeader(block, packet);
        case GvspFormat::trailer:
            return block.part.takeTrailer(packet.packetId);
    }
    // All-in-one, multi-part and the like: the leader, if there is one, would not be an image's.
    drop(block, counters_.unsupported);
    return Outcome::taken;
}

Outcome FrameAssembler::placeLeader(OpenBlock& block, const GvspPacket& packet) {
    const auto leader = decodeGvspLeader(packet.body);
    if (packet.packetId != 0) return Outcome::malformed;
    if (!leader) return Outcome::refused;
    const Outcome outcome = block.part.takeLeader(*leader);
    if (outcome == Outcome::taken) ids_.noteLeader(block.id, *leader);
    if (!isReadable(*leader)) drop(block, counters_.unsupported);
    return outcome;
}

Outcome FrameAssembler::placePayload(OpenBlock& block, const GvspPacket& packet) {
    if (!block.buffer) {
        block.buffer = output_.takeBuffer();
        if (!block.buffer) {
            drop(block, counters_.noBuffer);
            return Outcome::taken;
        }
        block.part.setBuffer(block.buffer->data);
    }
    return block.part.takePayload(packet.packetId, packet.body);
}

/** The camera does not send a packet again. */
void FrameAssembler::takeRefusal(const GvspPacket& packet) {
    if (packet.extendedIds != ids_.areExtended()) return counters_.malformedPackets.add();
    OpenBlock* block = findOpen(ids_.countOn(packet.blockId));
    if (packet.status == kGvspPacketNotYetAvailable || !block) return;
    counters_.unavailablePackets.add();
    // Beyond the known end the packet was a guess and may never have existed.
    if (packet.packetId >= block->part.knownEnd() || block->part.has(packet.packetId)) return;
    block->resend.close();
    release();
}

void FrameAssembler::notePacket(OpenBlock& block, Time now) {
    if (now != block.lastPacket) ++block.laterLooks;
    block.lastPacket = lastProgress_ = now;
}

void FrameAssembler::noteProgress(OpenBlock& block, std::uint32_t missingBefore, Time now) {
    notePacket(block, now);
    noteGap(block, missingBefore, now);
    block.resend.noteProgress(block.part);
}

/**
 * Whether a last packet was cut, for all that can be told of it. When it comes again as it was, the
 * camera meant it so; one that always does is believed.
 */
bool FrameAssembler::isDoubtful(OpenBlock& block) {
    const std::size_t bytes = block.part.sizeBytes();
    if (!block.resend.isOpen() || bytes == 0 || vainDoubts_ >= kMostVainDoubts) return false;
    if (looksWhole(*block.part.leader(), {block.buffer->data, bytes})) {
        vainDoubts_ = 0;
        return false;
    }
    const bool isAsBefore = block.doubts != 0 && block.doubtedBytes == bytes;
    if (isAsBefore) ++vainDoubts_;
    return !isAsBefore;
}

void FrameAssembler::askForTheEnd(OpenBlock& block, Time now) {
    if (++block.doubts > kMostDoubts) return drop(block, counters_.malformedFrames);
    block.doubtedBytes = block.part.sizeBytes();
    block.refused = true;
    block.part.throwOutEnd();
    counters_.malformedPackets.add(block.part.takeThrownOut());
    block.resend.startAgain(now);
}

void FrameAssembler::noteGap(OpenBlock& block, std::uint32_t missingBefore, Time now) {
    if (block.part.missing() > missingBefore) block.resend.noteGap(now);
}

void FrameAssembler::finish(OpenBlock& block) {
    if (!block.buffer) block.buffer = output_.takeBuffer();  // a frame without a byte
    if (!block.buffer) return drop(block, counters_.noBuffer);
    block.state = State::complete;
    pattern_.note(block.part, timeOf(block));
    release();
}

FrameAssembler::Clock::duration FrameAssembler::timeOf(const OpenBlock& block) {
    const Clock::duration took = block.lastPacket - block.firstPacket;
    // It was there at the first look, or the second: nobody knows how much sooner it came.
    return block.laterLooks <= 1 ? took - took / 4 : took;
}

void FrameAssembler::drop(OpenBlock& block, Counter& reason) {
    reason.add();
    if (block.buffer) output_.returnBuffer(*block.buffer);
    block.buffer = nullptr;
    block.state = State::dropped;
    release();
}

void FrameAssembler::giveUp(OpenBlock& block) {
    // Its end was there once, and may have been right.
    if (block.doubts != 0) ++vainDoubts_;
    (block.refused ? counters_.malformedFrames : counters_.lostFrames).add();
    counters_.lostPackets.add(block.part.missing());
    if (block.buffer) output_.returnBuffer(*block.buffer);
    block.buffer = nullptr;
    block.state = State::dropped;
}

void FrameAssembler::release() {
    while (openCount_ != 0) {
        OpenBlock& front = *order_[0];
        if (front.state == State::gathering) {
            if (front.resend.isOpen() || !overtaken()) return;
            giveUp(front);
        }
        closeFront();
    }
}

/** True when a newer frame is complete and waits behind the oldest. */
bool FrameAssembler::overtaken() const {
    return std::any_of(order_.begin() + 1, order_.begin() + static_cast<std::ptrdiff_t>(openCount_),
                       [](const OpenBlock* block) { return block->state == State::complete; });
}

void FrameAssembler::closeFront() {
    OpenBlock& block = *order_[0];
    const auto& leader = block.part.leader();
    counters_.lostFrames.add(ids_.missingBefore(block.id, block.silence));
    // Whoever gets the frame finds what is missing before it counted.
    if (block.state == State::complete) handOver(block);
    ids_.noteClosed(block.id, leader ? &*leader : nullptr);
    std::rotate(order_.begin(), order_.begin() + 1,
                order_.begin() + static_cast<std::ptrdiff_t>(openCount_));
    --openCount_;
    current_ = nullptr;
}

void FrameAssembler::handOver(OpenBlock& block) {
    FrameInfo info{block.id, block.part.sizeBytes(), *block.part.leader(), {}, setup_.layout};
    takeApart(info.leader, {block.buffer->data, info.sizeBytes}, info.content);
    noteChunks(info.content, info.blockId, counters_);
    output_.deliver(*block.buffer, info);
    counters_.completeFrames.add();
    block.buffer = nullptr;
}

void FrameAssembler::tick(Time now) {
    for (std::size_t i = 0; i < openCount_; ++i) {
        OpenBlock& block = *order_[i];
        if (block.state != State::gathering) continue;
        if (now - block.lastPacket >= kRetention) {
            giveUp(block);
        } else if (now >= block.resend.dueAt(block.part, block.lastPacket)) {
            askForMissing(block, now);
        }
    }
    release();
}

FrameAssembler::Time FrameAssembler::deadline() const {
    Time next = Time::max();
    for (std::size_t i = 0; i < openCount_; ++i) {
        const OpenBlock& block = *order_[i];
        if (block.state != State::gathering) continue;
        next = std::min({next, block.lastPacket + kRetention,
                         block.resend.dueAt(block.part, block.lastPacket)});
    }
    return next;
}

FrameAssembler::Clock::duration FrameAssembler::restOfFrame() const {
    const OpenBlock* const newest = openCount_ != 0 ? order_[openCount_ - 1] : nullptr;
    if (!newest) return Clock::duration::max();
    // What it waits for behind an older one may come at any time.
    if (newest->state != State::gathering) return FramePattern::kRestOfLongerFrame;
    return pattern_.restOf(newest->part);
}

void FrameAssembler::askForMissing(OpenBlock& block, Time now) {
    auto [from, end] = block.resend.ask(block.part, block.lastPacket, pattern_, answers_, now);
    for (;;) {
        const std::uint32_t first = block.part.nextMissing(from, end);
        if (first >= end) return;
        from = block.part.nextPresent(first, end);
        counters_.resendRequests.add();
        output_.requestResend({block.wireId, first, from - 1, ids_.areExtended()});
    }
}

}  // namespace Vorda::Gige
