// SPDX-License-Identifier: Apache-2.0
#include "UdpSocket.h"

#include "LastError.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <string>
#include <system_error>

namespace Vorda::Gige {
namespace {

Endpoint fromSystem(const sockaddr_in& address) {
    return {Ipv4{ntohl(address.sin_addr.s_addr)}, ntohs(address.sin_port)};
}

sockaddr_in toSystem(const Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    address.sin_addr.s_addr = htonl(endpoint.address.value);
    return address;
}

/** The sockets API takes every kind of address through one pointer type. */
const sockaddr* general(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

/** Errors that mean that the way to the camera is missing rather than that we did wrong. */
bool isRouteError(int number) {
    return number == ENETUNREACH || number == EHOSTUNREACH || number == ENETDOWN ||
           number == EADDRNOTAVAIL || number == ENODEV;
}

bool failSystem(const char* what, const Endpoint& endpoint) {
    const int number = errno;
    return fail(isRouteError(number) ? Error::notReachable : Error::system,
                std::string(what) + " " + endpoint.address.text() + ":" +
                    std::to_string(endpoint.port) + ": " + std::system_category().message(number));
}

}  // namespace

UdpSocket::~UdpSocket() {
    if (fd_ >= 0) ::close(fd_);
}

bool UdpSocket::open(const Endpoint& local) {
    UdpSocket fresh;
    fresh.fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fresh.fd_ < 0) return failSystem("cannot make a socket for", local);
    const int yes = 1;
    if (::setsockopt(fresh.fd_, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes) != 0)
        return failSystem("cannot broadcast from", local);
    const sockaddr_in address = toSystem(local);
    if (::bind(fresh.fd_, general(address), sizeof address) != 0)
        return failSystem("cannot bind to", local);
    *this = std::move(fresh);
    return true;
}

bool UdpSocket::connect(const Endpoint& peer) {
    const sockaddr_in address = toSystem(peer);
    if (::connect(fd_, general(address), sizeof address) == 0) return true;
    return failSystem("cannot reach", peer);
}

bool UdpSocket::send(ByteView datagram) const {
    if (::send(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL) >= 0) return true;
    // A connected socket reports here that an earlier datagram found nobody listening. The next one
    // may, and whether it did shows in the answer.
    if (errno == ECONNREFUSED && ::send(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL) >= 0)
        return true;
    return failSystem("cannot send from", local());
}

bool UdpSocket::sendTo(ByteView datagram, const Endpoint& to) const {
    const sockaddr_in address = toSystem(to);
    if (::sendto(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL, general(address),
                 sizeof address) >= 0)
        return true;
    return failSystem("cannot send to", to);
}

std::optional<ByteView> UdpSocket::receive(std::span<std::uint8_t> buffer) const {
    const ssize_t bytes = ::recv(fd_, buffer.data(), buffer.size(), 0);
    if (bytes < 0) return std::nullopt;
    return ByteView(buffer.first(static_cast<std::size_t>(bytes)));
}

std::optional<ByteView> UdpSocket::receiveFrom(std::span<std::uint8_t> buffer,
                                               Endpoint& sender) const {
    sockaddr_in address{};
    socklen_t addressBytes = sizeof address;
    const ssize_t bytes = ::recvfrom(fd_, buffer.data(), buffer.size(), 0,
                                     reinterpret_cast<sockaddr*>(&address), &addressBytes);
    if (bytes < 0) return std::nullopt;
    sender = fromSystem(address);
    return ByteView(buffer.first(static_cast<std::size_t>(bytes)));
}

Endpoint UdpSocket::local() const {
    sockaddr_in address{};
    socklen_t bytes = sizeof address;
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &bytes) != 0) return {};
    return fromSystem(address);
}

}  // namespace Vorda::Gige
