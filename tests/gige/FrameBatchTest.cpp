// SPDX-License-Identifier: Apache-2.0
//
// Packets that come together, and how long the rest of a frame takes.
#include "AssemblerBench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>

namespace {

using namespace Vorda::Gige;
using Bench = kestro::test::AssemblerBench;
using kestro::test::Bytes;
using kestro::test::content;
using kestro::test::kAssemblerPayload;
using kestro::test::PacketWriter;
using kestro::test::resized;
using std::chrono::milliseconds;

/** A network with faults between a camera and an assembler. */
class FaultyNetwork : public testing::TestWithParam<unsigned> {};

TEST_P(FaultyNetwork, NeverMakesAWrongFrameAndBatchesMakeNoDifference) {
    std::minstd_rand engine(GetParam() + 1);
    const auto random = [&] { return static_cast<unsigned>(engine() >> 5); };
    const auto chance = [&](unsigned perMille) { return random() % 1000 < perMille; };
    const bool extended = chance(500);
    const std::uint64_t firstId = extended ? 1 : 65500;  // the ids wrap on the way
    const std::size_t stride = chance(500) ? 100 : 40 + random() % 100;
    const unsigned dropped = random() % 3 * 20;
    const unsigned window = 1 + random() % 12;
    const unsigned missized = random() % 3 * 10;
    constexpr unsigned kBlocks = 150;

    Bench bench(extended ? Bench::extended() : Bench::standard());
    Bench inBatches(extended ? Bench::extended() : Bench::standard());
    Bench inPlace(extended ? Bench::extended() : Bench::standard());
    inPlace.isReceivedInPlace = true;
    Bench* const together[] = {&inBatches, &inPlace};
    const auto pass = [&](milliseconds time) {
        for (Bench* each : together) each->feedBatch();
        for (Bench* each : {&bench, &inBatches, &inPlace}) each->pass(time);
    };
    std::map<std::uint64_t, Bytes> images;
    std::map<std::uint64_t, std::vector<Bytes>> wire;
    std::deque<Bytes> underWay;
    bench.onResend = [&](const ResendRequest& request) {
        const auto& packets = wire.at(request.blockId);
        for (std::uint64_t id = request.firstPacket; id <= request.lastPacket; ++id)
            if (id < packets.size() && !chance(dropped)) underWay.push_back(packets[id]);
    };
    const auto arrive = [&](std::size_t keep) {
        while (underWay.size() > keep) {
            const std::size_t index = random() % std::min<std::size_t>(window, underWay.size());
            bench.feed(underWay[index]);
            for (Bench* each : together) each->gather(underWay[index]);
            underWay.erase(underWay.begin() + static_cast<std::ptrdiff_t>(index));
            if (chance(30)) pass(milliseconds(1));
        }
    };
    for (unsigned i = 0; i < kBlocks; ++i) {
        const std::uint64_t id = firstId + i;
        const std::uint64_t wireId = extended ? id : (id - 1) % 65535 + 1;
        images[id] = content(random() % (kAssemblerPayload + 1), i);
        wire[wireId] = PacketWriter{.blockId = wireId,
                                    .extended = extended,
                                    .stride = stride,
                                    .timestamp = id,
                                    .width = 1,
                                    .height = 1}
                           .block(images[id]);
        const auto& packets = wire[wireId];
        for (std::size_t n = 0; n < packets.size(); ++n) {
            if (!chance(dropped)) underWay.push_back(packets[n]);
            if (chance(20)) underWay.push_back(packets[n]);
            // That the last one is another, nothing tells; nor, of two, that it is not the stride.
            const bool isTold = n > 0 && packets.size() > 5 && n + 2 < packets.size();
            if (isTold && chance(missized)) {
                const std::size_t bytes = packets[n].size() - stride + random() % (stride + 20);
                underWay.back() = resized(packets[n], bytes);
            }
        }
        arrive(window);
        pass(milliseconds(2));
    }
    for (int i = 0; i < 20; ++i) {
        arrive(0);
        pass(milliseconds(20));
    }
    std::uint64_t last = 0;
    for (const auto& frame : bench.frames) {
        EXPECT_GT(frame.info.blockId, last);
        last = frame.info.blockId;
        EXPECT_EQ(frame.bytes, images.at(last)) << "block " << last;
    }
    EXPECT_TRUE(bench.idle());
    for (const Bench* each : together) {
        EXPECT_EQ(each->counters.text(), bench.counters.text());
        EXPECT_EQ(each->ids(), bench.ids());
        for (const auto& frame : each->frames)
            EXPECT_EQ(frame.bytes, images.at(frame.info.blockId)) << "block " << frame.info.blockId;
    }
    if (missized == 0) {
        EXPECT_EQ(bench.counters.malformedFrames.get(), 0u);
    }
    EXPECT_EQ(bench.frames.size() + bench.counters.lostFrames.get() + bench.counters.tooBig.get() +
                  bench.counters.malformedFrames.get(),
              kBlocks);
    // Reordering of tiny frames may exceed the room for open ones; loss is repaired mostly.
    EXPECT_GE(bench.frames.size(), kBlocks * (dropped == 0 ? 95 : 80) / 100);
}

INSTANTIATE_TEST_SUITE_P(FrameAssembler, FaultyNetwork, testing::Range(0u, 60u));

TEST(FrameAssembler, TakesABatchForNoMoreThanItsPackets) {
    const PacketWriter writer{.blockId = 7};
    const auto full = [&](std::uint32_t id) { return writer.payload(id, content(100, id)); };
    struct Case {
        Bytes before;  ///< comes before the batch, behind two full packets
        std::vector<std::uint32_t> ids;
        std::size_t bytes;
        std::uint8_t status = 0;  ///< upper byte of the last one's
    };
    const Case cases[] = {
        {full(3), {4, 5, 6}, 100},
        {full(3), {4, 6, 7}, 100},
        {full(3), {4, 4, 5}, 100},
        {full(3), {8, 9, 10, 11}, 100},
        {full(3), {2, 4, 5}, 110},
        {writer.payload(3, content(50, 3)), {1, 4, 5}, 100},
        {writer.trailer(4), {1, 3, 4, 5}, 100},
        {writer.trailer(6), {1, 3, 4, 5}, 100},
        {full(3), {4, 5, 6}, 100, 0x80},
    };
    for (const Case& at : cases) {
        Bench bench;
        Bench inBatches;
        for (Bench* each : {&bench, &inBatches})
            each->feedAll({writer.leader(), full(1), full(2), at.before});
        for (const std::uint32_t id : at.ids) {
            Bytes packet = writer.payload(id, content(at.bytes, id));
            if (id == at.ids.back()) packet[0] = at.status;
            bench.feed(packet);
            inBatches.gather(packet);
        }
        inBatches.feedBatch();
        for (Bench* each : {&bench, &inBatches}) each->pass(milliseconds(1000));
        EXPECT_EQ(inBatches.counters.text(), bench.counters.text());
        EXPECT_EQ(inBatches.requests.size(), bench.requests.size());
        EXPECT_EQ(inBatches.frames.size(), bench.frames.size());
    }
}

/** Of a frame of 10 packets behind its leader, 200 us each, the next one being under way. */
TEST(FrameAssembler, TellsHowLongTheRestOfAFrameTakes) {
    constexpr auto kStep = std::chrono::microseconds(200);
    constexpr auto kUnknown = FrameAssembler::Clock::duration::max();
    const auto block = [](std::uint64_t id, std::size_t bytes) {
        return PacketWriter{.blockId = id, .timestamp = id}.block(content(bytes, 1));
    };
    Bench bench;
    EXPECT_EQ(bench.rest(), kUnknown);
    const auto first = block(1, 900);
    bench.feedSlowly({first.begin(), first.end() - 1}, kStep);
    EXPECT_EQ(bench.rest(), kUnknown) << "there was none before it";
    bench.feed(first.back());
    EXPECT_EQ(bench.rest(), kUnknown) << "none is under way";

    const auto second = block(2, 1000);
    bench.feedSlowly({second.begin(), second.begin() + 4}, kStep);
    EXPECT_EQ(bench.rest(), 7 * kStep);
    bench.feedSlowly({second.begin() + 4, second.begin() + 10}, kStep);
    EXPECT_EQ(bench.rest(), kStep);
    bench.feedSlowly({second.begin() + 10, second.begin() + 11}, kStep);
    EXPECT_EQ(bench.rest(), FramePattern::kRestOfLongerFrame);
    bench.feed(second.back());
}

/** It is taken for as long as the time between the looks at first. */
TEST(FrameAssembler, FindsOutHowShortAFrameIsThatComesBetweenTwoLooks) {
    constexpr auto kLongest = std::chrono::microseconds(800);
    Bench bench;
    for (std::uint64_t id = 1; id <= 10; ++id) {
        const auto packets = PacketWriter{.blockId = id, .timestamp = id}.block(content(1000, 1));
        bench.feed(packets[0]);
        bench.wait(std::min<FrameAssembler::Clock::duration>(bench.rest(), kLongest));
        bench.feedAll({packets.begin() + 1, packets.end()});
    }
    bench.feed(PacketWriter{.blockId = 11, .timestamp = 11}.leader());
    EXPECT_LT(bench.rest(), kLongest / 8);
}

}  // namespace
