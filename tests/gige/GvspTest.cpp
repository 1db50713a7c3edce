// SPDX-License-Identifier: Apache-2.0
#include "Gvsp.h"

#include "Pcap.h"
#include "StreamPackets.h"

#include <gtest/gtest.h>

#include <map>

namespace {

using namespace Vorda::Gige;
using kestro::test::Bytes;
using kestro::test::PacketWriter;

TEST(Gvsp, ReadsAStandardLeader) {
    const Bytes bytes = {
        0x01, 0x00, 0x12, 0x34, 0x01, 0x00, 0x00, 0x00,  // status, block, leader, packet 0
        0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02,  // image, time stamp
        0x00, 0x00, 0x00, 0x03, 0x01, 0x08, 0x00, 0x01,  //   ... Mono8
        0x00, 0x00, 0x02, 0x80, 0x00, 0x00, 0x01, 0xe0,  // 640 x 480
        0,    0,    0,    0,    0,    0,    0,    0,    0, 0, 0, 0};
    const auto packet = decodeGvspPacket(bytes);
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->status, 0x0100);
    EXPECT_FALSE(packet->isError());
    EXPECT_EQ(packet->blockId, 0x1234u);
    EXPECT_EQ(packet->packetId, 0u);
    EXPECT_EQ(packet->format, 1);
    const auto leader = decodeGvspLeader(packet->body);
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payloadType, 1);
    EXPECT_EQ(leader->timestamp, 0x0000000200000003u);
    EXPECT_EQ(leader->pixelFormat, 0x01080001u);
    EXPECT_EQ(leader->width, 640u);
    EXPECT_EQ(leader->height, 480u);
    for (std::size_t length = 0; length < 36; ++length)
        EXPECT_FALSE(decodeGvspLeader(packet->body.first(length))) << length;
}

TEST(Gvsp, ReadsExtendedIds) {
    const Bytes bytes = {0,    0,    0x55, 0x55, 0x83, 0,    0,    0,     // payload, EI
                         0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,  // block
                         0x11, 0x12, 0x13, 0x14, 0xaa};                   // packet, data
    const auto packet = decodeGvspPacket(bytes);
    ASSERT_TRUE(packet);
    EXPECT_TRUE(packet->extendedIds);
    EXPECT_EQ(packet->format, 3);
    EXPECT_EQ(packet->blockId, 0x0102030405060708u);
    EXPECT_EQ(packet->packetId, 0x11121314u);
    ASSERT_EQ(packet->body.size(), 1u);
    EXPECT_EQ(packet->body[0], 0xaa);
    for (std::size_t length = 0; length < 20; ++length)
        EXPECT_FALSE(decodeGvspPacket(std::span(bytes).first(length))) << length;
}

TEST(Gvsp, KeepsTheGeometryOfOtherPayloadTypesEmpty) {
    PacketWriter writer;
    writer.payloadType = 4;
    const Bytes bytes = writer.leader();
    const auto leader = decodeGvspLeader(std::span(bytes).subspan(8, 12));
    ASSERT_TRUE(leader);
    EXPECT_EQ(leader->payloadType, 4);
    EXPECT_EQ(leader->width, 0u);
}

// The packet size counts IP (20), UDP (8) and the stream's own header (8 or 20).
TEST(Gvsp, KnowsThePayloadOfAFullPacket) {
    EXPECT_EQ(gvspPayloadBytes(1500, false), 1464u);
    EXPECT_EQ(gvspPayloadBytes(1500, true), 1452u);
    EXPECT_EQ(gvspPayloadBytes(36, false), 0u);
    EXPECT_EQ(gvspPayloadBytes(0, true), 0u);
}

// The capture holds eleven 64 x 32 frames of Aravis' fake camera, blocks 65401 to 65411.
TEST(Gvsp, ReadsWhatAnIndependentCameraSends) {
    std::map<std::uint64_t, std::vector<std::size_t>> sizes;
    for (const auto& datagram :
         kestro::test::PcapReader::read(KESTRO_GOLDEN_DIR "/aravis-session.pcap")) {
        if (datagram.sourcePort == 3956 || datagram.destinationPort == 3956) continue;
        const auto packet = decodeGvspPacket(datagram.payload);
        ASSERT_TRUE(packet);
        auto& block = sizes[packet->blockId];
        EXPECT_EQ(packet->packetId, block.size());
        block.push_back(packet->body.size());
        if (packet->format != 1) continue;
        const auto leader = decodeGvspLeader(packet->body);
        ASSERT_TRUE(leader);
        EXPECT_EQ(leader->payloadType, kGvspImage);
        EXPECT_EQ(leader->width, 64u);
        EXPECT_EQ(leader->height, 32u);
        EXPECT_EQ(leader->pixelFormat, 0x01080001u);
    }
    ASSERT_EQ(sizes.size(), 11u);
    EXPECT_EQ(sizes.begin()->first, 65401u);
    EXPECT_EQ(sizes.rbegin()->first, 65411u);
    for (const auto& [id, block] : sizes)
        EXPECT_EQ(block, (std::vector<std::size_t>{36, 1364, 684, 8})) << id;
}

}  // namespace
