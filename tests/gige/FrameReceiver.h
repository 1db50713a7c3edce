// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BufferPool.h"
#include "FrameAssembler.h"
#include "PayloadLayout.h"
#include "StreamPackets.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace kestro::test {

inline Bytes joined(const std::vector<Bytes>& parts) {
    Bytes bytes;
    for (const Bytes& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

/** Receives frames as a stream does, but for the network. */
class FrameReceiver : private Vorda::Gige::FrameOutput {
 public:
    static constexpr std::uint32_t kLargestPayload = 20000;

    explicit FrameReceiver(std::shared_ptr<const Vorda::Gige::PayloadLayout> layout = nullptr) {
        Vorda::Gige::StreamSetup setup;
        setup.payloadBytes = kLargestPayload;
        setup.packetBytes = 1036;
        setup.layout = std::move(layout);
        pool_ = Vorda::Gige::BufferPool::create(2, setup.payloadBytes);
        Vorda::Gige::FrameOutput& output = *this;
        assembler_.emplace(setup, output, counters);
    }
    Vorda::GenICam::CFrame receive(std::uint16_t payloadType, const Bytes& payload) {
        const PacketWriter writer{.blockId = nextId_++,
                                  .stride = 1000,
                                  .payloadType = payloadType,
                                  .width = 40,
                                  .height = 30};
        frame_ = Vorda::GenICam::CFrame();
        for (const Bytes& packet : writer.block(payload)) assembler_->take(packet, {});
        return frame_;
    }

    Vorda::Gige::StreamCounters counters;

 private:
    Vorda::Gige::FrameBuffer* takeBuffer() override { return pool_->take(); }
    bool hasSpareBuffer() const override { return pool_->freeCount() > 1; }
    void returnBuffer(Vorda::Gige::FrameBuffer& buffer) override { pool_->giveBack(buffer); }
    void deliver(Vorda::Gige::FrameBuffer& buffer, const Vorda::Gige::FrameInfo& info) override {
        frame_ = Vorda::GenICam::CFrame(pool_->makeFrame(buffer, info));
    }
    void requestResend(const Vorda::Gige::ResendRequest&) override {}

    std::shared_ptr<Vorda::Gige::BufferPool> pool_;
    Vorda::GenICam::CFrame frame_;
    std::uint64_t nextId_ = 1;
    std::optional<Vorda::Gige::FrameAssembler> assembler_;
};

}  // namespace kestro::test
