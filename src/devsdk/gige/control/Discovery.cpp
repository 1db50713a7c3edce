// SPDX-License-Identifier: Apache-2.0
#include "Discovery.h"

#include "DeviceLog.h"
#include "Environment.h"
#include "LastError.h"

#include <poll.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kForceIpId = 0xfffd;  // neither of those in questions

/** After the last new answer, time for a straggler. */
constexpr auto kQuietTime = 250ms;
/** An answer that waited longer than this in a socket says little about now. */
constexpr auto kOldestAnswer = 10s;
// Bounds for a network that floods us.
constexpr int kMostDatagramsAtOnce = 1024;
constexpr std::size_t kMostCameras = 4096;

constexpr int kForceIpAttempts = 3;
constexpr auto kForceIpWait = 400ms;

constexpr Ipv4 kEverybody{0xffffffff};

std::chrono::milliseconds until(Clock::time_point deadline) {
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()));
}

/** Waits for a datagram at one of the ports. */
void waitForAnswer(std::span<const BroadcastPort> ports, Clock::time_point deadline) {
    std::vector<pollfd> waiting;
    for (const BroadcastPort& port : ports) {
        for (const int fd : port.fds()) waiting.push_back({fd, POLLIN, 0});
    }
    ::poll(waiting.data(), waiting.size(), static_cast<int>(until(deadline).count()));
}

/** The status in a FORCEIP answer; empty for any other datagram. */
std::optional<std::uint16_t> decodeForceIpStatus(ByteView datagram) {
    const auto answer = Gvcp::decodeAcknowledge(datagram);
    if (!answer || answer->id != kForceIpId ||
        answer->command != Gvcp::acknowledgeOf(Gvcp::Command::forceIp))
        return std::nullopt;
    return answer->status;
}

/** What `match` makes of the first datagram before the deadline of which it makes anything. */
template <typename Match>
auto awaitMatch(const BroadcastPort& port, Clock::time_point deadline, Match match)
    -> decltype(match(ByteView{})) {
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> buffer;
    while (Clock::now() < deadline) {
        const auto datagram = port.receive(buffer);
        if (!datagram) {
            waitForAnswer({&port, 1}, deadline);
            continue;
        }
        if (auto matched = match(*datagram)) return matched;
    }
    return std::nullopt;
}

/** Of two ways to one camera, the one in whose subnet it is. */
bool isBetterWay(const FoundDevice& candidate, const FoundDevice& present) {
    return candidate.via.reaches(candidate.device.address) &&
           !present.via.reaches(present.device.address);
}

/** The local address from which the system would send to `address`; zero when there is no way. */
Ipv4 sourceAddressFor(Ipv4 address) {
    UdpSocket probe;
    if (!probe.open({}) || !probe.connect({address, Gvcp::kPort})) return {};
    return probe.local().address;
}

}  // namespace

DeviceIdentity identityOf(const Gvcp::Announcement& device) {
    return {device.mac, device.manufacturer, device.serial};
}

std::optional<FoundDevice> decodeAnswer(ByteView datagram, const HostInterface& via) {
    const auto answer = Gvcp::decodeAcknowledge(datagram);
    if (!answer || answer->status != Gvcp::kStatusSuccess) return std::nullopt;
    if (answer->command != Gvcp::acknowledgeOf(Gvcp::Command::discovery)) return std::nullopt;
    if (answer->id != kBroadcastQuestion && answer->id != kAddressedQuestion) return std::nullopt;
    auto device = Gvcp::decodeAnnouncement(answer->payload);
    if (!device) return std::nullopt;
    return FoundDevice{std::move(*device), via, answer->id == kAddressedQuestion};
}

const BroadcastPort* portTowards(const std::vector<BroadcastPort>& ports, Ipv4 address) {
    const Ipv4 source = sourceAddressFor(address);
    const auto port = std::ranges::find_if(
        ports, [=](const BroadcastPort& each) { return each.via().address == source; });
    return port == ports.end() ? nullptr : &*port;
}

std::optional<BroadcastPort> BroadcastPort::open(const HostInterface& via) {
    BroadcastPort port;
    port.via_ = via;
    if (!port.direct_.open({via.address, 0})) return std::nullopt;
    if (!port.broadcast_.open({kEverybody, port.direct_.local().port})) return std::nullopt;
    return port;
}

bool BroadcastPort::broadcast(ByteView packet) const {
    if (!via_.canBroadcast) return false;
    // The socket's own address chooses the interface, also for 255.255.255.255, which no route
    // names.
    const bool toEverybody = direct_.sendTo(packet, {kEverybody, Gvcp::kPort});
    const bool toSubnet = direct_.sendTo(packet, {via_.subnetBroadcast(), Gvcp::kPort});
    return toEverybody || toSubnet;
}

bool BroadcastPort::sendTo(ByteView packet, Ipv4 address) const {
    return direct_.sendTo(packet, {address, Gvcp::kPort});
}

std::optional<ByteView> BroadcastPort::receive(std::span<std::uint8_t> buffer) const {
    if (const auto datagram = direct_.receive(buffer)) return datagram;
    return broadcast_.receive(buffer);
}

/** One call's state; what there is to log is kept until no lock is held. */
struct Discovery::Search {
    std::vector<HostInterface> interfaces = runningInterfaces();
    std::vector<Ipv4> addresses = Environment::discoveryAddresses();
    std::chrono::milliseconds timeout = Environment::discoveryTimeout();
    Clock::time_point begin = Clock::now();
    Clock::time_point lastNew{};
    std::map<DeviceIdentity, FoundDevice> found;
    std::vector<std::string> warnings;
    std::vector<std::string> asked;
    std::vector<std::string> answers;

    void add(FoundDevice answer);
    void writeLog() const;
};

void Discovery::Search::add(FoundDevice answer) {
    if (found.size() >= kMostCameras) return;
    // It may have answered to another address than the one it says it has.
    if (std::ranges::find(addresses, answer.device.address) == addresses.end())
        answer.answeredItsAddress = false;
    const auto [present, isNew] = found.try_emplace(identityOf(answer.device), answer);
    if (!isNew) {
        FoundDevice& kept = present->second;
        const bool sameAddress = kept.device.address == answer.device.address;
        const bool reached = kept.answeredItsAddress || answer.answeredItsAddress;
        // Of two answers that came the same way, the later one is about now.
        if (answer.via == kept.via || isBetterWay(answer, kept)) kept = std::move(answer);
        if (sameAddress) kept.answeredItsAddress = reached;
        return;
    }
    lastNew = Clock::now();
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(lastNew - begin).count();
    char after[32];
    std::snprintf(after, sizeof after, "%.3f ms", static_cast<double>(microseconds) / 1000);
    answers.push_back(answer.device.manufacturer + ":" + answer.device.serial + " at " +
                      answer.device.address.text() + " through " + answer.via.name + " after " +
                      after);
}

void Discovery::Search::writeLog() const {
    for (const std::string& warning : warnings) Environment::warnOnce(warning);
    for (const std::string& via : asked) GIGE_TRACE("cameras asked through %s", via.c_str());
    for (const std::string& answer : answers) GIGE_TRACE("camera answered: %s", answer.c_str());
}

std::optional<std::vector<FoundDevice>> Discovery::run() {
    Search search;
    const bool searched = collect(search);
    search.writeLog();
    if (!searched) {
        setLastError(Error::system, "there is no running IPv4 network interface to search");
        return std::nullopt;
    }
    std::vector<FoundDevice> devices;
    for (auto& [identity, device] : search.found) devices.push_back(std::move(device));
    return devices;
}

bool Discovery::collect(Search& search) {
    const std::lock_guard lock(mutex_);
    openPorts(search);
    if (ports_.empty()) return false;
    forgetOldAnswers();
    search.begin = Clock::now();
    ask(search);
    const auto end = search.begin + search.timeout;
    for (;;) {
        takeAnswers(search);
        const auto close = knownAnswered(search) ? std::min(end, search.lastNew + kQuietTime) : end;
        if (Clock::now() >= close) break;
        waitForAnswer(ports_, close);
    }
    lastEnd_ = Clock::now();
    known_.clear();
    for (const auto& [identity, device] : search.found) known_.insert(identity);
    return true;
}

void Discovery::openPorts(Search& search) {
    const auto& interfaces = search.interfaces;
    std::erase_if(ports_, [&interfaces](const BroadcastPort& port) {
        return std::ranges::find(interfaces, port.via()) == interfaces.end();
    });
    for (const HostInterface& via : interfaces) {
        if (std::ranges::find(ports_, via, &BroadcastPort::via) != ports_.end()) continue;
        if (auto port = BroadcastPort::open(via))
            ports_.push_back(std::move(*port));
        else
            search.warnings.push_back("interface " + via.description() +
                                      " is left out: " + lastErrorMessage());
    }
}

void Discovery::forgetOldAnswers() {
    if (Clock::now() - lastEnd_ < kOldestAnswer) return;
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> buffer;
    for (const BroadcastPort& port : ports_) {
        for (int i = 0; i < kMostDatagramsAtOnce && port.receive(buffer); ++i) {
        }
    }
}

void Discovery::ask(Search& search) {
    const Bytes question = Gvcp::encodeDiscovery(kBroadcastQuestion, true);
    for (const BroadcastPort& port : ports_) {
        if (!port.via().canBroadcast) continue;
        if (port.broadcast(question))
            search.asked.push_back(port.via().description());
        else
            search.warnings.push_back("no broadcast through " + port.via().description() + ": " +
                                      lastErrorMessage());
    }
    const Bytes addressed = Gvcp::encodeDiscovery(kAddressedQuestion, false);
    for (const Ipv4 address : search.addresses) {
        const BroadcastPort* const port = portTowards(ports_, address);
        if (port == nullptr || !port->sendTo(addressed, address))
            search.warnings.push_back("KESTRO_DISCOVERY_ADDRESSES: no way to " + address.text());
    }
}

void Discovery::takeAnswers(Search& search) {
    std::array<std::uint8_t, Gvcp::kMaxPacketBytes> buffer;
    for (const BroadcastPort& port : ports_) {
        for (int i = 0; i < kMostDatagramsAtOnce; ++i) {
            const auto datagram = port.receive(buffer);
            if (!datagram) break;
            if (auto answer = decodeAnswer(*datagram, port.via())) search.add(std::move(*answer));
        }
    }
}

bool Discovery::knownAnswered(const Search& search) const {
    return !search.found.empty() &&
           std::ranges::all_of(known_, [&search](const DeviceIdentity& identity) {
               return search.found.contains(identity);
           });
}

std::optional<FoundDevice> findAgain(const HostInterface& via, const DeviceIdentity& identity,
                                     Ipv4 address, std::chrono::milliseconds timeout) {
    constexpr auto kAskAgain = 200ms;
    const auto port = BroadcastPort::open(via);
    if (!port) return std::nullopt;
    const Bytes question = Gvcp::encodeDiscovery(kBroadcastQuestion, true);
    const auto end = Clock::now() + timeout;
    while (Clock::now() < end) {
        if (!port->broadcast(question)) return std::nullopt;
        auto found =
            awaitMatch(*port, std::min(end, Clock::now() + kAskAgain), [&](ByteView bytes) {
                auto answer = decodeAnswer(bytes, via);
                const bool isIt = answer && identityOf(answer->device) == identity &&
                                  answer->device.address == address;
                return isIt ? std::move(answer) : std::nullopt;
            });
        if (found) return found;
    }
    return std::nullopt;
}

bool sendForceIp(const HostInterface& via, const MacAddress& mac, Ipv4 address, Ipv4 mask,
                 Ipv4 gateway) {
    const auto port = BroadcastPort::open(via);
    if (!port) return false;
    const Bytes request = Gvcp::encodeForceIp(kForceIpId, mac, address, mask, gateway);
    for (int attempt = 0; attempt < kForceIpAttempts; ++attempt) {
        if (!port->broadcast(request)) return false;
        const auto status = awaitMatch(*port, Clock::now() + kForceIpWait, decodeForceIpStatus);
        if (!status) continue;
        if (*status == Gvcp::kStatusSuccess) return true;
        return fail(Error::refused, "the camera refused the address: " + Gvcp::statusText(*status));
    }
    return fail(Error::timeout, "the camera did not acknowledge its new address");
}

}  // namespace Vorda::Gige
