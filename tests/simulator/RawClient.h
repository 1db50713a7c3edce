// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Simulator.h"

/** A client that knows the wire and nothing of the simulator. */
namespace rawclient {

using Bytes = std::vector<std::uint8_t>;

inline Bytes be16(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

inline Bytes be32(std::uint32_t value) {
    Bytes bytes = be16(value >> 16);
    for (const std::uint8_t byte : be16(value & 0xffff)) bytes.push_back(byte);
    return bytes;
}

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/** The big endian number of `bytes` bytes at an offset; fails the test when it is not there. */
inline std::uint64_t number(const Bytes& from, std::size_t offset, std::size_t bytes) {
    if (offset + bytes > from.size()) throw std::runtime_error("packet too short");
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value = value << 8 | from[offset + i];
    return value;
}

inline std::uint32_t addressNumber(const std::string& text) {
    return ntohl(inet_addr(text.c_str()));
}

struct Received {
    Bytes bytes;
    std::string from;
};

/** A UDP socket that never leaves the loopback. */
class Socket {
 public:
    explicit Socket(const std::string& address = "127.0.0.1")
        : descriptor_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        const int on = 1;
        const int room = 4 << 20;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
        ::setsockopt(descriptor_, SOL_SOCKET, SO_BINDTODEVICE, "lo", 3);
        sockaddr_in local = socketAddress(address, 0);
        ::bind(descriptor_, reinterpret_cast<sockaddr*>(&local), sizeof local);
        socklen_t bytes = sizeof local;
        ::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&local), &bytes);
        port_ = ntohs(local.sin_port);
    }
    ~Socket() { ::close(descriptor_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    [[nodiscard]] std::uint16_t port() const { return port_; }

    void send(const Bytes& datagram, const std::string& to, std::uint32_t port = 3956) const {
        const sockaddr_in address = socketAddress(to, static_cast<std::uint16_t>(port));
        ::sendto(descriptor_, datagram.data(), datagram.size(), 0,
                 reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    [[nodiscard]] std::optional<Received> receive(int timeoutMs = 5000) const {
        pollfd waiting{descriptor_, POLLIN, 0};
        if (::poll(&waiting, 1, timeoutMs) <= 0) return std::nullopt;
        Received received{Bytes(65536), {}};
        sockaddr_in from{};
        socklen_t bytes = sizeof from;
        const ssize_t count = ::recvfrom(descriptor_, received.bytes.data(), received.bytes.size(),
                                         0, reinterpret_cast<sockaddr*>(&from), &bytes);
        received.bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        received.from = inet_ntoa(from.sin_addr);
        return received;
    }

 private:
    static sockaddr_in socketAddress(const std::string& text, std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = inet_addr(text.c_str());
        return address;
    }

    int descriptor_;
    std::uint16_t port_ = 0;
};

struct Reply {
    std::uint32_t status = 0xffffffff;  ///< as long as nothing was answered
    std::uint32_t command = 0;
    Bytes payload;
};

/** A control application. */
class Client {
 public:
    explicit Client(std::string camera, const std::string& own = "127.0.0.1")
        : camera_(std::move(camera)), socket_(own) {}

    [[nodiscard]] Reply command(std::uint32_t code, const Bytes& payload, int timeoutMs = 5000) {
        nextId();
        socket_.send(header(0x01, code, payload.size()) + payload, camera_);
        return reply(timeoutMs);
    }
    void sendSilent(std::uint8_t flags, std::uint32_t code, const Bytes& payload) {
        nextId();
        socket_.send(header(flags, code, payload.size()) + payload, camera_);
    }
    /** The latest request once more, as it is sent by a client that missed the answer. */
    [[nodiscard]] Reply repeat(std::uint32_t code, const Bytes& payload) {
        --id_;
        return command(code, payload);
    }

    [[nodiscard]] std::uint32_t read(std::uint32_t address) {
        const Reply reply = command(0x0080, be32(address));
        return reply.status == 0 ? static_cast<std::uint32_t>(number(reply.payload, 0, 4)) : 0xdead;
    }
    [[nodiscard]] Bytes readMemory(std::uint32_t address, std::uint32_t count) {
        Bytes payload = command(0x0084, be32(address) + be32(count)).payload;
        if (payload.size() != count + 4) throw std::runtime_error("READMEM refused");
        payload.erase(payload.begin(), payload.begin() + 4);
        return payload;
    }
    [[nodiscard]] std::uint32_t write(std::uint32_t address, std::uint32_t value) {
        return command(0x0082, be32(address) + be32(value)).status;
    }
    [[nodiscard]] const Socket& socket() const { return socket_; }

 private:
    void nextId() { id_ = static_cast<std::uint16_t>(id_ == 0xffff ? 1 : id_ + 1); }
    [[nodiscard]] Bytes header(std::uint8_t flags, std::uint32_t code, std::size_t bytes) const {
        return Bytes{0x42, flags} + be16(code) + be16(static_cast<std::uint32_t>(bytes)) +
               be16(id_);
    }
    [[nodiscard]] Reply reply(int timeoutMs) const {
        const auto received = socket_.receive(timeoutMs);
        if (!received || received->bytes.size() < 8) return {};
        const Bytes& bytes = received->bytes;
        EXPECT_EQ(number(bytes, 4, 2), bytes.size() - 8);
        EXPECT_EQ(number(bytes, 6, 2), id_);
        return {static_cast<std::uint32_t>(number(bytes, 0, 2)),
                static_cast<std::uint32_t>(number(bytes, 2, 2)),
                Bytes(bytes.begin() + 8, bytes.end())};
    }

    std::string camera_;
    Socket socket_;
    std::uint16_t id_ = 100;
};

/** A camera at a loopback address that no other test, of this run or another one, is using. */
struct TestCamera {
    explicit TestCamera(kestrosim::CameraOptions wanted = small()) : options(std::move(wanted)) {
        for (int attempt = 0; attempt < 200 && !camera; ++attempt) {
            options.address = freshAddress();
            try {
                camera = std::make_unique<kestrosim::SimulatedCamera>(options);
            } catch (const std::runtime_error& error) {
                lastError = error.what();
            }
        }
        if (!camera) throw std::runtime_error(lastError);
    }

    static kestrosim::CameraOptions small() {
        kestrosim::CameraOptions options;
        options.width = 320;
        options.height = 240;
        options.scenes = 2;
        options.framesPerSecond = 25;
        options.format = kestrosim::ResultFormat::none;
        return options;
    }
    static std::string freshAddress() {
        static int next = static_cast<int>(::getpid());
        ++next;
        return "127.0.1." + std::to_string(next % 250 + 2);
    }

    kestrosim::CameraOptions options;
    std::unique_ptr<kestrosim::SimulatedCamera> camera;
    std::string lastError;
};

}  // namespace rawclient
