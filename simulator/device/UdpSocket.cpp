// SPDX-License-Identifier: Apache-2.0
#include "UdpSocket.h"

#include "Cable.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace kestrosim {
namespace {

// The socket interface passes every address family through one pointer type.
const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

std::uint32_t hostAddress(const sockaddr* address) {
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    return ntohl(ipv4.sin_addr.s_addr);
}

[[noreturn]] void failToBind(const Endpoint& local, int reason) {
    std::string text = addressText(local.address) + ": ";
    const std::string port = "UDP port " + std::to_string(local.port);
    if (reason == EADDRINUSE) {
        text += port + " is already in use, perhaps by another simulated camera";
    } else if (reason == EADDRNOTAVAIL) {
        text += "no interface of this host has that address";
    } else {
        text += port + " cannot be used: " + std::strerror(reason);
    }
    throw std::runtime_error(text);
}

void setOption(int descriptor, int level, int option, int value) {
    ::setsockopt(descriptor, level, option, &value, sizeof value);
}

int arrivalInterface(msghdr& message) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != IPPROTO_IP || part->cmsg_type != IP_PKTINFO) continue;
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(part), sizeof info);
        return info.ipi_ifindex;
    }
    return 0;
}

}  // namespace

std::optional<std::uint32_t> parseAddress(const std::string& text) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
    return ntohl(address.s_addr);
}

std::uint32_t requireAddress(const std::string& text) {
    const auto address = parseAddress(text);
    if (!address || *address == 0) throw std::runtime_error(text + " is no IPv4 address");
    return *address;
}

std::string addressText(std::uint32_t address) {
    const in_addr network{htonl(address)};
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &network, text.data(), text.size());
    return text.data();
}

std::optional<HostInterface> interfaceOf(std::uint32_t address) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_netmask == nullptr) continue;
        if (entry->ifa_addr->sa_family != AF_INET) continue;
        const std::uint32_t mask = hostAddress(entry->ifa_netmask);
        if (((hostAddress(entry->ifa_addr) ^ address) & mask) != 0) continue;
        return HostInterface{static_cast<int>(::if_nametoindex(entry->ifa_name)), mask};
    }
    return std::nullopt;
}

std::vector<std::uint32_t> neighboursOf(std::uint32_t address) {
    // All of 127/8 is this host's, listed or not.
    if (address >> 24 == IN_LOOPBACKNET) return {address ^ 0x00ff0000};
    std::vector<std::uint32_t> found;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return found;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        const std::uint32_t other = hostAddress(entry->ifa_addr);
        if (other != address && other >> 24 != IN_LOOPBACKNET) found.push_back(other);
    }
    return found;
}

sockaddr_in socketAddress(const Endpoint& endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    address.sin_addr.s_addr = htonl(endpoint.address);
    return address;
}

UdpSocket::UdpSocket(const Endpoint& local, Sharing sharing, const Cable& cable)
    : descriptor_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), cable_(&cable) {
    if (descriptor_ < 0) failToBind(local, errno);
    if (sharing == Sharing::shared) setOption(descriptor_, SOL_SOCKET, SO_REUSEADDR, 1);
    setOption(descriptor_, SOL_SOCKET, SO_BROADCAST, 1);
    setOption(descriptor_, IPPROTO_IP, IP_PKTINFO, 1);
    const sockaddr_in address = socketAddress(local);
    if (::bind(descriptor_, generic(address), sizeof address) == 0) return;
    const int reason = errno;
    ::close(std::exchange(descriptor_, -1));
    failToBind(local, reason);
}

UdpSocket::~UdpSocket() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

UdpSocket::UdpSocket(UdpSocket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), cable_(other.cable_) {}

UdpSocket& UdpSocket::operator=(UdpSocket&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(cable_, other.cable_);
    return *this;
}

Endpoint UdpSocket::local() const {
    sockaddr_in address{};
    socklen_t bytes = sizeof address;
    if (::getsockname(descriptor_, generic(address), &bytes) != 0) return {};
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

bool UdpSocket::isPlugged() const { return cable_ != nullptr && cable_->isPlugged(); }

bool UdpSocket::sendTo(const Endpoint& to, std::span<const std::uint8_t> datagram) const {
    if (!isPlugged()) return false;
    const sockaddr_in address = socketAddress(to);
    const ssize_t sent = ::sendto(descriptor_, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                  generic(address), sizeof address);
    return sent == static_cast<ssize_t>(datagram.size());
}

std::optional<Arrival> UdpSocket::receive(std::span<std::uint8_t> buffer) const {
    sockaddr_in from{};
    iovec piece{buffer.data(), buffer.size()};
    alignas(cmsghdr) std::array<char, 256> control{};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t bytes = ::recvmsg(descriptor_, &message, MSG_DONTWAIT);
    if (bytes < 0) return std::nullopt;
    return Arrival{isPlugged() ? static_cast<std::size_t>(bytes) : 0,
                   {ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)},
                   arrivalInterface(message)};
}

void UdpSocket::setDontFragment(bool dontFragment) const {
    setOption(descriptor_, IPPROTO_IP, IP_MTU_DISCOVER,
              dontFragment ? IP_PMTUDISC_DO : IP_PMTUDISC_DONT);
}

}  // namespace kestrosim
