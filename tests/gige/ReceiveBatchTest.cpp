// SPDX-License-Identifier: Apache-2.0
#include "ReceiveBatch.h"

#include "FakeStreamCamera.h"
#include "UdpSocket.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using namespace Vorda::Gige;
using kestro::test::Bytes;
using kestro::test::content;
using kestro::test::TestSocket;

constexpr Ipv4 kCamera{0x7f000001};
constexpr Ipv4 kStranger{0x7f000002};

struct Sent {
    Ipv4 sender;
    Bytes bytes;
    std::size_t packetBytes = 0;  ///< of each but the last
};

void append(Bytes& bytes, ByteView more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

class ReceiveBatchTest : public testing::Test {
 protected:
    void open() {
        ASSERT_TRUE(socket_.open({kCamera, 0}));
        port_ = socket_.local().port;
        const int on = 1;
        ASSERT_EQ(::setsockopt(socket_.fd(), SOL_UDP, UDP_GRO, &on, sizeof on), 0);
    }
    unsigned below(unsigned end) { return static_cast<unsigned>(engine_() >> 5) % end; }
    Bytes packet(std::size_t bytes) { return content(bytes, below(10000)); }

    /**
     * A few datagrams, mostly of the size that is expected, single or together; no more than a
     * socket holds that was not asked to hold more.
     */
    void send() {
        for (unsigned i = 0; i < 3; ++i) {
            switch (below(9)) {
                case 0:
                    send(stranger_, kStranger, {packet(below(2) == 0 ? packetBytes() : 40000)});
                    break;
                case 1:
                    send(camera_, kCamera, {packet(below(3) * 44)});
                    break;
                case 2:
                    send(camera_, kCamera, {packet(1 + below(40000))});
                    break;
                case 3:
                    send(camera_, kCamera, {packet(packetBytes())});
                    break;
                case 4:
                    sendTogether(500);
                    break;
                default:
                    sendTogether(packetBytes());
            }
        }
    }
    void send(const TestSocket& from, Ipv4 address, const std::vector<Bytes>& packets) {
        from.sendTo(port_, packets[0]);
        sent_.push_back({address, packets[0], packets[0].size()});
    }
    void sendTogether(std::size_t packetBytes) {
        constexpr std::size_t kMostTogether = 64;
        const std::size_t most = std::min(kMostTogether, 40000 / packetBytes);
        std::vector<Bytes> packets(1 + below(static_cast<unsigned>(most)));
        for (Bytes& each : packets) each = packet(packetBytes);
        if (below(2) == 0) packets.back().resize(1 + below(static_cast<unsigned>(packetBytes)));
        if (packets.size() == 1) return send(camera_, kCamera, packets);
        ASSERT_TRUE(camera_.sendTogether(port_, packets));
        sent_.push_back({kCamera, {}, packetBytes});
        for (const Bytes& each : packets) append(sent_.back().bytes, each);
    }
    [[nodiscard]] std::size_t packetBytes() const { return run_.headerBytes + run_.stride; }

    void receive(ReceiveBatch& batch) {
        pollfd watched{socket_.fd(), POLLIN, 0};
        ASSERT_EQ(::poll(&watched, 1, 10000), 1);
        ASSERT_TRUE(batch.receive(socket_.fd(), run_));
        const ByteView headers = batch.headersInPlace(kCamera);
        const std::size_t inPlace = headers.size() / run_.headerBytes;
        ASSERT_LE(inPlace, run_.count);
        // Whoever takes them may know better.
        const std::size_t taken =
            below(2) == 0 ? inPlace : below(1 + static_cast<unsigned>(inPlace));
        placed_ += taken;
        Bytes packets;
        for (std::size_t i = 0; i < taken; ++i) {
            append(packets, headers.subspan(i * run_.headerBytes, run_.headerBytes));
            append(packets, {run_.place + i * run_.stride, run_.stride});
        }
        batch.collectBut(taken);
        std::fill(memory_.begin(), memory_.end(), 0xee);  // frames are made of it now
        for (std::size_t i = 0; i < batch.count(); ++i) note(batch.datagram(i), packets);
        EXPECT_TRUE(packets.empty());
    }
    /** The packets in place come before what is left of their datagram. */
    void note(const ReceiveBatch::Datagram& datagram, Bytes& packets) {
        EXPECT_FALSE(datagram.isCut);
        ASSERT_LT(arrived_.size(), sent_.size());
        const std::size_t bytes = sent_[arrived_.size()].bytes.size();
        ASSERT_LE(datagram.bytes.size(), bytes);
        const auto end =
            packets.begin() + static_cast<std::ptrdiff_t>(bytes - datagram.bytes.size());
        ASSERT_LE(end, packets.end());
        EXPECT_EQ(datagram.isTaken, datagram.bytes.empty() && bytes != 0);
        if (end != packets.begin()) {
            EXPECT_EQ(datagram.sender, kCamera);
            EXPECT_EQ(sent_[arrived_.size()].packetBytes, packetBytes());
        }
        arrived_.push_back({datagram.sender, Bytes(packets.begin(), end)});
        packets.erase(packets.begin(), end);
        append(arrived_.back().bytes, datagram.bytes);
    }

    std::size_t mostAtATime(ReceiveBatch& batch, std::size_t datagrams);

    std::minstd_rand engine_{1};
    TestSocket camera_{"127.0.0.1"};
    TestSocket stranger_{"127.0.0.2"};
    UdpSocket socket_;
    std::uint16_t port_ = 0;
    ExpectedRun run_;
    Bytes memory_;
    std::vector<Sent> sent_;
    std::vector<Sent> arrived_;
    std::size_t placed_ = 0;
};

/** Datagrams with one call, at the most, until all have come. */
std::size_t ReceiveBatchTest::mostAtATime(ReceiveBatch& batch, std::size_t datagrams) {
    std::size_t most = 0;
    while (datagrams != 0) {
        pollfd watched{socket_.fd(), POLLIN, 0};
        if (::poll(&watched, 1, 10000) != 1 || !batch.receive(socket_.fd(), {})) return 0;
        most = std::max(most, batch.count());
        datagrams -= std::min(datagrams, batch.count());
    }
    return most;
}

class ReceiveBatchInPlace : public ReceiveBatchTest,
                            public testing::WithParamInterface<unsigned> {};

TEST_P(ReceiveBatchInPlace, LosesAndMixesUpNothing) {
    engine_.seed(GetParam() + 1);
    open();
    ReceiveBatch batch;
    run_.headerBytes = below(2) == 0 ? kGvspHeaderBytes : kGvspExtendedHeaderBytes;
    run_.stride = 2000 + below(7000);
    memory_.resize(40 * run_.stride);
    for (int round = 0; round < 100; ++round) {
        run_.place = memory_.data() + below(100);
        run_.count = below(3) == 0 ? below(40) : 39;
        sent_.clear();
        arrived_.clear();
        send();
        while (arrived_.size() < sent_.size() && !HasFatalFailure()) receive(batch);
        ASSERT_EQ(arrived_.size(), sent_.size());
        for (std::size_t i = 0; i < sent_.size(); ++i) {
            ASSERT_EQ(arrived_[i].sender, sent_[i].sender);
            ASSERT_EQ(arrived_[i].bytes, sent_[i].bytes) << "round " << round << ", " << i;
        }
    }
    EXPECT_FALSE(batch.receive(socket_.fd(), run_));
    EXPECT_GT(placed_, 50u);
}

// Of large packets one, whose places are not known before; of small ones as much as a cache holds.
TEST_F(ReceiveBatchTest, AsksForFewBatchesAtATimeWhileTheyCome) {
    open();
    ReceiveBatch batch;
    struct Kind {
        std::size_t packetBytes;
        std::size_t packets;
        std::size_t atATime;
    };
    for (const auto& [packetBytes, packets, atATime] :
         {Kind{3000, 5, 1}, Kind{1400, 40, 2}, Kind{1000, 8, 16}}) {
        const std::vector<Bytes> together(packets, packet(packetBytes));
        ASSERT_TRUE(camera_.sendTogether(port_, together));
        ASSERT_EQ(mostAtATime(batch, 1), 1u);
        // One that comes alone does not change that, nor does a smaller batch.
        camera_.sendTo(port_, together[0]);
        ASSERT_TRUE(camera_.sendTogether(port_, {together[0], together[0]}));
        ASSERT_EQ(mostAtATime(batch, 2), std::min(atATime, std::size_t{2}));
        for (int i = 0; i < 20; ++i) camera_.sendTo(port_, together[0]);
        ASSERT_EQ(mostAtATime(batch, 20), atATime);
        // Many do.
        for (int i = 0; i < 100; ++i) camera_.sendTo(port_, {1});
        ASSERT_EQ(mostAtATime(batch, 100), 32u);
    }
}

INSTANTIATE_TEST_SUITE_P(ReceiveBatch, ReceiveBatchInPlace, testing::Range(0u, 20u));

}  // namespace
