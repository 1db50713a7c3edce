// SPDX-License-Identifier: Apache-2.0
#include "AssemblerBench.h"
#include "Pcap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <tuple>
#include <utility>

namespace {

using namespace Vorda::Gige;
using Bench = kestro::test::AssemblerBench;
using kestro::test::Bytes;
using kestro::test::content;
using kestro::test::kAssemblerPayload;
using kestro::test::PacketWriter;
using kestro::test::resized;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

/** Block, first and last packet. */
using Range = std::tuple<std::uint64_t, std::uint32_t, std::uint32_t>;

Range rangeOf(const ResendRequest& request) {
    return {request.blockId, request.firstPacket, request.lastPacket};
}

TEST(FrameAssembler, TellsWhatTheLeaderSays) {
    for (const bool extended : {false, true}) {
        Bench bench(extended ? Bench::extended() : Bench::standard());
        const Bytes image = content(250, 1);
        bench.feedAll(PacketWriter{.blockId = 7, .extended = extended}.block(image));
        ASSERT_EQ(bench.frames.size(), 1u);
        EXPECT_EQ(bench.frames[0].bytes, image);
        const FrameInfo& info = bench.frames[0].info;
        EXPECT_EQ(info.blockId, 7u);
        EXPECT_EQ(info.leader.timestamp, 0x0102030405060708u);
        EXPECT_EQ(info.leader.width, 4u);
        EXPECT_EQ(info.leader.height, 3u);
        EXPECT_TRUE(bench.idle());
    }
}

struct ArrivalCase {
    const char* name;
    std::size_t imageBytes;
    std::size_t stride;  // 100 is what the packet size says
    std::vector<std::size_t> order;
};

class AnyArrival : public testing::TestWithParam<ArrivalCase> {};

TEST_P(AnyArrival, GivesTheFrameOnceAndWhole) {
    const ArrivalCase& param = GetParam();
    Bench bench;
    const Bytes image = content(param.imageBytes, 2);
    const auto packets = PacketWriter{.stride = param.stride}.block(image);
    for (const std::size_t index : param.order) bench.feed(packets[index]);
    ASSERT_EQ(bench.frames.size(), 1u);
    EXPECT_EQ(bench.frames[0].bytes, image);
    EXPECT_TRUE(bench.requests.empty());
    EXPECT_TRUE(bench.idle());
}

INSTANTIATE_TEST_SUITE_P(
    FrameAssembler, AnyArrival,
    testing::Values(
        ArrivalCase{"LastPacketShort", 250, 100, {0, 1, 2, 3, 4}},
        ArrivalCase{"LastPacketExactlyFull", 300, 100, {0, 1, 2, 3, 4}},
        ArrivalCase{
            "FillsTheBuffer", kAssemblerPayload, 100, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
        ArrivalCase{"OnePacket", 40, 100, {0, 1, 2}}, ArrivalCase{"NoPayload", 0, 100, {0, 1}},
        ArrivalCase{"NoPayloadTrailerFirst", 0, 100, {1, 0}},
        ArrivalCase{"LateLeader", 250, 100, {1, 2, 3, 4, 0}},
        ArrivalCase{"LeaderBeforeTrailer", 250, 100, {1, 2, 3, 0, 4}},
        ArrivalCase{"Backwards", 250, 100, {4, 3, 2, 1, 0}},
        ArrivalCase{"ShortPacketFirst", 250, 100, {3, 0, 2, 1, 4}},
        ArrivalCase{"Duplicates", 250, 100, {0, 0, 1, 1, 2, 1, 3, 3, 2, 4, 4}},
        ArrivalCase{"SmallerPacketsThanSet", 250, 60, {0, 1, 2, 3, 4, 5, 6}},
        ArrivalCase{"SmallerPacketsBackwards", 250, 60, {6, 5, 4, 3, 2, 1, 0}},
        ArrivalCase{"SmallerPacketsLastInTheMiddle", 250, 60, {0, 2, 5, 1, 3, 4, 6}},
        ArrivalCase{"SmallerPacketsAllFull", 240, 60, {0, 4, 3, 2, 1, 5}},
        ArrivalCase{"TwoSmallerPackets", 90, 60, {0, 2, 1, 3}},
        ArrivalCase{"LargerPacketsThanSet", 250, 120, {0, 1, 2, 3, 4}},
        ArrivalCase{"LargerPacketsLastFirst", 250, 120, {3, 2, 0, 1, 4}}),
    [](const auto& test) { return test.param.name; });

TEST(FrameAssembler, PutsTogetherWhatAnIndependentCameraSends) {
    StreamSetup setup;
    setup.payloadBytes = 64 * 32;
    setup.packetBytes = 1400;
    Bench bench(setup);
    std::vector<Bytes> images;
    for (const auto& datagram :
         kestro::test::PcapReader::read(KESTRO_GOLDEN_DIR "/aravis-session.pcap")) {
        if (datagram.sourcePort == 3956 || datagram.destinationPort == 3956) continue;
        bench.feed(datagram.payload);
        constexpr std::size_t kHeaderBytes = 8;
        if (datagram.payload.at(4) == 1) images.emplace_back();
        if (datagram.payload.at(4) == 3)
            images.back().insert(images.back().end(), datagram.payload.begin() + kHeaderBytes,
                                 datagram.payload.end());
    }
    ASSERT_EQ(bench.frames.size(), 11u);
    for (std::size_t i = 0; i < images.size(); ++i) {
        EXPECT_EQ(bench.frames[i].info.blockId, 65401 + i);
        EXPECT_EQ(bench.frames[i].bytes, images[i]);
    }
    EXPECT_EQ(bench.counters.packets.get(), 44u);
}

TEST(FrameAssembler, NeverGivesAFrameWhosePacketsContradictEachOther) {
    const PacketWriter writer;
    const std::vector<std::vector<Bytes>> blocks = {
        // a short packet in the middle, of a frame that has full ones
        {writer.leader(), writer.payload(1, content(100, 1)), writer.payload(2, content(60, 2)),
         writer.payload(3, content(100, 3)), writer.trailer(4)},
        // the same, found by the trailer
        {writer.leader(), writer.payload(1, content(100, 1)), writer.payload(2, content(60, 2)),
         writer.trailer(4), writer.payload(3, content(100, 3))},
        {writer.leader(), writer.payload(1, content(100, 1)), writer.payload(2, content(101, 2)),
         writer.trailer(3)},
        {writer.leader(), writer.payload(1, {}), writer.payload(2, content(60, 2)),
         writer.trailer(3)},
        // payload beyond the trailer, a second trailer, a leader that is not packet 0
        {writer.leader(), writer.trailer(2), writer.payload(2, content(60, 2)),
         writer.payload(1, content(60, 2))},
        {writer.leader(), writer.payload(1, content(60, 1)), writer.payload(2, content(60, 1)),
         writer.trailer(2)},
        {writer.header(1, 1), writer.payload(1, content(60, 1)), writer.trailer(2)},
        {writer.leader(), writer.header(3, 0), writer.trailer(1)},
        // a leader cut short
        {resized(writer.leader(), 30), writer.trailer(1)},
    };
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        Bench bench;
        bench.feedAll(blocks[i]);
        bench.pass(milliseconds(300));
        EXPECT_TRUE(bench.frames.empty()) << i;
        EXPECT_EQ(bench.counters.malformedFrames.get(), 1u) << i;
        EXPECT_TRUE(bench.idle()) << i;
        bench.feedAll(PacketWriter{.blockId = 2}.block(content(250, 9)));
        EXPECT_EQ(bench.frames.size(), 1u) << i;
    }
}

struct SizeCase {
    const char* name;
    std::size_t packet;
    std::size_t bytes;  // of its payload
    std::size_t imageBytes = 450;
};

class WrongSize : public testing::TestWithParam<SizeCase> {};

// A network card or a camera that cuts a datagram off costs a request, not the frame.
TEST_P(WrongSize, OfOnePacketIsMended) {
    const SizeCase& param = GetParam();
    for (const bool isSecondFrame : {false, true}) {
        Bench bench;
        if (isSecondFrame) bench.feedAll(PacketWriter{.blockId = 1}.block(content(450, 1)));
        // The end of an image is told by its size alone.
        const auto height = static_cast<std::uint32_t>(param.imageBytes / 10);
        const PacketWriter writer{.blockId = 2, .width = 10, .height = height};
        const Bytes image = content(param.imageBytes, 2);
        const auto packets = writer.block(image);
        for (std::size_t i = 0; i < packets.size(); ++i) {
            const bool isWrong = i == param.packet;
            bench.feed(isWrong ? resized(packets[i], 8 + param.bytes) : packets[i]);
        }
        for (int round = 0; round < 3; ++round) {
            bench.pass(milliseconds(25));
            for (const ResendRequest& request : std::exchange(bench.requests, {}))
                for (auto id = request.firstPacket; id <= request.lastPacket; ++id)
                    if (id < packets.size()) bench.feed(packets[id]);
        }
        ASSERT_EQ(bench.frames.size(), isSecondFrame ? 2u : 1u);
        EXPECT_EQ(bench.frames.back().bytes, image);
        EXPECT_GE(bench.counters.malformedPackets.get(), 1u);
        EXPECT_LE(bench.counters.resendRequests.get(), 3u);
        EXPECT_TRUE(bench.idle());
    }
}

INSTANTIATE_TEST_SUITE_P(
    FrameAssembler, WrongSize,
    testing::Values(SizeCase{"FirstShort", 1, 60}, SizeCase{"FirstEmpty", 1, 0},
                    SizeCase{"FirstLong", 1, 130}, SizeCase{"SecondShort", 2, 1},
                    SizeCase{"SecondEmpty", 2, 0}, SizeCase{"SecondLong", 2, 101},
                    SizeCase{"LastButOneShort", 4, 99},
                    SizeCase{"LastButOneShorterThanLast", 4, 20}, SizeCase{"LastLong", 5, 101},
                    SizeCase{"LastShort", 5, 49}, SizeCase{"LastEmpty", 5, 0},
                    SizeCase{"LastFullShort", 4, 99, 400}, SizeCase{"OfTwoFirstShort", 1, 60, 150},
                    SizeCase{"OfTwoLastShort", 2, 20, 150}, SizeCase{"OnlyShort", 1, 20, 50},
                    SizeCase{"LastPastTheEnd", 10, 140, kAssemblerPayload},
                    SizeCase{"LeaderShort", 0, 30}),
    [](const auto& test) { return test.param.name; });

TEST(FrameAssembler, BelievesACameraWhoseImagesAreSmallerThanItSays) {
    Bench bench;
    for (std::uint64_t id = 1; id <= 6; ++id) {
        const PacketWriter writer{.blockId = id, .width = 10, .height = 60};
        const auto packets = writer.block(content(450, 2));
        bench.feedAll(packets);
        bench.pass(milliseconds(5));
        for (const ResendRequest& request : std::exchange(bench.requests, {})) {
            ASSERT_EQ(rangeOf(request), Range(id, 5, 5));
            bench.feed(packets[5]);
        }
        EXPECT_EQ(bench.frames.size(), id);
    }
    EXPECT_EQ(bench.counters.resendRequests.get(), 3u) << "not for ever";
}

TEST(FrameAssembler, BelievesItAlsoWhenItDoesNotSendTheEndAgain) {
    Bench bench;
    for (std::uint64_t id = 1; id <= 6; ++id) {
        const PacketWriter writer{.blockId = id, .width = 10, .height = 60};
        bench.feedAll(writer.block(content(450, 2)));
        for (int time = 0; time < 20; ++time) bench.pass(milliseconds(25));
    }
    EXPECT_EQ(bench.frames.size(), 3u);
    EXPECT_EQ(bench.counters.malformedFrames.get(), 3u);
}

TEST(FrameAssembler, DropsAFrameWhoseEndIsAnotherEachTime) {
    Bench bench;
    const PacketWriter writer{.blockId = 1, .width = 10, .height = 60};
    const auto packets = writer.block(content(450, 2));
    bench.feedAll(packets);
    for (std::size_t bytes = 40; bytes > 36 && !bench.idle(); --bytes) {
        bench.pass(milliseconds(5));
        bench.feed(resized(packets[5], 8 + bytes));
    }
    EXPECT_TRUE(bench.frames.empty());
    EXPECT_EQ(bench.counters.malformedFrames.get(), 1u);
    EXPECT_TRUE(bench.idle());
}

TEST(FrameAssembler, KeepsTheFirstOfTwoPacketsThatDiffer) {
    Bench bench;
    const PacketWriter writer{.blockId = 1};
    const Bytes image = content(250, 1);
    const auto packets = writer.block(image);
    bench.feed(packets, {0, 1, 2});
    bench.feed(writer.payload(1, content(100, 7)));
    bench.feed(writer.payload(2, content(2000, 8)));
    bench.feed(packets, {3, 4});
    ASSERT_EQ(bench.frames.size(), 1u);
    EXPECT_EQ(bench.frames[0].bytes, image);
    EXPECT_EQ(bench.counters.duplicatePackets.get(), 2u);
}

TEST(FrameAssembler, CountsWhatItCannotTake) {
    Bench bench;
    bench.feedAll(PacketWriter{.blockId = 1}.block(content(kAssemblerPayload + 1, 1)));
    EXPECT_EQ(bench.counters.tooBig.get(), 1u);
    bench.feedAll(PacketWriter{.blockId = 2, .payloadType = 3}.block(content(250, 1)));
    EXPECT_EQ(bench.counters.unsupported.get(), 1u);
    bench.feed(PacketWriter{.blockId = 3}.trailer(0xffffff));
    EXPECT_EQ(bench.counters.tooBig.get(), 2u);
    bench.feed(PacketWriter{.blockId = 4}.header(4, 1));
    EXPECT_EQ(bench.counters.unsupported.get(), 2u);
    bench.feed(Bytes(7));
    EXPECT_EQ(bench.counters.malformedPackets.get(), 1u);
    bench.feed(PacketWriter{.blockId = 0}.payload(1, content(100, 1)));  // a test packet
    EXPECT_TRUE(bench.frames.empty());
    EXPECT_TRUE(bench.idle());
    EXPECT_EQ(bench.counters.lostFrames.get(), 0u);
}

TEST(FrameAssembler, DropsAFrameForWantOfABuffer) {
    Bench bench(Bench::standard(), 1);
    const auto first = PacketWriter{.blockId = 1}.block(content(250, 1));
    bench.feed(first, {0, 1, 2});
    bench.feedAll(PacketWriter{.blockId = 2}.block(content(250, 2)));
    EXPECT_EQ(bench.counters.noBuffer.get(), 1u);
    bench.feed(first, {3, 4});
    bench.feedAll(PacketWriter{.blockId = 3}.block(content(250, 3)));
    EXPECT_THAT(bench.ids(), ElementsAre(1u, 3u));
}

TEST(FrameAssembler, AsksForGapsAfterAShortTime) {
    Bench bench;
    const Bytes image = content(1000, 1);
    const auto packets = PacketWriter{.blockId = 5}.block(image);
    bench.feed(packets, {0, 1, 4, 5, 7, 8, 9, 10, 11});
    EXPECT_THAT(bench.requests, IsEmpty());
    bench.pass(milliseconds(2));
    ASSERT_EQ(bench.requests.size(), 2u);
    EXPECT_EQ(rangeOf(bench.requests[0]), Range(5, 2, 3));
    EXPECT_EQ(rangeOf(bench.requests[1]), Range(5, 6, 6));
    EXPECT_FALSE(bench.requests[0].extendedIds);
    bench.feed(packets, {2, 6});
    bench.pass(milliseconds(25));  // only what is still missing is asked for again
    ASSERT_EQ(bench.requests.size(), 3u);
    EXPECT_EQ(rangeOf(bench.requests[2]), Range(5, 3, 3));
    bench.feed(packets, {3});
    ASSERT_EQ(bench.frames.size(), 1u);
    EXPECT_EQ(bench.frames[0].bytes, image);
    EXPECT_EQ(bench.counters.resentPackets.get(), 3u);
    EXPECT_EQ(bench.counters.resendRequests.get(), 3u);
}

TEST(FrameAssembler, AsksACameraAgainSoonWhereItAnswersSoon) {
    constexpr int kBlocks = 20;
    constexpr auto kAnswer = milliseconds(1);
    Bench bench;
    for (std::uint16_t id = 1; id <= kBlocks; ++id) {
        const auto packets = PacketWriter{.blockId = id}.block(content(450, id));
        bench.feed(packets, {0, 1, 3, 4, 5, 6});
        bench.pass(milliseconds(2) + kAnswer);
        bench.feed(packets, {2});
    }
    const auto packets = PacketWriter{.blockId = kBlocks + 1}.block(content(450, 1));
    bench.feed(packets, {0, 1, 3, 4, 5, 6});
    const std::size_t before = bench.requests.size();
    bench.pass(milliseconds(12));
    EXPECT_GE(bench.requests.size() - before, 2u);
    bench.pass(milliseconds(84));
    EXPECT_LE(bench.requests.size() - before, 8u);  // but not ever so often when it does not
}

TEST(FrameAssembler, AsksForLeaderAndTrailer) {
    Bench bench;
    bench.feedAll(PacketWriter{.blockId = 1}.block(content(250, 1)));
    const auto packets = PacketWriter{.blockId = 2}.block(content(250, 2));
    bench.feed(packets, {1, 2});  // leader, last payload packet and trailer are lost
    bench.feed(PacketWriter{.blockId = 3}.leader());
    bench.pass(milliseconds(2));
    ASSERT_EQ(bench.requests.size(), 2u);
    EXPECT_EQ(rangeOf(bench.requests[0]), Range(2, 0, 0));
    EXPECT_EQ(rangeOf(bench.requests[1]), Range(2, 3, 4));  // as long as the frame before
    bench.feed(packets, {4, 3, 0});
    EXPECT_THAT(bench.ids(), ElementsAre(1u, 2u));
}

TEST(FrameAssembler, AsksForTheEndOfTheLastFrameOfABurst) {
    Bench bench(Bench::extended());
    const auto packets = PacketWriter{.blockId = 1, .extended = true}.block(content(950, 1));
    for (std::size_t i = 0; i + 1 < packets.size(); ++i) bench.feed(packets[i]);
    bench.pass(milliseconds(60));
    ASSERT_FALSE(bench.requests.empty());
    EXPECT_EQ(rangeOf(bench.requests[0]), Range(1, 11, 11));
    EXPECT_TRUE(bench.requests[0].extendedIds);
    bench.feed(packets.back());
    EXPECT_THAT(bench.ids(), ElementsAre(1u));
}

TEST(FrameAssembler, GivesUpAndCountsWhatNeverComes) {
    Bench bench;
    const auto packets = PacketWriter{.blockId = 1}.block(content(950, 1));
    bench.feed(packets, {0, 1, 3, 4, 6, 7, 8, 9, 10, 11});
    bench.pass(milliseconds(95));
    EXPECT_FALSE(bench.idle());
    bench.pass(milliseconds(10));
    EXPECT_TRUE(bench.idle());
    EXPECT_EQ(bench.counters.lostFrames.get(), 1u);
    EXPECT_EQ(bench.counters.lostPackets.get(), 2u);
    EXPECT_LE(bench.requests.size(), 10u);
    EXPECT_GE(bench.requests.size(), 6u);
    bench.feed(packets, {2, 5});
    EXPECT_TRUE(bench.frames.empty());
    EXPECT_EQ(bench.counters.latePackets.get(), 2u);
}

TEST(FrameAssembler, RepairsAFrameThatTakesLongerThanItsRequests) {
    StreamSetup setup = Bench::standard();
    setup.payloadBytes = 2000;
    Bench bench(setup);
    const auto packets = PacketWriter{.blockId = 1}.block(content(2000, 1));
    bench.feed(packets, {0});
    for (std::uint32_t id = 1; id < 20; id += 2) {  // every second one is lost
        bench.feed(packets, {id + 1});
        bench.pass(milliseconds(35));
        ASSERT_FALSE(bench.requests.empty());
        EXPECT_EQ(rangeOf(bench.requests.back()), Range(1, id, id));
        bench.feed(packets, {id});
        bench.pass(milliseconds(25));
    }
    bench.feed(packets, {21});
    EXPECT_THAT(bench.ids(), ElementsAre(1u));
}

TEST(FrameAssembler, DoesNotAskForMostOfAFrame) {
    StreamSetup setup = Bench::standard();
    setup.payloadBytes = 20000;
    Bench bench(setup);
    const auto packets = PacketWriter{}.block(content(20000, 1));
    bench.feed(packets, {0, 1, 60, 120, 199, 200, 201});
    bench.pass(milliseconds(300));
    EXPECT_TRUE(bench.requests.empty());
    EXPECT_EQ(bench.counters.lostFrames.get(), 1u);
}

// JPEG files are as long as what they show makes them.
TEST(FrameAssembler, RepairsTheEndOfFramesWhoseLengthsVary) {
    StreamSetup setup = Bench::standard();
    setup.payloadBytes = 20000;
    Bench bench(setup);
    std::uint64_t block = 0;
    for (const auto& [size, lost] : {std::pair(1000U, 0), {10000U, 0}, {3000U, 3}, {15000U, 50}}) {
        const auto packets = PacketWriter{.blockId = ++block}.block(content(size, 1));
        bench.feedAll({packets.begin(), packets.end() - lost});
        bench.feed(PacketWriter{.blockId = block + 1}.leader());
        for (int round = 0; round < 5; ++round) {
            bench.pass(milliseconds(2));
            for (const auto& request : std::exchange(bench.requests, {})) {
                for (auto id = request.firstPacket; id <= request.lastPacket; ++id)
                    if (id < packets.size()) bench.feed(packets[id]);
            }
        }
    }
    EXPECT_THAT(bench.ids(), ElementsAre(1U, 2U, 3U, 4U));
}

TEST(FrameAssembler, KeepsTheOrderWhileAnOlderFrameIsRepaired) {
    Bench bench;
    const auto first = PacketWriter{.blockId = 1}.block(content(250, 1));
    bench.feed(first, {0, 1, 3, 4});
    bench.feedAll(PacketWriter{.blockId = 2}.block(content(250, 2)));
    bench.feedAll(PacketWriter{.blockId = 3}.block(content(250, 3)));
    EXPECT_TRUE(bench.frames.empty());
    bench.feed(first, {2});
    EXPECT_THAT(bench.ids(), ElementsAre(1u, 2u, 3u));
}

TEST(FrameAssembler, DoesNotWaitForWhatCannotBeRepaired) {
    {
        Bench bench(Bench::withoutResend());
        bench.feed(PacketWriter{.blockId = 1}.block(content(250, 1)), {0, 1, 3, 4});
        bench.feedAll(PacketWriter{.blockId = 2}.block(content(250, 2)));
        bench.pass(milliseconds(300));
        EXPECT_THAT(bench.ids(), ElementsAre(2u));
        EXPECT_TRUE(bench.requests.empty());
    }
    for (const unsigned status : {0x800cu, 0x8011u, 0x8012u}) {
        Bench bench;
        const PacketWriter first{.blockId = 1};
        bench.feed(first.block(content(250, 1)), {0, 1, 3, 4});
        bench.pass(milliseconds(2));
        bench.feed(first.header(3, 2, 0x8010));  // not yet: no reason to give up
        bench.feedAll(PacketWriter{.blockId = 2}.block(content(250, 2)));
        EXPECT_TRUE(bench.frames.empty());
        bench.feed(first.header(3, 2, static_cast<std::uint16_t>(status)));
        EXPECT_THAT(bench.ids(), ElementsAre(2u)) << status;
        EXPECT_EQ(bench.counters.unavailablePackets.get(), 1u);
        EXPECT_EQ(bench.requests.size(), 1u);
    }
}

TEST(FrameAssembler, IgnoresARefusalUnderTheOtherKindOfIds) {
    for (const std::uint64_t id : {std::uint64_t{1}, std::uint64_t{1} << 63}) {
        Bench bench;
        const PacketWriter first{.blockId = id, .extended = true};
        bench.feed(first.block(content(250, 1)), {0, 1, 3, 4});
        bench.pass(milliseconds(2));
        bench.feed(PacketWriter{.blockId = 1}.header(3, 2, 0x800c));
        bench.feedAll(PacketWriter{.blockId = id + 1, .extended = true}.block(content(250, 2)));
        EXPECT_TRUE(bench.frames.empty());
        EXPECT_EQ(bench.counters.unavailablePackets.get(), 0u);
        bench.feed(first.block(content(250, 1)), {2});
        EXPECT_THAT(bench.ids(), ElementsAre(id, id + 1));
    }
}

TEST(FrameAssembler, MakesRoomWhenTooManyFramesAreUnderWay) {
    Bench bench(Bench::standard(), 5);
    for (unsigned id = 1; id <= 5; ++id)
        bench.feed(PacketWriter{.blockId = id}.block(content(250, id)), {0, 1, 3, 4});
    EXPECT_EQ(bench.counters.lostFrames.get(), 1u);
    for (unsigned id = 2; id <= 5; ++id)
        bench.feed(PacketWriter{.blockId = id}.block(content(250, id)), {2});
    EXPECT_THAT(bench.ids(), ElementsAre(2u, 3u, 4u, 5u));
}

TEST(FrameAssembler, LeavesAQuickCameraTimeToSendAgainWhileThereAreSpareBuffers) {
    for (const unsigned buffers : {9u, 20u, 64u}) {
        const unsigned open = std::min(buffers - 1, 32u);
        Bench bench(Bench::standard(), buffers);
        const auto first = PacketWriter{.blockId = 1}.block(content(250, 1));
        bench.feed(first, {0, 1, 3, 4});
        unsigned id = 2;
        for (; id <= open; ++id) bench.feedAll(PacketWriter{.blockId = id}.block(content(250, id)));
        EXPECT_THAT(bench.ids(), IsEmpty());
        bench.feed(first, {2});
        EXPECT_EQ(bench.frames.size(), open);
        bench.feed(PacketWriter{.blockId = id}.block(content(250, id)), {0, 1, 3, 4});
        for (unsigned behind = 1; behind < open; ++behind)
            bench.feedAll(PacketWriter{.blockId = id + behind}.block(content(250, behind)));
        EXPECT_EQ(bench.counters.lostFrames.get(), 0u);
        bench.feed(PacketWriter{.blockId = id + open}.block(content(250, 1)), {0});
        EXPECT_EQ(bench.counters.lostFrames.get(), 1u) << "the oldest makes room";
        EXPECT_EQ(bench.frames.size(), 2 * open - 1);
    }
}

TEST(FrameAssembler, KeepsTheOrderWhenALateFrameNeedsRoom) {
    const auto block = [](std::uint32_t id) {
        return PacketWriter{.blockId = id}.block(content(250, id));
    };
    Bench bench(Bench::standard(), 4);
    bench.feed(block(1), {0});
    for (const std::uint32_t id : {2, 3, 5}) bench.feedAll(block(id));
    EXPECT_THAT(bench.ids(), IsEmpty());
    bench.feedAll(block(4));
    EXPECT_THAT(bench.ids(), ElementsAre(2, 3, 4, 5));
}

TEST(FrameAssembler, CountsBlockIdsOnPastTheirWrap) {
    Bench bench;
    // 65533, 65534, 65535, 1, 2: the third lap as well
    for (const std::uint64_t lap : {0u, 1u, 2u}) {
        for (const std::uint64_t id : {65533u, 65535u, 1u, 20000u, 40000u}) {
            const auto seed = static_cast<std::uint32_t>(lap * 65535 + id);
            bench.feedAll(PacketWriter{.blockId = id, .timestamp = seed}.block(content(150, seed)));
        }
    }
    EXPECT_THAT(bench.ids(), ElementsAre(65533u, 65535u, 65536u, 85535u, 105535u,  //
                                         131068u, 131070u, 131071u, 151070u, 171070u, 196603u,
                                         196605u, 196606u, 216605u, 236605u));
    // Only the single steps count as losses: 65534, each lap. The others are too long.
    EXPECT_EQ(bench.counters.lostFrames.get(), 3u);
}

TEST(FrameAssembler, RequestsResendsByTheIdOnTheWire) {
    Bench bench;
    bench.feedAll(PacketWriter{.blockId = 65535}.block(content(250, 1)));
    bench.feed(PacketWriter{.blockId = 1}.block(content(250, 1)), {0, 1, 3, 4});
    bench.pass(milliseconds(2));
    ASSERT_EQ(bench.requests.size(), 1u);
    EXPECT_EQ(rangeOf(bench.requests[0]), Range(1, 2, 2));
}

TEST(FrameAssembler, FollowsACameraThatStartsAnew) {
    for (const bool extended : {false, true}) {
        Bench bench(extended ? Bench::extended() : Bench::standard());
        const auto send = [&](std::uint64_t id, std::uint64_t time) {
            bench.feedAll(
                PacketWriter{.blockId = id, .extended = extended, .timestamp = time}.block(
                    content(250, 1)));
        };
        for (std::uint64_t id = 1; id <= 5; ++id) send(id, 1000 + id);
        send(5, 1005);  // the network doubled a block
        EXPECT_EQ(bench.counters.cameraRestarts.get(), 0u);
        for (std::uint64_t id = 1; id <= 3; ++id) send(id, 2000 + id);
        bench.pass(milliseconds(600));
        send(1, 0);
        bench.pass(milliseconds(600));
        send(1, 0);  // a camera without a clock is known by the silence
        EXPECT_THAT(bench.ids(), ElementsAre(1u, 2u, 3u, 4u, 5u, 1u, 2u, 3u, 1u, 1u));
        EXPECT_EQ(bench.counters.cameraRestarts.get(), 3u);
    }
}

/** Behind the wrap 1 is nearer to 42135 than in front of it, but 23,400 blocks were never taken. */
TEST(FrameAssembler, TellsACameraThatStartsAnewFromTheWrapOfItsIds) {
    struct Case {
        std::uint64_t before;  ///< the last block's id
        milliseconds silence;
        std::uint64_t time;  ///< of the next one, whose id is 1; blocks are 10 apart
        bool isAnew;
    };
    const Case cases[] = {
        {42135, milliseconds(0), 110, true},        // ids only
        {42135, milliseconds(3000), 110, true},     // a camera that waited for a trigger
        {42135, milliseconds(3000), 5, true},       // one that was switched off and on
        {62000, milliseconds(400), 40'000, false},  // 3,535 may have been taken meanwhile
        {62000, milliseconds(400), 20'000, true},   // in this time they may not
        {65000, milliseconds(0), 110, false},       // as many may be lost at any time
    };
    for (const Case& at : cases) {
        Bench bench;
        const auto send = [&](std::uint64_t id, std::uint64_t time) {
            bench.feedAll(PacketWriter{.blockId = id, .timestamp = time}.block(content(250, 1)));
        };
        send(at.before - 1, 90);
        send(at.before, 100);
        bench.pass(at.silence);
        bench.feed(PacketWriter{.blockId = 1}.payload(1, content(100, 1)));
        EXPECT_EQ(bench.counters.latePackets.get(), at.before == 65000 ? 0u : 1u);
        send(1, at.time);
        EXPECT_EQ(bench.ids().back(), at.isAnew ? 1u : 65536u) << at.before << ' ' << at.time;
        EXPECT_EQ(bench.counters.cameraRestarts.get(), at.isAnew ? 1u : 0u);
        EXPECT_EQ(bench.frames.back().lostBefore, at.isAnew ? 0u : 65535 - at.before);
    }
}

/** Of a camera without a clock the silence tells. */
TEST(FrameAssembler, BelievesThatIdsWrapWhenNothingCameForLong) {
    for (const bool isLong : {false, true}) {
        Bench bench;
        bench.feedAll(PacketWriter{.blockId = 62000, .timestamp = 0}.block(content(250, 1)));
        bench.pass(milliseconds(isLong ? 400 : 200));
        bench.feedAll(PacketWriter{.blockId = 1, .timestamp = 0}.block(content(250, 1)));
        EXPECT_EQ(bench.ids().back(), isLong ? 65536u : 1u);
    }
}

TEST(FrameAssembler, CountsAllThatAQuickCameraTookInASilence) {
    Bench bench(Bench::extended());
    bench.feedAll(PacketWriter{.blockId = 1, .extended = true}.block(content(250, 1)));
    bench.pass(milliseconds(3000));
    bench.feedAll(PacketWriter{.blockId = 2502, .extended = true}.block(content(250, 1)));
    EXPECT_EQ(bench.frames.back().lostBefore, 2500u);
    bench.feedAll(PacketWriter{.blockId = 9000, .extended = true}.block(content(250, 1)));
    EXPECT_EQ(bench.counters.lostFrames.get(), 2500u);  // as many in no time were never taken
}

TEST(FrameAssembler, SurvivesAForgedBlockId) {
    Bench bench;
    bench.feedAll(PacketWriter{.blockId = 10}.block(content(250, 1)));
    bench.feed(PacketWriter{.blockId = 30000}.payload(1, content(100, 1)));
    for (unsigned id = 11; id <= 13; ++id)
        bench.feedAll(PacketWriter{.blockId = id, .timestamp = id}.block(content(250, id)));
    bench.pass(milliseconds(150));
    for (unsigned id = 14; id <= 15; ++id)
        bench.feedAll(PacketWriter{.blockId = id, .timestamp = id}.block(content(250, id)));
    EXPECT_THAT(bench.ids(), ElementsAre(10u, 11u, 12u, 13u, 14u, 15u));
}

TEST(FrameAssembler, SurvivesGarbage) {
    std::minstd_rand engine(4711);
    const auto random = [&] { return static_cast<unsigned>(engine() >> 3); };
    Bench bench;
    for (int i = 0; i < 30000; ++i) {
        PacketWriter writer;
        writer.blockId = random() % 8;
        writer.extended = random() % 50 == 0;
        writer.payloadType = random() % 4 == 0 ? static_cast<std::uint16_t>(random()) : 1;
        const auto packetId =
            static_cast<std::uint32_t>(random() % 20 == 0 ? random() : random() % 6);
        Bytes packet;
        switch (random() % 4) {
            case 0:
                packet = writer.leader();
                break;
            case 1:
                packet = writer.trailer(packetId);
                break;
            case 2:
                packet = writer.payload(packetId, content(random() % 200, 1));
                break;
            default:
                packet = writer.header(3, packetId, static_cast<std::uint16_t>(random()));
        }
        if (random() % 10 == 0) packet.resize(random() % (packet.size() + 1));
        if (random() % 10 == 0 && !packet.empty())
            packet[random() % packet.size()] = static_cast<std::uint8_t>(random());
        bench.feed(packet);
        if (random() % 10 == 0) bench.pass(milliseconds(random() % 40));
    }
    bench.pass(milliseconds(1000));
    EXPECT_TRUE(bench.idle());
}

}  // namespace
