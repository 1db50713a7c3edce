// SPDX-License-Identifier: Apache-2.0
#include "CameraSearch.h"

#include "Environment.h"
#include "LastError.h"

#include <poll.h>
#include <algorithm>
#include <array>
#include <utility>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;

/** A camera answers its own address at once; then nobody else need be bothered. */
constexpr auto kLastAddressWait = 80ms;
constexpr auto kEverybodyWait = 170ms;
/** A bound for a network that floods us. */
constexpr int kMostDatagramsAtOnce = 1024;

}  // namespace

std::optional<FoundDevice> CameraSearch::run(Ipv4 lastAddress, const Signal& cancelled) {
    const KeepLastError none;
    found_.reset();
    asked_.clear();
    openPorts();
    askOneByOne({lastAddress});
    await(Clock::now() + kLastAddressWait, cancelled);
    if (!isReachable() && !cancelled.isRaised()) {
        askEverybody();
        askOneByOne(Environment::discoveryAddresses());
        await(Clock::now() + kEverybodyWait, cancelled);
    }
    return cancelled.isRaised() ? std::nullopt : std::move(found_);
}

/** Interfaces come and go, for one with a cable out has no address. */
void CameraSearch::openPorts() {
    const auto interfaces = runningInterfaces();
    std::erase_if(ports_, [&interfaces](const BroadcastPort& port) {
        return std::ranges::find(interfaces, port.via()) == interfaces.end();
    });
    for (const HostInterface& via : interfaces) {
        if (std::ranges::find(ports_, via, &BroadcastPort::via) != ports_.end()) continue;
        if (auto port = BroadcastPort::open(via)) ports_.push_back(std::move(*port));
    }
}

void CameraSearch::askOneByOne(const std::vector<Ipv4>& addresses) {
    const Bytes question = Gvcp::encodeDiscovery(kAddressedQuestion, false);
    for (const Ipv4 address : addresses) {
        const BroadcastPort* const port = portTowards(ports_, address);
        if (port == nullptr || !port->sendTo(question, address)) continue;
        asked_.push_back(address);
    }
}

void CameraSearch::askEverybody() const {
    const Bytes question = Gvcp::encodeDiscovery(kBroadcastQuestion, true);
    for (const BroadcastPort& port : ports_) static_cast<void>(port.broadcast(question));
}

void CameraSearch::await(Clock::time_point deadline, const Signal& cancelled) {
    std::vector<pollfd> waiting{{cancelled.fd(), POLLIN, 0}};
    for (const BroadcastPort& port : ports_)
        for (const int fd : port.fds()) waiting.push_back({fd, POLLIN, 0});
    for (;;) {
        takeAnswers();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (isReachable() || cancelled.isRaised() || left <= 0ms) return;
        ::poll(waiting.data(), waiting.size(), static_cast<int>(left.count()));
    }
}

void CameraSearch::takeAnswers() {
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> buffer;
    for (const BroadcastPort& port : ports_) {
        for (int i = 0; i < kMostDatagramsAtOnce && !isReachable(); ++i) {
            const auto datagram = port.receive(buffer);
            if (!datagram) break;
            auto answer = decodeAnswer(*datagram, port.via());
            if (!answer || identityOf(answer->device) != identity_) continue;
            // It may have answered to another address than the one it says it has.
            if (std::ranges::find(asked_, answer->device.address) == asked_.end())
                answer->answeredItsAddress = false;
            found_ = std::move(answer);
        }
    }
}

/** False also for one with an address of a foreign subnet: a better answer may follow. */
bool CameraSearch::isReachable() const {
    return found_ && (found_->answeredItsAddress || found_->via.reaches(found_->device.address));
}

}  // namespace Vorda::Gige
