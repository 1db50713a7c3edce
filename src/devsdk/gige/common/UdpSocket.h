// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"
#include "Ipv4.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace Vorda::Gige {

struct Endpoint {
    Ipv4 address;
    std::uint16_t port = 0;
};

/**
 * An IPv4 UDP socket that never blocks; closed when destroyed.
 *
 * Operations that answer bool set the thread's last error on failure. Threads: sending and
 * receiving at once is fine; opening and moving is not.
 */
class UdpSocket {
 public:
    UdpSocket() = default;
    UdpSocket(UdpSocket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UdpSocket& operator=(UdpSocket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~UdpSocket();

    /** Makes the socket, free to broadcast, and binds it; port 0 takes any free one. */
    [[nodiscard]] bool open(const Endpoint& local);
    /** From now on only datagrams from `peer` come in, and send() goes there. */
    [[nodiscard]] bool connect(const Endpoint& peer);
    [[nodiscard]] bool send(ByteView datagram) const;
    [[nodiscard]] bool sendTo(ByteView datagram, const Endpoint& to) const;
    /** A waiting datagram's bytes, cut to the buffer; empty when none waits. */
    [[nodiscard]] std::optional<ByteView> receive(std::span<std::uint8_t> buffer) const;
    /** The same, and who sent it. */
    [[nodiscard]] std::optional<ByteView> receiveFrom(std::span<std::uint8_t> buffer,
                                                      Endpoint& sender) const;

    [[nodiscard]] Endpoint local() const;
    [[nodiscard]] int fd() const { return fd_; }

 private:
    int fd_ = -1;
};

}  // namespace Vorda::Gige
