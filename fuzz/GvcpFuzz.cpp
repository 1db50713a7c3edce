// SPDX-License-Identifier: Apache-2.0
//
// Datagrams as a camera may send them to the control and the message channel, and what is sent to
// it. The first byte chooses what the others are.
#include "FuzzInput.h"
#include "Gvcp.h"

#include <array>
#include <initializer_list>
#include <string>

namespace {

using namespace kestro::fuzz;
namespace Gvcp = Vorda::Gige::Gvcp;
using Gvcp::Command;
using Vorda::Gige::Ipv4;
using Vorda::Gige::MacAddress;
using Vorda::Gige::ResendRequest;

std::uint32_t bigAt(ByteView bytes, std::size_t at, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | bytes[at + i];
    return value;
}

/** The events must be a row of the datagram's own bytes, but for less than a word at the end. */
void checkMessage(const Gvcp::Message& message, ByteView datagram) {
    KESTRO_EXPECT(datagram[0] == 0x42 && message.id != 0);
    KESTRO_EXPECT(message.command == Command::event || message.command == Command::eventData);
    KESTRO_EXPECT(!message.events.empty());
    const bool isExtended = (datagram[1] & 0x10) != 0;
    const std::uint8_t* next = datagram.data() + 8;
    const std::uint8_t* const end = next + bigAt(datagram, 4, 2);
    KESTRO_EXPECT(end <= datagram.data() + datagram.size());
    for (const Gvcp::Event& event : message.events) {
        KESTRO_EXPECT(event.bytes.data() == next);
        KESTRO_EXPECT(event.bytes.size() <= static_cast<std::size_t>(end - next));
        KESTRO_EXPECT(event.bytes.size() >= (isExtended ? 24 : 16));
        KESTRO_EXPECT(event.id == bigAt(event.bytes, 2, 2));
        next += event.bytes.size();
    }
    KESTRO_EXPECT(end - next < (message.command == Command::event ? 1 : 4));
    const auto answer = Gvcp::decodeAcknowledge(Gvcp::encodeMessageAcknowledge(message));
    KESTRO_EXPECT(answer && answer->status == 0 && answer->id == message.id);
    KESTRO_EXPECT(static_cast<int>(answer->command) == static_cast<int>(message.command) + 1);
}

void checkText(const std::string& text, ByteView payload, std::size_t at, std::size_t most) {
    KESTRO_EXPECT(text.size() <= most);
    for (std::size_t i = 0; i < text.size(); ++i)
        KESTRO_EXPECT(static_cast<std::uint8_t>(text[i]) == payload[at + i] && text[i] != '\0');
    KESTRO_EXPECT(text.size() == most || payload[at + text.size()] == 0);
}

void checkAnnouncement(const Gvcp::Announcement& camera, ByteView payload) {
    KESTRO_EXPECT(payload.size() >= 0xf8);
    KESTRO_EXPECT(std::equal(camera.mac.bytes.begin(), camera.mac.bytes.end(), &payload[10]));
    KESTRO_EXPECT(camera.address.value == bigAt(payload, 0x24, 4));
    KESTRO_EXPECT(camera.mask.value == bigAt(payload, 0x34, 4));
    KESTRO_EXPECT(camera.gateway.value == bigAt(payload, 0x44, 4));
    checkText(camera.manufacturer, payload, 0x48, 32);
    checkText(camera.model, payload, 0x68, 32);
    checkText(camera.version, payload, 0x88, 32);
    checkText(camera.information, payload, 0xa8, 48);
    checkText(camera.serial, payload, 0xd8, 16);
    checkText(camera.userName, payload, 0xe8, 16);
}

void checkDatagram(const Bytes& datagram) {
    if (const auto message = Gvcp::decodeMessage(datagram)) checkMessage(*message, datagram);
    const auto answer = Gvcp::decodeAcknowledge(datagram);
    const bool isWhole = datagram.size() >= 8 && datagram.size() - 8 >= bigAt(datagram, 4, 2);
    KESTRO_EXPECT(answer.has_value() == isWhole);
    if (!answer) return;
    KESTRO_EXPECT(answer->payload.size() == bigAt(datagram, 4, 2));
    const Bytes payload = exactly(answer->payload);
    const auto camera = Gvcp::decodeAnnouncement(payload);
    KESTRO_EXPECT(camera.has_value() == (payload.size() >= 0xf8));
    if (camera) checkAnnouncement(*camera, payload);
    const auto pending = Gvcp::decodePendingMs(payload);
    KESTRO_EXPECT(pending.has_value() == (payload.size() >= 4));
    if (pending) KESTRO_EXPECT(*pending == bigAt(payload, 2, 2));
    const std::string status = Gvcp::statusText(answer->status);
    KESTRO_EXPECT(status.size() > 9 && status.ends_with(')'));
}

/** A header in front of what the fuzzer has, so that it reaches the inside. */
Bytes withHeader(Choices& choices) {
    constexpr std::array<Command, 4> kCommands = {Command::event, Command::eventData,
                                                  Command::event, Command::eventData};
    const std::uint8_t flags = choices.byte() & 0x11;
    const Command command = choices.oneOf(kCommands);
    const ByteView payload = choices.rest();
    Bytes datagram{0x42, flags};
    Vorda::Gige::appendU16(datagram, static_cast<std::uint16_t>(command));
    Vorda::Gige::appendU16(datagram, static_cast<std::uint16_t>(payload.size()));
    Vorda::Gige::appendU16(datagram, 1);
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    return datagram;
}

/** Events of sizes that are as they say, or not. */
Bytes eventRow(Choices& choices) {
    Bytes payload;
    while (!choices.isEmpty() && payload.size() < 2000) {
        const std::uint8_t said = choices.byte();
        const std::size_t size = choices.flag() ? said : choices.byte();
        Bytes event(std::max<std::size_t>(size, 4));
        event[1] = said;
        event[3] = choices.byte();
        payload.insert(payload.end(), event.begin(), event.end());
    }
    Bytes datagram{0x42, 0x11, 0, 0xc2};
    Vorda::Gige::appendU16(datagram, static_cast<std::uint16_t>(payload.size()));
    Vorda::Gige::appendU16(datagram, 1);
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    return datagram;
}

void checkCommand(const Bytes& packet, int command, std::size_t payloadBytes, std::uint16_t id) {
    KESTRO_EXPECT(packet.size() == 8 + payloadBytes && packet[0] == 0x42);
    KESTRO_EXPECT(bigAt(packet, 2, 2) == static_cast<std::uint32_t>(command));
    KESTRO_EXPECT(bigAt(packet, 4, 2) == payloadBytes && bigAt(packet, 6, 2) == id);
}

void checkForceIp(Choices& choices, std::uint16_t id) {
    MacAddress mac;
    for (auto& byte : mac.bytes) byte = choices.byte();
    const Ipv4 address{static_cast<std::uint32_t>(choices.number(4))};
    const Ipv4 mask{static_cast<std::uint32_t>(choices.number(4))};
    const Ipv4 gateway{static_cast<std::uint32_t>(choices.number(4))};
    const Bytes packet = Gvcp::encodeForceIp(id, mac, address, mask, gateway);
    checkCommand(packet, 0x0004, 56, id);
    KESTRO_EXPECT(std::equal(mac.bytes.begin(), mac.bytes.end(), &packet[8 + 2]));
    KESTRO_EXPECT(bigAt(packet, 8 + 20, 4) == address.value);
    KESTRO_EXPECT(bigAt(packet, 8 + 36, 4) == mask.value);
    KESTRO_EXPECT(bigAt(packet, 8 + 52, 4) == gateway.value);
}

void checkResend(Choices& choices, std::uint16_t id) {
    ResendRequest request;
    request.extendedIds = choices.flag();
    request.blockId = choices.number(8);
    request.firstPacket = static_cast<std::uint32_t>(choices.number(4));
    request.lastPacket = static_cast<std::uint32_t>(choices.number(4));
    const Bytes packet = Gvcp::encodeResend(id, 3, request);
    checkCommand(packet, 0x0040, request.extendedIds ? 20 : 12, id);
    const std::uint32_t mask = request.extendedIds ? 0xffffffff : 0x00ffffff;
    KESTRO_EXPECT(packet[1] == (request.extendedIds ? 0x10 : 0));
    KESTRO_EXPECT(bigAt(packet, 8, 2) == 3);
    KESTRO_EXPECT(bigAt(packet, 12, 4) == (request.firstPacket & mask));
    KESTRO_EXPECT(bigAt(packet, 16, 4) == (request.lastPacket & mask));
    if (request.extendedIds) {
        KESTRO_EXPECT(bigAt(packet, 20, 4) == request.blockId >> 32);
        KESTRO_EXPECT(bigAt(packet, 24, 4) == (request.blockId & 0xffffffff));
    } else {
        KESTRO_EXPECT(bigAt(packet, 10, 2) == (request.blockId & 0xffff));
    }
}

void checkCommands(Choices& choices) {
    const auto id = static_cast<std::uint16_t>(choices.number(2));
    checkForceIp(choices, id);
    checkResend(choices, id);
    const auto address = static_cast<std::uint32_t>(choices.number(4));
    const auto count = static_cast<std::uint16_t>(choices.byte() * 2);
    const Bytes read = Gvcp::encodeReadMemory(id, address, count);
    checkCommand(read, 0x0084, 8, id);
    KESTRO_EXPECT(bigAt(read, 8, 4) == address && bigAt(read, 12, 4) == count);
    const Bytes data(count, 7);
    const Bytes write = Gvcp::encodeWriteMemory(id, address, data);
    checkCommand(write, 0x0086, 4U + count, id);
    KESTRO_EXPECT(bigAt(write, 8, 4) == address);
    checkCommand(Gvcp::encodeReadRegister(id, address), 0x0080, 4, id);
    checkCommand(Gvcp::encodeWriteRegister(id, address, count), 0x0082, 8, id);
    checkCommand(Gvcp::encodeDiscovery(id, choices.flag()), 0x0002, 0, id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.below(4)) {
        case 0:
            checkDatagram(exactly(choices.rest()));
            break;
        case 1:
            checkDatagram(withHeader(choices));
            break;
        case 2:
            checkDatagram(eventRow(choices));
            break;
        default:
            checkCommands(choices);
            break;
    }
    return 0;
}
