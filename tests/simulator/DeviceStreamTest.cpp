// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "RawStream.h"
#include "ResultChunks.h"

namespace rawclient {
namespace {

using kestrosim::CameraOptions;
using kestrosim::ResultFormat;
using Clock = std::chrono::steady_clock;

struct Layout {
    std::uint32_t packetBytes;
    bool extendedIds;
};

class StreamLayout : public Stream, public testing::WithParamInterface<Layout> {};

TEST_P(StreamLayout, IsTheStandards) {
    open();
    const auto [packetBytes, extendedIds] = GetParam();
    set({{0x0d04, packetBytes}, {0x0960, extendedIds ? 0x40000000 : 0}, {kStart, 1}});
    const std::size_t headerBytes = extendedIds ? 20 : 8;
    const std::size_t pieceBytes = packetBytes - 20 - 8 - headerBytes;
    const std::size_t pieces = (320 * 240 + pieceBytes - 1) / pieceBytes;
    std::uint64_t before = 0;
    for (std::uint64_t block = 1; block <= 3; ++block) {
        const Frame frame = nextFrame();
        ASSERT_EQ(frame.packets.size(), pieces + 2);
        for (std::size_t id = 0; id < frame.packets.size(); ++id) {
            const Packet& packet = frame.packets[id];
            EXPECT_EQ(packet.status, 0U);
            EXPECT_EQ(packet.block, block);
            EXPECT_EQ(packet.id, id);
            EXPECT_EQ(packet.format, id == 0 ? 1U : id == pieces + 1 ? 2U : 3U);
            if (id > 0 && id < pieces) {
                EXPECT_EQ(packet.datagramBytes, packetBytes - 28);
            }
        }
        const Bytes& leader = frame.leader();
        EXPECT_EQ(leader.size(), 36U);
        EXPECT_EQ(number(leader, 0, 4), 0x00000001U);   // an image
        EXPECT_EQ(number(leader, 12, 4), 0x01080001U);  // Mono8
        EXPECT_EQ(number(leader, 16, 8), (320ULL << 32) + 240);
        EXPECT_EQ(number(leader, 24, 8) + number(leader, 32, 4), 0U);
        EXPECT_EQ(frame.packets.back().content, be32(0x00000001) + be32(240));
        EXPECT_GT(frame.timestamp(), before);
        before = frame.timestamp();
        EXPECT_EQ(frame.payload(), scene(block - 1)->pixels);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, StreamLayout,
                         testing::Values(Layout{576, false}, Layout{1500, false},
                                         Layout{1500, true}, Layout{9000, true}));

TEST_F(Stream, ContainerCarriesTheScenesResults) {
    open(ResultFormat::container);
    set({{kStart, 1}});
    for (std::uint64_t i = 0; i < 2; ++i) {
        const Frame frame = nextFrame();
        EXPECT_EQ(number(frame.leader(), 12, 4), 0x01080001U);
        EXPECT_EQ(number(frame.leader(), 16, 8), (320ULL << 32) + 240);
        const Bytes payload = frame.payload();
        EXPECT_GE(client_->read(0x1001c), payload.size());
        const std::string text(payload.begin(), payload.end());
        EXPECT_EQ(text.substr(0, 4), "SMAT");
        EXPECT_EQ(littleEndian(payload, imageEntry(payload) + 24, 8), frame.timestamp());
        EXPECT_EQ(imageOf(payload), scene(i)->pixels);
        for (const auto& code : scene(i)->read) {
            const std::string line = code.text.substr(0, code.text.find('\n'));
            EXPECT_NE(text.find(line), std::string::npos) << line;
        }
    }
}

TEST_F(Stream, ChunksFollowThePicture) {
    open(ResultFormat::chunk);
    set({{0x10214, 0}});  // no QR codes
    const std::uint32_t announced = client_->read(0x1001c);
    set({{kStart, 1}});
    for (std::uint64_t i = 0; i < 2; ++i) {
        const Frame frame = nextFrame();
        const Bytes payload = frame.payload();
        // The camera took its own time for its reading of the scene; the barcodes' chunk says it.
        kestrosim::Scene expected = *scene(i);
        expected.readMilliseconds = static_cast<std::uint32_t>(number(payload, 320 * 240 + 8, 4));
        EXPECT_EQ(payload,
                  kestrosim::encodeChunks(expected, frame.timestamp(), {true, false, true, true}));
        EXPECT_GE(announced, payload.size());
        EXPECT_EQ(number(frame.leader(), 0, 4), 0x4001U);
        const auto bytes = static_cast<std::uint32_t>(payload.size());
        EXPECT_EQ(frame.packets.back().content, be32(0x4001) + be32(240) + be32(bytes) + be32(0));
    }
}

TEST_F(Stream, WindowAndExposureShapeThePicture) {
    open();
    set({{kWidth, 100}, {kHeight, 60}, {kOffsetX, 40}, {kOffsetY, 20}});
    EXPECT_EQ(client_->write(kOffsetX, 224), 0x8002U) << "past the sensor";
    EXPECT_EQ(client_->write(kWidth, 102), 0x8002U) << "no multiple of 4";
    EXPECT_EQ(client_->read(0x1001c), 6000U);
    writeReal(kExposure, 5000);  // half of the exposure that shows the scene as it is
    set({{kStart, 1}});
    EXPECT_EQ(client_->write(kWidth, 96), 0x8007U) << "busy while frames are sent";
    const Frame frame = nextFrame();
    EXPECT_EQ(number(frame.leader(), 16, 8), (100ULL << 32) + 60);
    EXPECT_EQ(number(frame.leader(), 24, 8), (40ULL << 32) + 20);
    const Bytes pixels = frame.payload();
    ASSERT_EQ(pixels.size(), 6000U);
    for (std::size_t y = 0; y < 60; ++y) {
        for (std::size_t x = 0; x < 100; ++x) {
            const int whole = scene(0)->pixels[(y + 20) * 320 + x + 40];
            ASSERT_NEAR(pixels[y * 100 + x], whole / 2.0, 0.5) << x << ',' << y;
        }
    }
}

TEST_F(Stream, CodesOutsideTheWindowAreNotInItsResults) {
    open(ResultFormat::container);
    set({{kWidth, 64}, {kHeight, 16}, {kStart, 1}});  // smaller than any code
    const Frame frame = nextFrame();
    const Bytes payload = frame.payload();
    const Bytes image = imageOf(payload);
    const Bytes& whole = scene(0)->pixels;
    ASSERT_EQ(image.size(), 64U * 16);
    for (int row = 0; row < 16; ++row) {
        EXPECT_TRUE(std::equal(whole.begin() + row * 320, whole.begin() + row * 320 + 64,
                               image.begin() + row * 64));
    }
    const std::string text(payload.begin(), payload.end());
    for (const auto& code : scene(0)->drawn) EXPECT_EQ(text.find(code.text), std::string::npos);
}

TEST_F(Stream, SendsAgainWhatIsAskedFor) {
    open();
    set({{kStart, 1}});
    const Frame first = nextFrame();
    while (nextPacket().format != 2) {
    }
    set({{kStop, 1}});
    while (receiver_.receive(50)) {
    }
    Client stranger(camera_->options.address, "127.0.0.66");
    stranger.sendSilent(0x00, kResend, be16(0) + be16(1) + be32(0) + be32(9));
    requestResend(1, 2, 4);
    for (std::size_t id = 2; id <= 4; ++id) {
        const Packet again = nextPacket();
        EXPECT_EQ(again.status, 0x0100U);
        EXPECT_EQ(again.block, 1U);
        EXPECT_EQ(again.id, id);
        EXPECT_EQ(again.content, first.packets[id].content);
    }
    requestResend(1, 0, 0);
    EXPECT_EQ(nextPacket().content, first.leader());
    const auto trailer = static_cast<std::uint32_t>(first.packets.size() - 1);
    requestResend(1, trailer, 0xffffff);
    EXPECT_EQ(nextPacket().content, first.packets.back().content);
    requestResend(7777, 1, 0xffffff);
    const Packet gone = nextPacket();
    EXPECT_EQ(gone.status, 0x800cU);
    EXPECT_EQ(gone.block, 7777U);
    EXPECT_EQ(gone.id, 1U);
    EXPECT_EQ(camera_->camera->statistics().packetsResent, 5U) << "nothing for strangers";
}

TEST_F(Stream, SendsAgainWithExtendedIds) {
    open();
    set({{0x0960, 0x40000000}, {kAcquisitionMode, 0}, {kStart, 1}});  // a single frame
    const Frame first = nextFrame();
    client_->sendSilent(0x10, kResend, be32(0) + be32(3) + be32(3) + be32(0) + be32(1));
    const Packet again = nextPacket();
    EXPECT_EQ(again.status, 0x0100U);
    EXPECT_EQ(again.block, 1U);
    EXPECT_EQ(again.id, 3U);
    EXPECT_EQ(again.content, first.packets.at(3).content);
}

TEST_F(Stream, SendsAsManyFramesAsTheModeSays) {
    open();
    set({{kAcquisitionMode, 1}, {kFrameCount, 3}});
    for (int run = 0; run < 2; ++run) {
        set({{kStart, 1}});
        for (std::uint64_t block = 1; block <= 3; ++block) {
            EXPECT_EQ(nextFrame().packets.front().block, block);
        }
        EXPECT_FALSE(receiver_.receive(60)) << "the next period";
        set({{kStop, 1}});
    }
}

TEST_F(Stream, EachTriggerMakesOneFrame) {
    open();
    // Not acquiring yet, a trigger is without effect.
    set({{kTriggerMode, 1}, {kTrigger, 1}, {kStart, 1}});
    EXPECT_FALSE(receiver_.receive(60));
    for (std::uint64_t block = 1; block <= 2; ++block) {
        set({{kTrigger, 1}});
        // A client that missed the acknowledge repeats the request and means the same trigger.
        EXPECT_EQ(client_->repeat(0x0082, be32(kTrigger) + be32(1)).status, 0U);
        EXPECT_EQ(nextFrame().packets.front().block, block);
        EXPECT_FALSE(receiver_.receive(60));
    }
}

TEST_F(Stream, CountsEveryPacket) {
    CameraOptions options = TestCamera::small();
    options.truthFile = testing::TempDir() + "truth-" + std::to_string(::getpid());
    open(options);
    set({{kStart, 1}});
    Frame last;
    for (int i = 0; i < 5; ++i) last = nextFrame();
    set({{kStop, 1}});
    const auto statistics = camera_->camera->statistics();
    const std::size_t packetsOfAFrame = last.packets.size();
    EXPECT_EQ(statistics.packetsSent, statistics.framesSent * packetsOfAFrame);
    while (packetsReceived_ < statistics.packetsSent) last.packets = {nextPacket()};
    EXPECT_FALSE(receiver_.receive(60));
    EXPECT_EQ(statistics.blockId, statistics.framesSent);
    EXPECT_EQ(statistics.blockId, last.packets.front().block);
    EXPECT_EQ(statistics.leaderBytes, 44U);
    EXPECT_EQ(statistics.pixelFormat, 0x01080001U);
    EXPECT_EQ(statistics.packetsResent, 0U);
    EXPECT_EQ(statistics.registersWritten, 6U);
    EXPECT_GE(statistics.commandsAnswered, 6U) << "and broadcasts of whoever looks for cameras";

    std::ifstream truth(options.truthFile);
    for (std::uint32_t i = 0; i < options.scenes; ++i) {
        std::string line;
        std::getline(truth, line);
        EXPECT_EQ(line, kestrosim::truthLine(options.serial, i, *scene(i)));
    }
    EXPECT_EQ(truth.peek(), EOF) << "each scene once";
    std::remove(options.truthFile.c_str());
}

TEST_F(Stream, TestPacketHasThePacketSize) {
    open();
    for (const std::uint32_t bytes : {576U, 1500U, 8192U}) {
        set({{0x0d04, 0x80000000 | bytes}});
        EXPECT_EQ(nextPacket().datagramBytes, bytes - 28);
        EXPECT_EQ(client_->read(0x0d04), bytes) << "the order to send it is not kept";
    }
}

TEST_F(Stream, KeepsToTheLink) {
    CameraOptions options = TestCamera::small();
    options.linkMbits = 10;  // a picture of 76,800 bytes takes at least 61.4 ms
    open(options);
    const auto begin = Clock::now();
    set({{kStart, 1}});
    nextFrame();
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(60));
}

TEST_F(Stream, PausesBetweenPackets) {
    open();
    set({{0x0d08, 1'000'000}});  // ticks: 1 ms, and the frame has 55 packets
    const auto begin = Clock::now();
    set({{kStart, 1}});
    nextFrame();
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(52));
}

TEST_F(Stream, KeepsTheFrameRate) {
    open();
    set({{kStart, 1}});
    for (std::uint32_t i = 0; i < camera_->options.scenes; ++i) nextFrame();  // drawn meanwhile
    const std::uint64_t early = nextFrame().timestamp();
    for (int i = 0; i < 9; ++i) nextFrame();
    const std::uint64_t late = nextFrame().timestamp();
    const double milliseconds = static_cast<double>(late - early) / 1e6;
    EXPECT_GE(milliseconds, 10 * 40.0 - 20) << "25 frames a second";
    EXPECT_LE(milliseconds, 20 * 40.0) << "even on a busy machine";
}

TEST_F(Stream, EndsWithTheControl) {
    open();
    set({{kStart, 1}});
    nextFrame();
    set({{0x0a00, 0}});
    const auto statistics = camera_->camera->statistics();
    while (packetsReceived_ < statistics.packetsSent) nextPacket();
    EXPECT_FALSE(receiver_.receive(60));
    EXPECT_EQ(client_->read(0x0d00), 0U);
}

TEST_F(Stream, NeedsAnOpenChannel) {
    open();
    set({{0x0d00, 0}});
    EXPECT_EQ(client_->write(kStart, 1), 0x800fU);
}

}  // namespace
}  // namespace rawclient
