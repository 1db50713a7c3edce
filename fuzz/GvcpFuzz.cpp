// SPDX-License-Identifier: Apache-2.0
//
// Datagrams as a camera may send them to the control and the message channel. The first byte
// chooses whether a message's header is there already, so that the fuzzer reaches the events.
#include "Gvcp.h"

#include <cstddef>
#include <cstdint>

namespace {

namespace Gvcp = Vorda::Gige::Gvcp;
using Vorda::Gige::Bytes;
using Vorda::Gige::ByteView;

constexpr std::uint8_t kRaw = 0x80;
constexpr std::uint8_t kIsEventData = 0x02;
constexpr std::uint8_t kFlags = 0x11;

Bytes withHeader(std::uint8_t choice, ByteView payload) {
    Bytes datagram{0x42, static_cast<std::uint8_t>(choice & kFlags)};
    Vorda::Gige::appendU16(datagram, (choice & kIsEventData) != 0 ? 0x00c2 : 0x00c0);
    Vorda::Gige::appendU16(datagram, static_cast<std::uint16_t>(payload.size()));
    Vorda::Gige::appendU16(datagram, 1);
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    return datagram;
}

/** The events must be a row of the datagram's own bytes. */
void checkEvents(const Gvcp::Message& message, ByteView datagram) {
    const std::uint8_t* next = datagram.data() + Gvcp::kHeaderBytes;
    const std::uint8_t* end = datagram.data() + datagram.size();
    for (const Gvcp::Event& event : message.events) {
        if (event.bytes.data() != next || event.bytes.size() > static_cast<std::size_t>(end - next))
            __builtin_trap();
        next += event.bytes.size();
    }
    if (message.events.empty() || message.id == 0) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ByteView rest(data + 1, size - 1);
    const Bytes datagram =
        (data[0] & kRaw) != 0 ? Bytes(rest.begin(), rest.end()) : withHeader(data[0], rest);
    if (const auto message = Gvcp::decodeMessage(datagram)) checkEvents(*message, datagram);
    if (const auto answer = Gvcp::decodeAcknowledge(datagram)) {
        static_cast<void>(Gvcp::decodeAnnouncement(answer->payload));
        static_cast<void>(Gvcp::decodePendingMs(answer->payload));
    }
    return 0;
}
