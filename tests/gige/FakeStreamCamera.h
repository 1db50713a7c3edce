// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraLink.h"
#include "LastError.h"
#include "StreamPackets.h"

#include <arpa/inet.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kestro::test {

/** A UDP socket bound to a port of its own. */
class TestSocket {
 public:
    explicit TestSocket(const char* address)
        : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in local = at(address, 0);
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0)
            throw std::runtime_error("cannot bind");
    }
    TestSocket(const TestSocket&) = delete;
    TestSocket& operator=(const TestSocket&) = delete;
    ~TestSocket() { ::close(fd_); }

    void sendTo(std::uint16_t port, const Bytes& bytes) const {
        const sockaddr_in target = at("127.0.0.1", port);
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&target),
                 sizeof target);
    }
    /** Sends packets of one size in one call, as a fast network card hands them over. */
    [[nodiscard]] bool sendTogether(std::uint16_t port, const std::vector<Bytes>& packets) const {
        sockaddr_in target = at("127.0.0.1", port);
        std::vector<iovec> slices;
        for (const Bytes& packet : packets)
            slices.push_back({const_cast<std::uint8_t*>(packet.data()), packet.size()});
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(std::uint16_t))] = {};
        msghdr message{};
        message.msg_name = &target;
        message.msg_namelen = sizeof target;
        message.msg_iov = slices.data();
        message.msg_iovlen = slices.size();
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* segment = CMSG_FIRSTHDR(&message);
        segment->cmsg_level = SOL_UDP;
        segment->cmsg_type = UDP_SEGMENT;
        segment->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
        const auto bytes = static_cast<std::uint16_t>(packets[0].size());
        std::memcpy(CMSG_DATA(segment), &bytes, sizeof bytes);
        return ::sendmsg(fd_, &message, 0) > 0;
    }
    [[nodiscard]] std::uint16_t port() const {
        sockaddr_in local{};
        socklen_t length = sizeof local;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length);
        return ntohs(local.sin_port);
    }
    /** Bytes of the datagram that waits; -1 when none does. */
    [[nodiscard]] long receive() const {
        char byte[16];
        return ::recv(fd_, byte, sizeof byte, MSG_DONTWAIT);
    }

 private:
    static sockaddr_in at(const char* address, std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_addr.s_addr = inet_addr(address);
        result.sin_port = htons(port);
        return result;
    }
    int fd_;
};

/**
 * A camera for the stream alone: sends images on demand from the calling thread, keeps their
 * packets, forgets to send some, and sends them again when asked. Fails on demand.
 */
class FakeStreamCamera : public Vorda::Gige::CameraLink {
 public:
    static constexpr std::uint32_t kPayloadBytes = 4000;
    static constexpr std::uint32_t kPacketBytes = 1036;  // 1000 of payload

    /** Sends an image with an id counted on from 1 at each start; gives the id. */
    std::uint64_t send(const Bytes& image, const std::set<std::size_t>& forgotten = {}) {
        const std::lock_guard lock(mutex_);
        const std::uint64_t id = nextId_++;
        auto packets = PacketWriter{.blockId = id, .stride = 1000, .timestamp = id}.block(image);
        for (std::size_t i = 0; i < packets.size(); ++i)
            if (forgotten.count(i) == 0) socket_.sendTo(port_, packets[i]);
        sent_[id] = std::move(packets);
        return id;
    }
    std::uint16_t hostPort() {
        const std::lock_guard lock(mutex_);
        return port_;
    }
    TestSocket& socket() { return socket_; }

    const char* key() const override { return "Test:1"; }
    Vorda::Gige::Ipv4 cameraAddress() const override { return {address}; }
    Vorda::Gige::Ipv4 hostAddress() const override { return {host}; }
    bool isOnline() const override { return online; }
    bool openStreamChannel(Vorda::Gige::StreamInlet& inlet, Vorda::Gige::StreamSetup& setup,
                           const std::weak_ptr<Vorda::Gige::LinkedStream>& opener = {}) override {
        stream = opener;
        if (failOpen) return Vorda::Gige::fail(Vorda::Gige::Error::refused, "open refused");
        const std::lock_guard lock(mutex_);
        port_ = inlet.port();
        inlet.openFirewall(socket_.port());
        nextId_ = 1;
        setup = {payloadBytes, kPacketBytes, true, false, inBatches};
        ++channelsOpen;
        return true;
    }
    void closeStreamChannel(const std::weak_ptr<Vorda::Gige::LinkedStream>&) override {
        --channelsOpen;
        Vorda::Gige::setLastError(Vorda::Gige::Error::timeout, "close");
    }
    bool startAcquisition() override {
        if (onStart) onStart();
        if (failStart) return Vorda::Gige::fail(Vorda::Gige::Error::refused, "start refused");
        ++acquiring;
        return true;
    }
    bool stopAcquisition(const std::weak_ptr<Vorda::Gige::LinkedStream>&) override {
        if (failStop) return Vorda::Gige::fail(Vorda::Gige::Error::refused, "stop refused");
        --acquiring;
        return true;
    }
    void requestResend(const Vorda::Gige::ResendRequest& request) override {
        if (const auto meanwhile = std::exchange(onResendRequest, {})) meanwhile();
        const std::lock_guard lock(mutex_);
        ++resendRequests;
        const auto block = sent_.find(request.blockId);
        if (block == sent_.end()) return;
        for (std::size_t id = request.firstPacket; id <= request.lastPacket; ++id)
            if (id < block->second.size()) socket_.sendTo(port_, block->second[id]);
    }

    std::uint32_t payloadBytes = kPayloadBytes;
    bool inBatches = true;
    std::uint32_t host = 0x7f000001;
    std::atomic<std::uint32_t> address{0x7f000001};
    std::atomic<bool> online{true};
    bool failOpen = false;
    bool failStart = false;
    std::function<void()> onStart;
    std::function<void()> onResendRequest;            ///< once, on the receiver's thread
    std::weak_ptr<Vorda::Gige::LinkedStream> stream;  ///< the latest that opened the channel
    bool failStop = false;
    std::atomic<int> channelsOpen{0};
    std::atomic<int> acquiring{0};
    std::atomic<int> resendRequests{0};

 private:
    TestSocket socket_{"127.0.0.1"};
    std::mutex mutex_;  // guards all below
    std::uint16_t port_ = 0;
    std::uint64_t nextId_ = 1;
    std::map<std::uint64_t, std::vector<Bytes>> sent_;
};

}  // namespace kestro::test
