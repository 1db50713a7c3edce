// SPDX-License-Identifier: Apache-2.0
#include "GvcpReader.h"

#include "GigeWire.h"
#include "Registers.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace kestro::bench {

using kestrosim::load32;
using kestrosim::store16;
using kestrosim::store32;

namespace {

constexpr std::uint32_t kPacketSizeMask = 0xffff;
constexpr std::array kWanted = {kestrosim::reg::kStreamDestination, kestrosim::reg::kStreamPort,
                                kestrosim::reg::kStreamPacketSize};
constexpr std::size_t kMessageBytes = kestrosim::kGvcpHeaderBytes + 4 * kWanted.size();
using Message = std::array<std::uint8_t, kMessageBytes>;

Message request() {
    Message message{kestrosim::kGvcpKey, kestrosim::kFlagAcknowledge};
    store16(message.data() + 2, static_cast<std::uint16_t>(kestrosim::Command::readRegister));
    store16(message.data() + 4, 4 * kWanted.size());
    store16(message.data() + 6, 1);
    for (std::size_t i = 0; i < kWanted.size(); ++i)
        store32(message.data() + kestrosim::kGvcpHeaderBytes + 4 * i, kWanted[i]);
    return message;
}

/** False when no answer came that is one. */
bool ask(int socket, std::uint32_t camera, Message& answer) {
    const timeval longest{1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    const sockaddr_in to = socketAddressOf(camera, kestrosim::kGvcpPort);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) return false;
    const Message question = request();
    if (::send(socket, question.data(), question.size(), 0) < 0) return false;
    const ssize_t bytes = ::recv(socket, answer.data(), answer.size(), 0);
    return bytes == static_cast<ssize_t>(answer.size()) && kestrosim::load16(answer.data()) == 0;
}

}  // namespace

sockaddr_in socketAddressOf(std::uint32_t address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

StreamChannel readStreamChannel(std::uint32_t camera) {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    Message answer{};
    const bool isAnswered = ask(socket, camera, answer);
    ::close(socket);
    if (!isAnswered) throw std::runtime_error("a camera does not tell its stream channel");
    const std::uint8_t* const values = answer.data() + kestrosim::kGvcpHeaderBytes;
    return {socketAddressOf(load32(values), static_cast<std::uint16_t>(load32(values + 4))),
            load32(values + 8) & kPacketSizeMask};
}

}  // namespace kestro::bench
