// SPDX-License-Identifier: Apache-2.0
#include "GvcpServer.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::uint32_t kLimitedBroadcast = 0xffffffff;
constexpr std::size_t kDatagramMaxBytes = 65536;
// A flood of datagrams must not keep the thread from its other duties.
constexpr int kDatagramsInARow = 64;

}  // namespace

GvcpServer::GvcpServer(std::uint32_t address, RegisterMap& registers, StreamSender& stream,
                       MessageSender& messages, const Cable& cable, const FaultPlan& faults)
    : registers_(registers),
      stream_(stream),
      messages_(messages),
      cable_(cable),
      wakeDescriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      answers_(faults) {
    if (wakeDescriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    try {
        static_cast<void>(listenAt(address));
    } catch (...) {
        ::close(wakeDescriptor_);
        throw;
    }
}

GvcpServer::~GvcpServer() {
    quit_ = true;
    ::eventfd_write(wakeDescriptor_, 1);
    if (thread_.joinable()) thread_.join();
    ::close(wakeDescriptor_);
}

// Each camera of a host has broadcast sockets of its own: the kernel gives every one of them a
// copy.
UdpSocket GvcpServer::listenAt(std::uint32_t address) {
    UdpSocket own({address, kGvcpPort}, UdpSocket::Sharing::exclusive, cable_);
    const HostInterface network = interfaceOf(address).value_or(HostInterface{});
    std::vector<UdpSocket> broadcasts;
    broadcasts.emplace_back(Endpoint{kLimitedBroadcast, kGvcpPort}, UdpSocket::Sharing::shared,
                            cable_);
    const std::uint32_t subnetBroadcast = address | ~network.mask;
    if (subnetBroadcast != address && subnetBroadcast != kLimitedBroadcast) {
        broadcasts.emplace_back(Endpoint{subnetBroadcast, kGvcpPort}, UdpSocket::Sharing::shared,
                                cable_);
    }
    std::swap(own_, own);
    broadcasts_ = std::move(broadcasts);
    interfaceIndex_ = network.index;
    return own;
}

void GvcpServer::start(GvcpCommands& commands) {
    thread_ = std::thread([this, &commands] { run(commands); });
}

void GvcpServer::loseControl() {
    losesControl_ = true;
    ::eventfd_write(wakeDescriptor_, 1);
}

void GvcpServer::run(GvcpCommands& commands) {
    ::pthread_setname_np(::pthread_self(), "sim-control");
    while (!quit_) {
        std::vector<pollfd> waiting = {{wakeDescriptor_, POLLIN, 0},
                                       {own_.descriptor(), POLLIN, 0}};
        for (const UdpSocket& socket : broadcasts_) {
            waiting.push_back({socket.descriptor(), POLLIN, 0});
        }
        ::poll(waiting.data(), waiting.size(), pollTimeoutMs(commands));
        eventfd_t ignored = 0;
        ::eventfd_read(wakeDescriptor_, &ignored);
        if (losesControl_.exchange(false)) commands.loseControl();
        serveAll(commands);
        answers_.sendDue(own_, AnswerSender::Clock::now());
        commands.expireControl(GvcpCommands::Clock::now());
    }
}

int GvcpServer::pollTimeoutMs(const GvcpCommands& commands) const {
    std::optional<GvcpCommands::Clock::time_point> next = commands.controlExpiry();
    if (const auto answer = answers_.nextDue(); answer && (!next || *answer < *next)) next = answer;
    if (!next) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*next - GvcpCommands::Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

void GvcpServer::serveAll(GvcpCommands& commands) {
    if (!serve(commands, own_)) return;
    for (const UdpSocket& socket : broadcasts_) {
        if (!serve(commands, socket)) return;
    }
}

// False when the sockets were replaced. The camera is at its new address before it acknowledges the
// order to move from the old one.
bool GvcpServer::serve(GvcpCommands& commands, const UdpSocket& socket) {
    std::array<std::uint8_t, kDatagramMaxBytes> buffer;
    const std::span<std::uint8_t> room(buffer);
    const bool isBroadcast = &socket != &own_;
    for (int count = 0; count < kDatagramsInARow && !quit_; ++count) {
        const auto arrival = socket.receive(room);
        if (!arrival) return true;
        const auto datagram = room.first(arrival->bytes);
        const bool isForUs = !isBroadcast || (arrival->interfaceIndex == interfaceIndex_ &&
                                              GvcpCommands::mayBeBroadcast(datagram));
        if (!isForUs) continue;
        auto answer = commands.answer(datagram, arrival->from);
        const auto previous = followForcedAddress(commands);
        if (!answer.empty()) {
            answers_.send(previous ? *previous : own_, arrival->from, std::move(answer));
        }
        if (previous) return false;
    }
    return true;
}

// An address of this host is moved to; with any other the camera stays where it can be heard and
// says what it was given. Returns the socket that it left.
std::optional<UdpSocket> GvcpServer::followForcedAddress(GvcpCommands& commands) {
    const auto address = commands.takeForcedAddress();
    if (!address || *address == own_.local().address) return std::nullopt;
    std::optional<UdpSocket> previous;
    try {
        previous = listenAt(*address);
        stream_.moveTo(*address);
        registers_.setWord(reg::kStreamSourcePort, stream_.sourcePort());
        messages_.moveTo(*address);
    } catch (const std::runtime_error&) {
        return previous;
    }
    return previous;
}

}  // namespace kestrosim
