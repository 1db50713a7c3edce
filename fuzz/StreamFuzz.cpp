// SPDX-License-Identifier: Apache-2.0
//
// The packets of a stream, in any order, of any size, at any time. The fuzzer's bytes are choices:
// single packets of a few blocks, whole blocks with packets left out or swapped, datagrams of any
// bytes, and steps of time. Whatever is delivered must consist of the packets that were sent.
#include "BufferPool.h"
#include "FrameAssembler.h"
#include "FuzzInput.h"
#include "PacketsInPlace.h"
#include "RecordingLogger.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace kestro::fuzz;
using namespace Vorda::Gige;
using kestro::fuzz::Bytes;
using kestro::fuzz::ByteView;
using std::chrono::milliseconds;

std::uint64_t bigAt(ByteView bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[at + i];
    return value;
}

void appendBig(Bytes& bytes, std::uint64_t value, unsigned count) {
    for (unsigned i = count; i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

/** Everything that was sent for the blocks of one id, however often the camera began anew. */
struct SentBlock {
    std::map<std::uint32_t, std::set<Bytes>> payloads;  ///< by packet id
    std::set<std::uint32_t> trailers;
    std::set<std::uint64_t> timestamps;  ///< of its leaders
};

/** What was sent, as the standard has it, by block id and kind of header. */
class SentPackets {
 public:
    /** True for a datagram with a whole header. */
    bool note(ByteView datagram) {
        if (datagram.size() < 8) return false;
        const bool isExtended = (datagram[4] & 0x80) != 0;
        if (isExtended && datagram.size() < 20) return false;
        hasBothKinds_ |= kind_.has_value() && *kind_ != isExtended;
        kind_ = isExtended;
        if ((datagram[0] & 0x80) != 0) return true;
        const std::uint64_t blockId = bigAt(datagram, isExtended ? 8 : 2, isExtended ? 8 : 2);
        const auto packetId =
            static_cast<std::uint32_t>(bigAt(datagram, isExtended ? 16 : 5, isExtended ? 4 : 3));
        const ByteView body = datagram.subspan(isExtended ? 20 : 8);
        SentBlock& block = blocks_[{isExtended, blockId}];
        const int format = datagram[4] & 0x0f;
        if (format == 3) block.payloads[packetId].insert(exactly(body));
        if (format == 2) block.trailers.insert(packetId);
        if (format == 1 && body.size() >= 12) block.timestamps.insert(bigAt(body, 4, 8));
        return true;
    }
    [[nodiscard]] bool hasBothKinds() const { return hasBothKinds_; }
    /** Whether a frame may have come of what was sent. */
    [[nodiscard]] bool explains(const FrameInfo& info, ByteView frame) const {
        const std::uint64_t standardId = (info.blockId - 1) % 0xffff + 1;
        return explains({false, standardId}, info, frame) ||
               explains({true, info.blockId}, info, frame);
    }

 private:
    using Key = std::pair<bool, std::uint64_t>;

    [[nodiscard]] bool explains(const Key& key, const FrameInfo& info, ByteView frame) const {
        const auto block = blocks_.find(key);
        if (block == blocks_.end()) return false;
        if (block->second.timestamps.count(info.leader.timestamp) == 0) return false;
        // The places that packets 1 to n may end at.
        std::set<std::size_t> ends{0};
        for (std::uint32_t packetId = 1; !ends.empty(); ++packetId) {
            if (block->second.trailers.count(packetId) != 0 && ends.count(frame.size()) != 0)
                return true;
            const auto packets = block->second.payloads.find(packetId);
            if (packets == block->second.payloads.end()) return false;
            ends = nextEnds(ends, packets->second, frame);
        }
        return false;
    }
    [[nodiscard]] static std::set<std::size_t> nextEnds(const std::set<std::size_t>& ends,
                                                        const std::set<Bytes>& packets,
                                                        ByteView frame) {
        std::set<std::size_t> next;
        for (const std::size_t begin : ends) {
            for (const Bytes& packet : packets) {
                if (packet.size() > frame.size() - begin) continue;
                const auto at = frame.begin() + static_cast<std::ptrdiff_t>(begin);
                if (std::equal(packet.begin(), packet.end(), at))
                    next.insert(begin + packet.size());
            }
        }
        return next;
    }

    std::map<Key, SentBlock> blocks_;
    std::optional<bool> kind_;
    bool hasBothKinds_ = false;
};

/** Buffers that end where the frame's capacity ends, and checks of what is handed over. */
class Output final : public FrameOutput {
 public:
    Output(std::size_t capacity, const SentPackets& sent, const StreamCounters& counters)
        : capacity_(capacity), sent_(sent), counters_(counters) {}

    FrameBuffer* takeBuffer() override {
        if (taken_.size() == kBuffers) return nullptr;
        Taken taken;
        taken.memory = std::make_unique<std::uint8_t[]>(capacity_);
        taken.buffer = std::make_unique<FrameBuffer>();
        taken.buffer->data = taken.memory.get();
        taken.buffer->capacity = capacity_;
        FrameBuffer* const buffer = taken.buffer.get();
        taken_[buffer] = std::move(taken);
        return buffer;
    }
    bool hasSpareBuffer() const override { return taken_.size() + 1 < kBuffers; }
    void returnBuffer(FrameBuffer& buffer) override { KESTRO_EXPECT(taken_.erase(&buffer) == 1); }
    void deliver(FrameBuffer& buffer, const FrameInfo& info) override {
        ++delivered;
        KESTRO_EXPECT(taken_.count(&buffer) == 1);
        KESTRO_EXPECT(info.sizeBytes <= capacity_);
        KESTRO_EXPECT(info.content.imageBytes <= info.sizeBytes);
        KESTRO_EXPECT(sent_.explains(info, {buffer.data, info.sizeBytes}));
        // In the order of their ids, which begin anew only with the camera.
        if (info.blockId <= lastBlockId_) ++beginnings_;
        KESTRO_EXPECT(sent_.hasBothKinds() || beginnings_ <= counters_.cameraRestarts.get());
        lastBlockId_ = info.blockId;
        taken_.erase(&buffer);
    }
    void requestResend(const ResendRequest& request) override {
        ++requests;
        KESTRO_EXPECT(request.firstPacket <= request.lastPacket);
        KESTRO_EXPECT(request.blockId != 0);
    }
    [[nodiscard]] std::size_t takenCount() const { return taken_.size(); }

    std::uint64_t delivered = 0;
    std::uint64_t requests = 0;

 private:
    struct Taken {
        std::unique_ptr<std::uint8_t[]> memory;
        std::unique_ptr<FrameBuffer> buffer;
    };
    static constexpr std::size_t kBuffers = 3;

    const std::size_t capacity_;
    const SentPackets& sent_;
    const StreamCounters& counters_;
    std::map<const FrameBuffer*, Taken> taken_;
    std::uint64_t lastBlockId_ = 0;
    std::uint64_t beginnings_ = 0;
};

class Stream {
 public:
    explicit Stream(Choices& choices) : choices_(choices) {
        static constexpr std::uint32_t kPayloads[] = {0, 1, 40, 64, 300, 2000};
        static constexpr std::uint32_t kPackets[] = {0, 10, 37, 44, 46, 64, 136, 1500};
        setup_.payloadBytes = choices.oneOf(kPayloads);
        setup_.packetBytes = choices.oneOf(kPackets);
        const std::uint8_t flags = choices.byte();
        setup_.canResend = (flags & 1) == 0;
        setup_.extendedIds = extended_ = (flags & 2) != 0;
        inBatches_ = (flags & 8) != 0;
        inPlace_ = (flags & 16) != 0;
        stride_ = 1 + flags % 37;
        blockId_ = (flags & 4) == 0 ? 1 : extended_ ? 0xfffffffffffffff0 : 0xfffc;
    }

    void run() {
        Output output(setup_.payloadBytes, sent_, counters_);
        {
            FrameAssembler assembler(setup_, output, counters_);
            assembler_ = &assembler;
            for (int steps = 0; steps < 150 && !choices_.isEmpty(); ++steps) step();
            takeBatch();
            checkCounters(output);
        }
        KESTRO_EXPECT(output.takenCount() == 0);
    }

 private:
    void step() {
        switch (choices_.below(8)) {
            case 0:
                return pass();
            case 1:
                return take(exactly(choices_.bytes(choices_.byte())));
            case 2:
                return takeBlock();
            case 3:
                blockId_ += choices_.below(4);
                return;
            case 4:
                return takeOdd();
            default:
                return take(packet(choices_.below(4) == 0 ? choices_.byte() : choices_.below(8)));
        }
    }

    void take(const Bytes& datagram) {
        ++datagrams_;
        if (sent_.note(datagram)) ++wellFormed_;
        if (!inBatches_ || datagram.empty()) return assembler_->take(datagram, now_);
        if (datagram.size() > batchPacketBytes_) takeBatch();
        if (batch_.empty()) batchPacketBytes_ = datagram.size();
        batch_.insert(batch_.end(), datagram.begin(), datagram.end());
        if (datagram.size() < batchPacketBytes_) takeBatch();
    }
    /** What came since the last one, all of one size but the last, as the kernel puts it together.
     */
    void takeBatch() {
        if (!batch_.empty()) {
            const std::size_t taken =
                inPlace_ ? kestro::test::takeInPlace(*assembler_, batch_, batchPacketBytes_, now_)
                         : 0;
            const ByteView rest = ByteView(batch_).subspan(taken * batchPacketBytes_);
            assembler_->takeBatch(exactly(rest), batchPacketBytes_, now_);
        }
        batch_.clear();
        batchPacketBytes_ = 0;
    }
    /** Time goes on, and what is due is done. */
    void pass() {
        static constexpr int kSteps[] = {0, 1, 2, 10, 20, 40, 41, 100, 500, 10000};
        takeBatch();
        now_ += milliseconds(choices_.oneOf(kSteps));
        assembler_->tick(now_);
        // Or the receiver would turn in circles.
        KESTRO_EXPECT(assembler_->deadline() > now_);
        KESTRO_EXPECT(assembler_->busy() || assembler_->deadline() == FrameAssembler::Time::max());
    }

    /** A block as it should be, but for what is left out, comes twice or comes earlier. */
    void takeBlock() {
        const std::size_t count = choices_.below(12);
        const std::uint8_t left = choices_.byte();
        const std::uint8_t swapped = choices_.byte();
        std::vector<std::size_t> ids;
        for (std::size_t id = 0; id <= count + 1; ++id) ids.push_back(id);
        if ((swapped & 0x80) != 0) std::swap(ids[swapped % ids.size()], ids[left % ids.size()]);
        last_ = count + 1;
        for (const std::size_t id : ids) {
            if ((left & 0x80) != 0 && id == left % ids.size()) continue;
            take(packet(id));
            if ((swapped & 0x40) != 0 && id == swapped % ids.size()) take(packet(id));
        }
        ++blockId_;
    }

    /** A packet of the block at hand, or of one near it: leader, trailer or what lies between. */
    Bytes packet(std::size_t id) {
        if (id == 0) return leader();
        if (id == last_) return header(2, id);
        Bytes bytes = header(3, id);
        const bool isShort = id + 1 == last_;
        const std::size_t size = isShort ? stride_ - (blockId_ * 7) % stride_ : stride_;
        for (std::size_t i = 0; i < size; ++i)
            bytes.push_back(static_cast<std::uint8_t>(blockId_ * 31 + id * 7 + i));
        return bytes;
    }
    Bytes leader() {
        static constexpr std::uint16_t kTypes[] = {1, 1, 1, 0x4001, 2, 4, 5, 6, 0x4006, 7};
        const std::uint16_t type = typeAt_ == 0 ? std::uint16_t{1} : kTypes[typeAt_ % 10];
        Bytes bytes = header(1, 0);
        appendBig(bytes, type, 4);
        appendBig(bytes, blockId_ * 1000, 8);
        appendBig(bytes, 0x01080001, 4);
        appendBig(bytes, 8, 4);
        appendBig(bytes, stride_, 4);
        bytes.resize(bytes.size() + 12);
        return bytes;
    }
    Bytes header(int format, std::size_t id, std::uint16_t status = 0) const {
        Bytes bytes;
        appendBig(bytes, status, 2);
        appendBig(bytes, extended_ ? 0 : blockId_, 2);
        bytes.push_back(static_cast<std::uint8_t>(format | (extended_ ? 0x80 : 0)));
        appendBig(bytes, extended_ ? 0 : id, 3);
        if (extended_) appendBig(bytes, blockId_, 8);
        if (extended_) appendBig(bytes, id, 4);
        return bytes;
    }
    /** What a camera does now and then, and what it should not do. */
    void takeOdd() {
        static constexpr std::uint32_t kIds[] = {0, 1, 5, 30, 0x00fffffe, 0x00ffffff, 0xffffffff};
        switch (choices_.below(10)) {
            case 0:  // refusals
                return take(header(3, choices_.below(8), 0x800c));
            case 1:
                return take(header(3, choices_.below(8), 0x8010));
            case 2:
                return take(header(choices_.byte() & 0x0f, choices_.below(8)));
            case 3:  // from the first block on again
                blockId_ = choices_.below(3);
                return;
            case 4:
                blockId_ -= choices_.below(6);
                return;
            case 5:
                extended_ = !extended_;
                return;
            case 6:
                typeAt_ = choices_.byte();
                return;
            case 7:
                stride_ = 1 + choices_.below(80);
                return;
            case 8:
                last_ = choices_.below(16);
                return;
            default: {
                Bytes bytes = header(choices_.flag() ? 2 : 3, choices_.oneOf(kIds));
                bytes.resize(bytes.size() + choices_.byte());
                return take(bytes);
            }
        }
    }

    void checkCounters(const Output& output) const {
        KESTRO_EXPECT(counters_.packets.get() == wellFormed_);
        KESTRO_EXPECT(counters_.malformedPackets.get() >= datagrams_ - wellFormed_);
        KESTRO_EXPECT(counters_.malformedPackets.get() <= datagrams_);
        KESTRO_EXPECT(counters_.completeFrames.get() == output.delivered);
        KESTRO_EXPECT(counters_.resendRequests.get() == output.requests);
        KESTRO_EXPECT(setup_.canResend || output.requests == 0);
        KESTRO_EXPECT(output.takenCount() <= FrameAssembler::kMaxOpenBlocks);
        KESTRO_EXPECT(assembler_->busy() || output.takenCount() == 0);
        const std::uint64_t accounted =
            counters_.duplicatePackets.get() + counters_.latePackets.get() +
            counters_.unavailablePackets.get() + counters_.resentPackets.get();
        KESTRO_EXPECT(accounted <= counters_.packets.get());
    }

    Choices& choices_;
    StreamSetup setup_;
    SentPackets sent_;
    StreamCounters counters_;
    FrameAssembler* assembler_ = nullptr;
    FrameAssembler::Time now_{std::chrono::hours(1)};
    bool inBatches_ = false;
    bool inPlace_ = false;
    Bytes batch_;
    std::size_t batchPacketBytes_ = 0;
    bool extended_ = false;
    std::size_t stride_ = 1;
    std::size_t last_ = 4;  ///< the trailer's packet id
    std::size_t typeAt_ = 0;
    std::uint64_t blockId_ = 1;
    std::uint64_t datagrams_ = 0;
    std::uint64_t wellFormed_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kestro::test::RecordingLogger::instance().reset();
    Choices choices(data, size);
    Stream(choices).run();
    return 0;
}
