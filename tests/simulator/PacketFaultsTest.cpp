// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "PacketFate.h"
#include "RawStream.h"

namespace rawclient {
namespace {

using kestrosim::CameraOptions;
using kestrosim::FateDice;
using kestrosim::PacketFate;
using kestrosim::PacketFault;
using kestrosim::PacketFaults;
using kestrosim::ResultFormat;

// Fates

std::vector<PacketFault> fates(const PacketFaults& faults, std::uint64_t seed, std::size_t count) {
    FateDice dice(faults, seed);
    std::vector<PacketFault> fates;
    for (std::size_t i = 0; i < count; ++i) fates.push_back(dice.next().fault);
    return fates;
}

TEST(PacketFates, AreTheSeedsAndHaveTheirShares) {
    PacketFaults faults;
    faults.loss = 0.1;
    faults.reorder = 0.2;
    faults.foreign = 0.5;
    constexpr std::size_t kPackets = 100'000;
    const auto decided = fates(faults, 7, kPackets);
    EXPECT_EQ(decided, fates(faults, 7, kPackets));
    EXPECT_NE(decided, fates(faults, 8, kPackets));
    std::map<PacketFault, double> shares;
    for (const PacketFault fault : decided) shares[fault] += 1.0 / kPackets;
    // Four standard deviations are 0.0063.
    EXPECT_NEAR(shares[PacketFault::loss], 0.1, 0.007);
    EXPECT_NEAR(shares[PacketFault::reorder], 0.2, 0.007);
    EXPECT_NEAR(shares[PacketFault::foreign], 0.5, 0.007);
    EXPECT_EQ(shares.size(), 4U);
}

TEST(PacketFates, StayWithTheirPacketsWhenAnotherFaultIsPlanned) {
    PacketFaults faults;
    faults.loss = 0.05;
    const auto alone = fates(faults, 1, 1000);
    faults.delay = 0.3;
    const auto both = fates(faults, 1, 1000);
    for (std::size_t i = 0; i < alone.size(); ++i) {
        EXPECT_EQ(alone[i] == PacketFault::loss, both[i] == PacketFault::loss);
    }
}

TEST(PacketFates, AreCertainAtBothEnds) {
    PacketFaults faults;
    EXPECT_FALSE(hasAny(faults));
    EXPECT_EQ(fates(faults, 1, 100), std::vector(100, PacketFault::none));
    faults.delay = 1;
    EXPECT_TRUE(hasAny(faults));
    EXPECT_EQ(fates(faults, 1, 100), std::vector(100, PacketFault::delay));
    faults.delay = faults.foreign = 0.5;
    EXPECT_THAT(fates(faults, 1, 100), testing::Not(testing::Contains(PacketFault::none)));
}

// On the wire

/** A stopped camera's frames of 53 packets of payload, a leader and a trailer. */
class FaultyStream : public Stream {
 protected:
    static constexpr std::uint32_t kPackets = 55;

    void run(const PacketFaults& faults, std::uint32_t frames, std::uint32_t packetBytes = 1500) {
        CameraOptions options = TestCamera::small();
        options.framesPerSecond = 200;
        options.faults.packets = faults;
        open(options);
        set({{0x0d04, packetBytes}, {kAcquisitionMode, 1}, {kFrameCount, frames}, {kStart, 1}});
        frames_ = frames;
    }

    kestrosim::CameraStatistics statistics() { return camera_->camera->statistics(); }

    /** All that arrives until the camera has sent its frames and nothing more comes. */
    std::vector<Received> arrivals() {
        std::vector<Received> all;
        while (statistics().framesSent < frames_) take(all, 5);
        set({{kStop, 1}});  // lets go of what was held back
        while (take(all, 50)) {
        }
        return all;
    }

    bool take(std::vector<Received>& all, int timeoutMs) {
        auto received = receiver_.receive(timeoutMs);
        if (!received) return false;
        all.push_back(std::move(*received));
        return true;
    }

    std::uint32_t frames_ = 0;
};

std::pair<std::uint64_t, std::uint64_t> nameOf(const Received& received) {
    const Packet packet = parse(received.bytes);
    return {packet.block, packet.id};
}

TEST_F(FaultyStream, LosesTheSamePacketsEachTime) {
    PacketFaults faults;
    faults.loss = 0.1;
    std::set<std::pair<std::uint64_t, std::uint64_t>> seen[2];
    for (auto& names : seen) {
        run(faults, 10);
        for (const Received& received : arrivals()) names.insert(nameOf(received));
        EXPECT_EQ(statistics().packetsSent, 10U * kPackets) << "what it meant to send";
        EXPECT_EQ(statistics().packetFaults.lost, 10U * kPackets - names.size());
    }
    EXPECT_EQ(seen[0], seen[1]);
    EXPECT_NEAR(static_cast<double>(seen[0].size()), 0.9 * 10 * kPackets, 30);
}

TEST_F(FaultyStream, LosesResentPacketsToo) {
    PacketFaults faults;
    faults.loss = 0.5;
    run(faults, 1);
    static_cast<void>(arrivals());
    for (int i = 0; i < 10; ++i) requestResend(1, 0, kPackets - 1);
    std::size_t again = 0;
    while (receiver_.receive(200)) ++again;
    EXPECT_EQ(statistics().packetsResent, 10U * kPackets);
    EXPECT_NEAR(static_cast<double>(again), 0.5 * 10 * kPackets, 50);
}

/** What packet `id` of a block looks like: of the header all but the status. */
Bytes expectedPacket(std::uint64_t block, std::uint64_t id, const Bytes& pixels) {
    const bool isPayload = id > 0 && id + 1 < 55;
    const auto format = static_cast<std::uint8_t>(id == 0 ? 1 : isPayload ? 3 : 2);
    Bytes bytes = be16(0) + be16(static_cast<std::uint32_t>(block)) +
                  be32(std::uint32_t{format} << 24 | static_cast<std::uint32_t>(id));
    if (!isPayload) return bytes;
    const std::size_t offset = (id - 1) * 1464;
    const std::size_t end = std::min<std::size_t>(offset + 1464, pixels.size());
    return std::move(bytes) + Bytes(pixels.begin() + static_cast<std::ptrdiff_t>(offset),
                                    pixels.begin() + static_cast<std::ptrdiff_t>(end));
}

/** How many of the datagrams are, to the last byte, packets of the payload that were planned. */
std::size_t wholePayloads(const std::vector<Received>& all, const Bytes& pixels) {
    std::size_t count = 0;
    for (const Received& received : all) {
        if (received.bytes.size() < 9 || received.bytes[4] != 3) continue;
        const auto [block, id] = nameOf(received);
        if (received.bytes == expectedPacket(block, id, pixels)) ++count;
    }
    return count;
}

TEST_F(FaultyStream, SendsSomePacketsBehindTheNext) {
    PacketFaults faults;
    faults.reorder = 0.1;
    run(faults, 4);
    const auto all = arrivals();
    ASSERT_EQ(all.size(), 4U * kPackets);
    std::set<std::pair<std::uint64_t, std::uint64_t>> seen;
    std::size_t overtaken = 0;
    for (const Received& received : all) {
        const auto name = nameOf(received);
        if (!seen.empty() && name < *seen.rbegin()) ++overtaken;
        seen.insert(name);
    }
    EXPECT_EQ(seen.size(), all.size());
    EXPECT_NEAR(static_cast<double>(overtaken), 0.1 * 4 * kPackets, 20);
    // A frame's last packet may have nothing behind it before the stop.
    EXPECT_LE(overtaken, statistics().packetFaults.reordered);
    EXPECT_GE(overtaken + 4, statistics().packetFaults.reordered);
}

TEST_F(FaultyStream, SendsSomePacketsTwice) {
    PacketFaults faults;
    faults.duplicate = 0.1;
    run(faults, 4);
    const auto all = arrivals();
    const auto twice = statistics().packetFaults.duplicated;
    EXPECT_GT(twice, 5U);
    EXPECT_EQ(all.size(), 4U * kPackets + twice);
    EXPECT_EQ(statistics().packetsSent, 4U * kPackets);
    std::size_t copies = 0;
    for (std::size_t i = 1; i < all.size(); ++i) {
        if (all[i].bytes == all[i - 1].bytes) ++copies;
    }
    EXPECT_EQ(copies, twice);
}

TEST_F(FaultyStream, SendsDelayedPacketsLaterAndNoneAfterTheStop) {
    PacketFaults faults;
    faults.delay = 0.1;
    faults.delayedBy = std::chrono::hours(1);
    run(faults, 2);
    std::vector<Received> early;
    while (statistics().framesSent < 2) take(early, 5);
    while (take(early, 50)) {
    }
    const auto delayed = statistics().packetFaults.delayed;
    EXPECT_GT(delayed, 3U);
    EXPECT_EQ(early.size(), 2U * kPackets - delayed);
    set({{kStop, 1}});
    const auto late = arrivals();
    EXPECT_EQ(late.size(), delayed) << "the stop lets them go";
    EXPECT_EQ(wholePayloads(early, scene(0)->pixels) + wholePayloads(early, scene(1)->pixels) +
                  wholePayloads(late, scene(0)->pixels) + wholePayloads(late, scene(1)->pixels),
              2U * (kPackets - 2));
}

TEST_F(FaultyStream, CutsPacketsOffAnywhere) {
    PacketFaults faults;
    faults.truncate = 0.5;
    run(faults, 4);
    const auto all = arrivals();
    ASSERT_EQ(all.size(), 4U * kPackets);
    std::size_t empty = 0, inHeader = 0, inBody = 0;
    for (const Received& received : all) {
        const std::size_t bytes = received.bytes.size();
        if (bytes == 0) ++empty;
        if (bytes > 0 && bytes < 8) ++inHeader;
        if (bytes > 8 && bytes < 1472 && bytes != 680 && bytes != 44 && bytes != 16) ++inBody;
    }
    EXPECT_GT(empty, 2U);
    EXPECT_GT(inHeader, 20U);
    EXPECT_GT(inBody, 30U);
    EXPECT_LE(empty + inHeader + inBody, statistics().packetFaults.truncated);
}

TEST_F(FaultyStream, SendsPacketsThatAreTooLongOrEmpty) {
    PacketFaults faults;
    faults.wrongSize = 0.5;
    run(faults, 4);
    const auto all = arrivals();
    ASSERT_EQ(all.size(), 4U * kPackets);
    std::size_t tooLong = 0, headerOnly = 0;
    for (const Received& received : all) {
        if (received.bytes.size() > 1472) ++tooLong;
        if (received.bytes.size() == 8) ++headerOnly;
    }
    EXPECT_GT(tooLong, 30U);
    EXPECT_GT(headerOnly, 30U);
    EXPECT_LE(tooLong + headerOnly, statistics().packetFaults.wrongSize);
}

TEST_F(FaultyStream, IsImitatedFromAnotherAddress) {
    PacketFaults faults;
    faults.foreign = 0.2;
    run(faults, 4);
    const auto all = arrivals();
    const auto foreign = statistics().packetFaults.foreign;
    EXPECT_GT(foreign, 20U);
    EXPECT_EQ(all.size(), 4U * kPackets + foreign);
    std::size_t imitations = 0;
    for (std::size_t i = 0; i + 1 < all.size(); ++i) {
        const Received& received = all[i];
        if (received.from == camera_->options.address) continue;
        ++imitations;
        EXPECT_EQ(nameOf(received), nameOf(all[i + 1])) << "just before the real one";
        EXPECT_EQ(received.bytes.size(), all[i + 1].bytes.size());
        EXPECT_NE(received.bytes, all[i + 1].bytes);
    }
    EXPECT_EQ(imitations, foreign);
}

TEST_F(Stream, LosesWhatIsLargerThanThePathCarries) {
    CameraOptions options = TestCamera::small();
    options.faults.pathMtuBytes = 1400;
    open(options);
    set({{0x0d04, 0x80000000 | 1404}, {0x0d04, 0x80000000 | 1400}});
    EXPECT_EQ(nextPacket().datagramBytes, 1400U - 28) << "a test packet";
    set({{0x0d04, 1404}, {kAcquisitionMode, 0}, {kStart, 1}});
    EXPECT_EQ(nextPacket().format, 1U);
    const Packet last = nextPacket();  // the smaller rest of the picture
    EXPECT_EQ(last.format, 3U);
    EXPECT_LT(last.datagramBytes, 1400U - 28);
    EXPECT_EQ(nextPacket().format, 2U);
    set({{kStop, 1}});
    EXPECT_EQ(camera_->camera->statistics().packetFaults.tooLarge, 1U + 76800 / (1404 - 36));
}

TEST_F(Stream, TakesNoPacketSizeAboveItsOwnAndDoesNotSaySo) {
    CameraOptions options = TestCamera::small();
    options.faults.packetSizeMax = 1000;
    open(options);
    EXPECT_EQ(client_->read(0x0d04) & 0xffff, 1000U);
    set({{0x0d04, 0x40000000 | 9000}});
    EXPECT_EQ(client_->read(0x0d04), 0x40000000U | 1000);
    set({{0x0d04, 576}});
    EXPECT_EQ(client_->read(0x0d04), 576U);
}

// Results

class DamagedResults : public Stream, public testing::WithParamInterface<ResultFormat> {};

TEST_P(DamagedResults, LeaveTheImageWhole) {
    CameraOptions options = TestCamera::small();
    options.format = GetParam();
    options.scenes = 1;
    options.framesPerSecond = 200;
    options.faults.results = {.cut = 0.5, .corrupt = 0.5};
    open(options);
    constexpr std::uint64_t kFrames = 40;
    set({{kAcquisitionMode, 1}, {kFrameCount, kFrames}, {kStart, 1}});
    const bool isChunk = GetParam() == ResultFormat::chunk;
    std::set<std::size_t> sizes;
    for (std::uint64_t i = 0; i < kFrames; ++i) {
        const Frame frame = nextFrame();
        const Bytes payload = frame.payload();
        sizes.insert(payload.size());
        ASSERT_GE(payload.size(), isChunk ? 76800U : 576 + 76800U);
        const Bytes image =
            isChunk ? Bytes(payload.begin(), payload.begin() + 76800) : imageOf(payload);
        EXPECT_EQ(image, scene(0)->pixels);
        if (GetParam() == ResultFormat::raw) {
            EXPECT_EQ(number(frame.leader(), 12, 8), payload.size()) << "the frame is whole";
        }
    }
    EXPECT_GT(sizes.size(), 4U);
    set({{kStop, 1}});
    const auto statistics = camera_->camera->statistics();
    EXPECT_EQ(statistics.resultsCut + statistics.resultsCorrupted, kFrames);
    EXPECT_NEAR(static_cast<double>(statistics.resultsCut), 20, 19) << "six standard deviations";
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedResults,
                         testing::Values(ResultFormat::container, ResultFormat::chunk,
                                         ResultFormat::raw));

}  // namespace
}  // namespace rawclient
