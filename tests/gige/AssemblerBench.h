// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the frame assembler share.
#pragma once

#include "BufferPool.h"
#include "FrameAssembler.h"
#include "PacketsInPlace.h"
#include "StreamPackets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

namespace kestro::test {

inline constexpr std::uint32_t kAssemblerPayload = 1000;

/** An assembler with a clock of its own, and everything that comes out of it. */
class AssemblerBench : public Vorda::Gige::FrameOutput {
 public:
    struct Frame {
        Vorda::Gige::FrameInfo info;
        Bytes bytes;
        std::uint64_t lostBefore = 0;  ///< as the counter said when it was delivered
    };

    // Packets of 100 payload bytes.
    static Vorda::Gige::StreamSetup standard() { return {kAssemblerPayload, 136, true, false, 0}; }
    static Vorda::Gige::StreamSetup extended() { return {kAssemblerPayload, 148, true, true, 0}; }
    static Vorda::Gige::StreamSetup withoutResend() {
        return {kAssemblerPayload, 136, false, false, 0};
    }

    explicit AssemblerBench(const Vorda::Gige::StreamSetup& setup = standard(),
                            unsigned buffers = 8)
        : memory_(buffers, Bytes(setup.payloadBytes)), buffers_(buffers) {
        for (unsigned i = 0; i < buffers; ++i) {
            buffers_[i].data = memory_[i].data();
            buffers_[i].capacity = setup.payloadBytes;
            free_.push_back(&buffers_[i]);
        }
        assembler_ = std::make_unique<Vorda::Gige::FrameAssembler>(setup, *this, counters);
    }
    ~AssemblerBench() override {
        assembler_.reset();
        EXPECT_EQ(free_.size(), buffers_.size()) << "a buffer was lost";
    }

    void feed(const Bytes& packet) { assembler_->take(packet, now_); }
    void feed(const std::vector<Bytes>& packets, std::initializer_list<std::size_t> order) {
        for (const std::size_t index : order) feed(packets[index]);
    }
    void feedAll(const std::vector<Bytes>& packets) {
        for (const Bytes& packet : packets) feed(packet);
    }
    /** The same packet, but together with those of its size around it, as the kernel gathers them.
     */
    void gather(const Bytes& packet) {
        if (packet.size() > batchPacketBytes_) feedBatch();
        if (batch_.empty()) batchPacketBytes_ = packet.size();
        batch_.insert(batch_.end(), packet.begin(), packet.end());
        if (packet.size() < batchPacketBytes_) feedBatch();
    }
    void feedBatch() {
        const Vorda::Gige::ByteView batch(batch_);
        const std::size_t taken =
            isReceivedInPlace ? takeInPlace(*assembler_, batch, batchPacketBytes_, now_) : 0;
        assembler_->takeBatch(batch.subspan(taken * batchPacketBytes_), batchPacketBytes_, now_);
        batch_.clear();
    }
    /** Lets time pass in steps of half a millisecond, as the receiver's waits would. */
    void pass(std::chrono::milliseconds time) {
        const auto end = now_ + time;
        while (now_ < end) {
            now_ += std::chrono::microseconds(500);
            if (assembler_->deadline() <= now_) assembler_->tick(now_);
        }
    }
    /** Each packet so long after the one before it. */
    void feedSlowly(const std::vector<Bytes>& packets, std::chrono::microseconds step) {
        for (const Bytes& packet : packets) {
            feed(packet);
            wait(step);
        }
    }
    void wait(Vorda::Gige::FrameAssembler::Clock::duration time) { now_ += time; }
    [[nodiscard]] Vorda::Gige::FrameAssembler::Clock::duration rest() const {
        return assembler_->restOfFrame();
    }
    [[nodiscard]] bool idle() const {
        return !assembler_->busy() &&
               assembler_->deadline() == Vorda::Gige::FrameAssembler::Time::max();
    }
    [[nodiscard]] std::vector<std::uint64_t> ids() const {
        std::vector<std::uint64_t> ids;
        for (const Frame& frame : frames) ids.push_back(frame.info.blockId);
        return ids;
    }

    Vorda::Gige::FrameBuffer* takeBuffer() override {
        if (free_.empty()) return nullptr;
        Vorda::Gige::FrameBuffer* buffer = free_.back();
        free_.pop_back();
        return buffer;
    }
    bool hasSpareBuffer() const override { return free_.size() > 1; }
    void returnBuffer(Vorda::Gige::FrameBuffer& buffer) override {
        std::fill_n(buffer.data, buffer.capacity, std::uint8_t{0xee});
        free_.push_back(&buffer);
    }
    void deliver(Vorda::Gige::FrameBuffer& buffer, const Vorda::Gige::FrameInfo& info) override {
        frames.push_back(
            {info, Bytes(buffer.data, buffer.data + info.sizeBytes), counters.lostFrames.get()});
        returnBuffer(buffer);
    }
    void requestResend(const Vorda::Gige::ResendRequest& request) override {
        requests.push_back(request);
        if (onResend) onResend(request);
    }

    bool isReceivedInPlace = false;  ///< the packets of a batch, if they are what is expected
    Vorda::Gige::StreamCounters counters;
    std::vector<Frame> frames;
    std::vector<Vorda::Gige::ResendRequest> requests;
    std::function<void(const Vorda::Gige::ResendRequest&)> onResend;

 private:
    std::vector<Bytes> memory_;
    std::vector<Vorda::Gige::FrameBuffer> buffers_;
    std::vector<Vorda::Gige::FrameBuffer*> free_;
    Bytes batch_;
    std::size_t batchPacketBytes_ = 0;
    Vorda::Gige::FrameAssembler::Time now_{std::chrono::hours(1)};
    std::unique_ptr<Vorda::Gige::FrameAssembler> assembler_;
};

inline Bytes resized(Bytes packet, std::size_t bytes) {
    packet.resize(bytes);
    return packet;
}

}  // namespace kestro::test
