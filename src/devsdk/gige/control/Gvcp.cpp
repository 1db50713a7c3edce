// SPDX-License-Identifier: Apache-2.0
#include "Gvcp.h"

#include <algorithm>
#include <cstdio>

namespace Vorda::Gige::Gvcp {
namespace {

constexpr std::uint8_t kKey = 0x42;
constexpr std::uint8_t kAnswerWanted = 0x01;
constexpr std::uint8_t kBroadcastAnswerAllowed = 0x10;  // DISCOVERY, FORCEIP
constexpr std::uint8_t kExtendedIds = 0x10;             // PACKETRESEND, EVENT, EVENTDATA

/** Length of a DISCOVERY answer: the bootstrap registers 0x000 to 0x0f7. */
constexpr std::size_t kAnnouncementBytes = 0xf8;

/**
 * The header of each event; the data of EVENTDATA follow it.
 *
 * | short | extended | field                                     |
 * |-------|----------|-------------------------------------------|
 * |       | 0..1     | bytes of the event with its header, or 0  |
 * | 2..3  | 2..3     | event id                                  |
 * | 4..5  | 4..5     | stream channel, 0xffff: none              |
 * | 6..7  | 8..15    | block id                                  |
 * | 8..15 | 16..23   | timestamp                                 |
 */
constexpr std::size_t kEventHeaderBytes = 16;
constexpr std::size_t kExtendedEventHeaderBytes = 24;

Bytes header(Command command, std::uint8_t flags, std::uint16_t payloadBytes, std::uint16_t id) {
    Bytes packet;
    packet.reserve(kHeaderBytes + payloadBytes);
    packet.push_back(kKey);
    packet.push_back(flags);
    appendU16(packet, static_cast<std::uint16_t>(command));
    appendU16(packet, payloadBytes);
    appendU16(packet, id);
    return packet;
}

struct StatusName {
    std::uint16_t status;
    const char* name;
};

constexpr StatusName kStatusNames[] = {
    {0x0000, "success"},
    {0x0100, "packet resend"},
    {0x8001, "not implemented"},
    {0x8002, "invalid parameter"},
    {0x8003, "invalid address"},
    {0x8004, "write protected"},
    {0x8005, "bad alignment"},
    {0x8006, "access denied"},
    {0x8007, "busy"},
    {0x8008, "local problem"},
    {0x8009, "message mismatch"},
    {0x800a, "invalid protocol"},
    {0x800b, "no message"},
    {0x800c, "packet unavailable"},
    {0x800d, "data overrun"},
    {0x800e, "invalid header"},
    {0x800f, "wrong configuration"},
    {0x8010, "packet not yet available"},
    {0x8011, "packet and previous ones removed"},
    {0x8012, "packet removed from memory"},
    {0x8013, "no reference time"},
    {0x8014, "packet temporarily unavailable"},
    {0x8015, "overflow"},
    {0x8016, "action late"},
    {0x8fff, "error"},
};

}  // namespace

std::string statusText(std::uint16_t status) {
    const auto* known = std::find_if(std::begin(kStatusNames), std::end(kStatusNames),
                                     [=](const StatusName& each) { return each.status == status; });
    char number[16];
    std::snprintf(number, sizeof number, "(0x%04x)", static_cast<unsigned>(status));
    const bool found = known != std::end(kStatusNames);
    return std::string(found ? known->name : "unknown status") + " " + number;
}

Bytes encodeDiscovery(std::uint16_t id, bool allowBroadcastAnswer) {
    const int flags = kAnswerWanted | (allowBroadcastAnswer ? kBroadcastAnswerAllowed : 0);
    return header(Command::discovery, static_cast<std::uint8_t>(flags), 0, id);
}

Bytes encodeForceIp(std::uint16_t id, const MacAddress& mac, Ipv4 address, Ipv4 mask,
                    Ipv4 gateway) {
    Bytes packet = header(Command::forceIp, kAnswerWanted | kBroadcastAnswerAllowed, 56, id);
    appendU16(packet, 0);
    packet.insert(packet.end(), mac.bytes.begin(), mac.bytes.end());
    const auto appendAddress = [&packet](Ipv4 value) {
        packet.insert(packet.end(), 12, 0);
        appendU32(packet, value.value);
    };
    appendAddress(address);
    appendAddress(mask);
    appendAddress(gateway);
    return packet;
}

Bytes encodeReadRegister(std::uint16_t id, std::uint32_t address) {
    Bytes packet = header(Command::readRegister, kAnswerWanted, 4, id);
    appendU32(packet, address);
    return packet;
}

Bytes encodeWriteRegister(std::uint16_t id, std::uint32_t address, std::uint32_t value) {
    Bytes packet = header(Command::writeRegister, kAnswerWanted, 8, id);
    appendU32(packet, address);
    appendU32(packet, value);
    return packet;
}

Bytes encodeReadMemory(std::uint16_t id, std::uint32_t address, std::uint16_t count) {
    Bytes packet = header(Command::readMemory, kAnswerWanted, 8, id);
    appendU32(packet, address);
    appendU16(packet, 0);
    appendU16(packet, count);
    return packet;
}

Bytes encodeWriteMemory(std::uint16_t id, std::uint32_t address, ByteView data) {
    const auto payloadBytes = static_cast<std::uint16_t>(4 + data.size());
    Bytes packet = header(Command::writeMemory, kAnswerWanted, payloadBytes, id);
    appendU32(packet, address);
    packet.insert(packet.end(), data.begin(), data.end());
    return packet;
}

Bytes encodeResend(std::uint16_t id, std::uint16_t channel, const ResendRequest& request) {
    constexpr std::uint32_t kShortPacketIdMask = 0x00ffffff;
    const bool extended = request.extendedIds;
    const std::uint32_t mask = extended ? 0xffffffff : kShortPacketIdMask;
    Bytes packet =
        header(Command::packetResend, extended ? kExtendedIds : 0, extended ? 20 : 12, id);
    appendU16(packet, channel);
    appendU16(packet, extended ? 0 : static_cast<std::uint16_t>(request.blockId));
    appendU32(packet, request.firstPacket & mask);
    appendU32(packet, request.lastPacket & mask);
    if (extended) appendU64(packet, request.blockId);
    return packet;
}

std::optional<Acknowledge> decodeAcknowledge(ByteView datagram) {
    BigEndianReader reader(datagram);
    Acknowledge acknowledge;
    acknowledge.status = reader.u16();
    acknowledge.command = static_cast<Command>(reader.u16());
    const std::uint16_t payloadBytes = reader.u16();
    acknowledge.id = reader.u16();
    acknowledge.payload = reader.take(payloadBytes);
    if (!reader.ok()) return std::nullopt;
    return acknowledge;
}

std::optional<Announcement> decodeAnnouncement(ByteView payload) {
    if (payload.size() < kAnnouncementBytes) return std::nullopt;
    BigEndianReader reader(payload);
    const auto addressAt = [&reader](std::size_t offset) {
        reader.seek(offset);
        return Ipv4{reader.u32()};
    };
    const auto textAt = [&reader](std::size_t offset, std::size_t bytes) {
        reader.seek(offset);
        return reader.text(bytes);
    };
    Announcement device;
    reader.seek(0x0a);
    std::ranges::copy(reader.take(device.mac.bytes.size()), device.mac.bytes.begin());
    device.address = addressAt(0x24);
    device.mask = addressAt(0x34);
    device.gateway = addressAt(0x44);
    device.manufacturer = textAt(0x48, 32);
    device.model = textAt(0x68, 32);
    device.version = textAt(0x88, 32);
    device.information = textAt(0xa8, 48);
    device.serial = textAt(0xd8, 16);
    device.userName = textAt(0xe8, 16);
    return device;
}

namespace {

/** How many of the message's remaining bytes its next event takes; 0 when that cannot be. */
std::size_t nextEventBytes(ByteView rest, Command command, bool isExtended) {
    const std::size_t headerBytes = isExtended ? kExtendedEventHeaderBytes : kEventHeaderBytes;
    if (rest.size() < headerBytes) return 0;
    if (command == Command::event) return headerBytes;
    const std::size_t saidBytes = isExtended ? BigEndianReader(rest).u16() : 0;
    if (saidBytes == 0) return rest.size();  // the only one or the last: it takes what is there
    return saidBytes >= headerBytes && saidBytes <= rest.size() ? saidBytes : 0;
}

/** False when the bytes are not a row of whole events. */
bool takeEvents(ByteView payload, bool isExtended, Message& message) {
    constexpr std::size_t kWordBytes = 4;
    do {
        const std::size_t bytes = nextEventBytes(payload, message.command, isExtended);
        if (bytes == 0) return false;
        BigEndianReader fields(payload);
        fields.seek(2);
        message.events.push_back({fields.u16(), payload.first(bytes)});
        payload = payload.subspan(bytes);
        // Data whose size is odd are filled up to a word, which their size does not count.
    } while (payload.size() >= (message.command == Command::event ? 1 : kWordBytes));
    return true;
}

}  // namespace

std::optional<Message> decodeMessage(ByteView datagram) {
    BigEndianReader reader(datagram);
    const std::uint16_t keyAndFlags = reader.u16();
    Message message;
    message.command = static_cast<Command>(reader.u16());
    const std::uint16_t payloadBytes = reader.u16();
    message.id = reader.u16();
    const ByteView payload = reader.take(payloadBytes);
    const bool isMessage =
        message.command == Command::event || message.command == Command::eventData;
    if (!reader.ok() || !isMessage || keyAndFlags >> 8 != kKey || message.id == 0)
        return std::nullopt;
    message.isAnswerWanted = (keyAndFlags & kAnswerWanted) != 0;
    if (!takeEvents(payload, (keyAndFlags & kExtendedIds) != 0, message)) return std::nullopt;
    return message;
}

Bytes encodeMessageAcknowledge(const Message& message) {
    Bytes packet;
    appendU16(packet, kStatusSuccess);
    appendU16(packet, static_cast<std::uint16_t>(acknowledgeOf(message.command)));
    appendU16(packet, 0);
    appendU16(packet, message.id);
    return packet;
}

std::optional<std::uint16_t> decodePendingMs(ByteView payload) {
    BigEndianReader reader(payload);
    reader.seek(2);
    const std::uint16_t milliseconds = reader.u16();
    if (!reader.ok()) return std::nullopt;
    return milliseconds;
}

}  // namespace Vorda::Gige::Gvcp
