// SPDX-License-Identifier: Apache-2.0
//
// The control protocol's bytes, against a recorded session of Aravis' client and fake camera.
#include "Gvcp.h"

#include "Pcap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

namespace Vorda::Gige::Gvcp {
namespace {

using testing::ElementsAre;

std::vector<kestro::test::UdpDatagram> session() {
    return kestro::test::PcapReader::read(KESTRO_GOLDEN_DIR "/aravis-session.pcap");
}

std::uint16_t idOf(ByteView packet) {
    return static_cast<std::uint16_t>(packet[6] << 8 | packet[7]);
}

/** The packet that we would send for the request in `packet`; empty for a request we never make. */
Bytes encodedAgain(ByteView packet) {
    BigEndianReader fields(packet);
    fields.seek(2);
    const auto command = static_cast<Command>(fields.u16());
    fields.seek(kHeaderBytes);
    const std::uint16_t id = idOf(packet);
    switch (command) {
        case Command::discovery:
            return encodeDiscovery(id, false);
        case Command::readRegister:
            return encodeReadRegister(id, fields.u32());
        case Command::writeRegister: {
            const std::uint32_t address = fields.u32();
            return encodeWriteRegister(id, address, fields.u32());
        }
        case Command::readMemory: {
            const std::uint32_t address = fields.u32();
            fields.seek(kHeaderBytes + 6);
            return encodeReadMemory(id, address, fields.u16());
        }
        default:
            return {};
    }
}

TEST(Gvcp, MakesTheBytesOfAravisClientForTheSameRequests) {
    std::map<std::uint8_t, int> seen;
    for (const kestro::test::UdpDatagram& datagram : session()) {
        if (datagram.destinationPort != kPort) continue;
        EXPECT_EQ(datagram.payload, encodedAgain(datagram.payload));
        ++seen[datagram.payload.at(3)];
    }
    EXPECT_THAT(seen, ElementsAre(testing::Pair(0x02, 1), testing::Pair(0x80, testing::Gt(30)),
                                  testing::Pair(0x82, testing::Gt(10)),
                                  testing::Pair(0x84, testing::Gt(90))));
}

TEST(Gvcp, ReadsTheAnswersOfAravisCamera) {
    std::map<std::uint16_t, Command> asked;
    int answers = 0;
    for (const kestro::test::UdpDatagram& datagram : session()) {
        if (datagram.destinationPort == kPort)
            asked[idOf(datagram.payload)] = static_cast<Command>(datagram.payload.at(3));
        if (datagram.sourcePort != kPort) continue;
        const auto answer = decodeAcknowledge(datagram.payload);
        ASSERT_TRUE(answer);
        EXPECT_EQ(kStatusSuccess, answer->status);
        EXPECT_EQ(acknowledgeOf(asked.at(answer->id)), answer->command);
        EXPECT_EQ(datagram.payload.size() - kHeaderBytes, answer->payload.size());
        ++answers;
    }
    EXPECT_GT(answers, 150);
}

TEST(Gvcp, ReadsTheAnnouncementOfAravisCamera) {
    for (const kestro::test::UdpDatagram& datagram : session()) {
        const auto answer = decodeAcknowledge(datagram.payload);
        if (!answer || answer->command != acknowledgeOf(Command::discovery)) continue;
        const auto device = decodeAnnouncement(answer->payload);
        ASSERT_TRUE(device);
        EXPECT_EQ("127.0.0.1", device->address.text());
        EXPECT_TRUE(device->mask.isZero());
        EXPECT_TRUE(device->mac.isZero());
        EXPECT_EQ("Aravis", device->manufacturer);
        EXPECT_EQ("Fake", device->model);
        EXPECT_EQ("0.8.26", device->version);
        EXPECT_EQ("none", device->information);
        EXPECT_EQ("GOLDEN01", device->serial);
        EXPECT_EQ("", device->userName);
        return;
    }
    FAIL() << "no announcement in the capture";
}

TEST(Gvcp, KeepsTextFieldsWithoutNulInTheirBounds) {
    Bytes payload(0xf8, 'x');
    const auto device = decodeAnnouncement(payload);
    ASSERT_TRUE(device);
    EXPECT_EQ(std::string(32, 'x'), device->manufacturer);
    EXPECT_EQ(std::string(16, 'x'), device->userName);
    payload.pop_back();
    EXPECT_FALSE(decodeAnnouncement(payload));
}

TEST(Gvcp, RefusesAnswersThatAreShorterThanTheySay) {
    const Bytes whole{0x80, 0x06, 0x00, 0x81, 0x00, 0x04, 0x12, 0x34, 0, 0, 0, 2};
    ASSERT_TRUE(decodeAcknowledge(whole));
    EXPECT_EQ(0x8006, decodeAcknowledge(whole)->status);
    EXPECT_EQ(0x1234, decodeAcknowledge(whole)->id);
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes)
        EXPECT_FALSE(decodeAcknowledge(ByteView(whole).first(bytes))) << bytes;
}

TEST(Gvcp, LaysOutResendRequestsForBothKindsOfIds) {
    const ResendRequest request{0x1234, 5, 9, false};
    EXPECT_THAT(encodeResend(3, 0, request), ElementsAre(0x42, 0x00, 0x00, 0x40, 0, 12, 0, 3, 0, 0,
                                                         0x12, 0x34, 0, 0, 0, 5, 0, 0, 0, 9));
    const ResendRequest extended{0x1122334455667788, 0x01000005, 0x01000009, true};
    EXPECT_THAT(encodeResend(3, 0, extended),
                ElementsAre(0x42, 0x10, 0x00, 0x40, 0, 20, 0, 3, 0, 0, 0, 0, 1, 0, 0, 5, 1, 0, 0, 9,
                            0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88));
}

/** The events of a message as (id, bytes). */
std::vector<std::pair<std::uint16_t, Bytes>> eventsOf(const Message& message) {
    std::vector<std::pair<std::uint16_t, Bytes>> events;
    for (const Event& each : message.events)
        events.emplace_back(each.id, Bytes(each.bytes.begin(), each.bytes.end()));
    return events;
}

/** An event's header, with extended ids when `extendedBytes` is given, and its data. */
Bytes event(std::uint16_t id, Bytes data = {}, std::optional<std::uint16_t> extendedBytes = {}) {
    Bytes bytes;
    appendU16(bytes, extendedBytes.value_or(0));
    appendU16(bytes, id);
    bytes.resize(extendedBytes ? 24 : 16, 0xab);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Bytes joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& each : parts) all.insert(all.end(), each.begin(), each.end());
    return all;
}

/** A message with request id 0x1234. */
Bytes message(std::uint8_t flags, std::uint16_t command, const Bytes& payload) {
    Bytes bytes{0x42, flags};
    appendU16(bytes, command);
    appendU16(bytes, static_cast<std::uint16_t>(payload.size()));
    appendU16(bytes, 0x1234);
    return joined({bytes, payload});
}

TEST(Gvcp, ReadsEventsOfBothKindsOfIds) {
    const Bytes plain = event(0x9001);
    const Bytes filled = event(0x9002, {1, 2, 3, 4});
    const Bytes wide = event(0x9003, {}, 0);
    const Bytes rest = event(0x9004, {5, 6, 7, 8}, 0);
    const Bytes sized = event(0x9004, {5, 6, 7}, 27);
    using testing::Pair;
    struct Case {
        Bytes datagram;
        testing::Matcher<std::vector<std::pair<std::uint16_t, Bytes>>> events;
    };
    const Case cases[] = {
        {message(1, 0xc0, joined({plain, event(7)})),
         ElementsAre(Pair(0x9001, plain), Pair(7, event(7)))},
        {message(1, 0xc2, filled), ElementsAre(Pair(0x9002, filled))},
        {message(0x11, 0xc0, joined({wide, wide})),
         ElementsAre(Pair(0x9003, wide), Pair(0x9003, wide))},
        {message(0x11, 0xc2, rest), ElementsAre(Pair(0x9004, rest))},
        {message(0x11, 0xc2, joined({sized, sized, {0}})),
         ElementsAre(Pair(0x9004, sized), Pair(0x9004, sized))},
    };
    for (const Case& each : cases) {
        const auto read = decodeMessage(each.datagram);
        ASSERT_TRUE(read);
        EXPECT_TRUE(read->isAnswerWanted);
        EXPECT_THAT(eventsOf(*read), each.events);
        // Not a byte less, wherever it is cut.
        for (std::size_t bytes = 0; bytes < each.datagram.size(); ++bytes)
            EXPECT_FALSE(decodeMessage(ByteView(each.datagram).first(bytes))) << bytes;
    }
}

TEST(Gvcp, RefusesMessagesThatAreNone) {
    const Bytes good = message(0, 0xc0, event(1));
    ASSERT_TRUE(decodeMessage(good));
    EXPECT_FALSE(decodeMessage(good)->isAnswerWanted);
    const auto with = [&good](std::size_t at, std::uint8_t value) {
        Bytes bytes = good;
        bytes.at(at) = value;
        return bytes;
    };
    Bytes noId = with(6, 0);
    noId[7] = 0;
    const Bytes hostile[] = {
        with(0, 0x43),
        with(3, 0x80),
        with(3, 0xc1),
        noId,
        message(0, 0xc0, {}),                             // no event
        message(0, 0xc0, joined({event(1), Bytes(15)})),  // one and a half
        message(0x10, 0xc0, event(1)),                    // a short one that says it is extended
        message(0x10, 0xc2, event(1, {1, 2, 3, 4}, 23)),  // ends in its own header
        message(0x10, 0xc2, event(1, {1, 2, 3, 4}, 29)),  // ends past the message
        message(0x10, 0xc2, joined({event(1, {}, 24), Bytes(4)})),
    };
    for (const Bytes& each : hostile) EXPECT_FALSE(decodeMessage(each));
}

TEST(Gvcp, NamesStatuses) {
    EXPECT_EQ("access denied (0x8006)", statusText(0x8006));
    EXPECT_EQ("unknown status (0x9999)", statusText(0x9999));
}

TEST(MacAddress, IsWrittenInLowerCaseWithColons) {
    EXPECT_EQ("01:23:45:67:89:ab", (MacAddress{{0x01, 0x23, 0x45, 0x67, 0x89, 0xab}}.text()));
}

}  // namespace
}  // namespace Vorda::Gige::Gvcp
