// SPDX-License-Identifier: Apache-2.0
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
    // Each of those that the faults before it have left; four standard deviations are 0.0063.
    EXPECT_NEAR(shares[PacketFault::loss], 0.1, 0.007);
    EXPECT_NEAR(shares[PacketFault::reorder], 0.9 * 0.2, 0.007);
    EXPECT_NEAR(shares[PacketFault::foreign], 0.9 * 0.8 * 0.5, 0.007);
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

}  // namespace
}  // namespace rawclient
