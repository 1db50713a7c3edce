// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct sockaddr_in;

namespace kestrosim {

class Cable;

/** An IPv4 address and a UDP port, both in host byte order. */
struct Endpoint {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    bool operator==(const Endpoint&) const = default;
};

/** The network interface that owns an address. */
struct HostInterface {
    int index = 0;
    std::uint32_t mask = 0;
};

/** Parses "127.0.0.2"; empty when the text is no IPv4 address. */
[[nodiscard]] std::optional<std::uint32_t> parseAddress(const std::string& text);
/** The same; throws std::runtime_error when the text is no address of a camera. */
[[nodiscard]] std::uint32_t requireAddress(const std::string& text);
[[nodiscard]] std::string addressText(std::uint32_t address);
/** The interface whose subnet holds the address; 127.0.0.2 is on lo though it is not listed. */
[[nodiscard]] std::optional<HostInterface> interfaceOf(std::uint32_t address);
/** Addresses of this host that packets to the same receivers could come from as well. */
[[nodiscard]] std::vector<std::uint32_t> neighboursOf(std::uint32_t address);
[[nodiscard]] sockaddr_in socketAddress(const Endpoint& endpoint);

/** A datagram's sender and how it came. */
struct Arrival {
    std::size_t bytes = 0;
    Endpoint from;
    int interfaceIndex = 0;
};

/** A bound IPv4 UDP socket at a camera's cable; closed when destroyed. */
class UdpSocket {
 public:
    enum class Sharing : bool { exclusive, shared };

    UdpSocket() = default;
    /** Throws std::runtime_error, naming address, port and reason. Port 0 is any free one. */
    UdpSocket(const Endpoint& local, Sharing sharing, const Cable& cable);
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] Endpoint local() const;
    [[nodiscard]] bool isPlugged() const;
    /** True when the kernel took the whole datagram. */
    [[nodiscard]] bool sendTo(const Endpoint& to, std::span<const std::uint8_t> datagram) const;
    /**
     * Takes a waiting datagram; empty when there is none. A longer one is cut to the buffer, and
     * while the cable is pulled to nothing.
     */
    [[nodiscard]] std::optional<Arrival> receive(std::span<std::uint8_t> buffer) const;
    /** Sets the IP header's do-not-fragment bit. */
    void setDontFragment(bool dontFragment) const;

 private:
    int descriptor_ = -1;
    const Cable* cable_ = nullptr;
};

}  // namespace kestrosim
