// SPDX-License-Identifier: Apache-2.0
#include "CameraDevice.h"

#include "UdpSocket.h"

#include <charconv>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace kestrosim {
namespace {

std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char letter : text) {
        hash ^= static_cast<std::uint8_t>(letter);
        hash *= 0x100000001b3;
    }
    return hash;
}

// Locally administered, and its own for each serial number at each address.
std::array<std::uint8_t, 6> macOf(const CameraOptions& options) {
    const std::uint64_t hash = hashOf(options.serial + '@' + options.address);
    std::array<std::uint8_t, 6> mac{};
    mac[0] = 0x02;
    for (std::size_t i = 1; i < mac.size(); ++i) mac[i] = static_cast<std::uint8_t>(hash >> 8 * i);
    return mac;
}

std::uint32_t maskOfLength(const std::string& text) {
    unsigned bits = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bits);
    if (error != std::errc() || end != text.data() + text.size() || bits > 32) {
        throw std::runtime_error("/" + text + " is no length of a subnet mask");
    }
    return bits == 0 ? 0 : 0xffffffff << (32 - bits);
}

NetworkIdentity identityOf(const CameraOptions& options, std::uint32_t address) {
    NetworkIdentity identity;
    identity.mac = macOf(options);
    identity.address = address;
    identity.mask = interfaceOf(address).value_or(HostInterface{}).mask;
    if (options.claim.empty()) return identity;
    const std::size_t slash = options.claim.find('/');
    identity.address = requireAddress(options.claim.substr(0, slash));
    if (slash != std::string::npos) identity.mask = maskOfLength(options.claim.substr(slash + 1));
    return identity;
}

const CameraOptions& requireSpeed(const CameraOptions& options) {
    if (options.linkMbits >= 1 && options.linkMbits <= 100'000) return options;
    throw std::runtime_error("a simulated camera's link carries 1 to 100000 Mbit/s");
}

}  // namespace

CameraDevice::CameraDevice(const CameraOptions& options, std::uint32_t address,
                           const Description& text, std::function<void(CameraDevice&)> afterFrame)
    : registers_(requireSpeed(options), identityOf(options, address), text.bytes, text.fileName),
      messages_(address, registers_, clock_, cable_),
      stream_(options, address, registers_, clock_, messages_, cable_),
      commands_(identityOf(options, address), registers_, clock_, stream_,
                options.faults.control.ignoresHeartbeat),
      control_(address, registers_, stream_, messages_, cable_, options.faults) {
    registers_.setWord(reg::kStreamSourcePort, stream_.sourcePort());
    if (afterFrame) {
        stream_.tellWhenSent([this, tell = std::move(afterFrame)] { tell(*this); });
    }
    control_.start(commands_);
}

/** What befalls it after a frame may be the business of the control port, which goes first. */
CameraDevice::~CameraDevice() { stream_.tellWhenSent(nullptr); }

CameraStatistics CameraDevice::statistics() const {
    CameraStatistics statistics = stream_.statistics();
    statistics.commandsAnswered = control_.answers().sent();
    statistics.answerFaults = control_.answers().faults();
    const CommandCounts& counts = commands_.counts();
    statistics.registersRead = counts.registersRead;
    statistics.registersWritten = counts.registersWritten;
    statistics.memoryReads = counts.memoryReads;
    statistics.memoryWrites = counts.memoryWrites;
    statistics.commandsRefused = counts.refused;
    statistics.eventsSent = messages_.eventsSent();
    statistics.eventsAcknowledged = messages_.eventsAcknowledged();
    return statistics;
}

void CameraDevice::suffer(const Incident& incident) {
    switch (incident.kind) {
        case Incident::Kind::blockIdRestart:
            return stream_.restartBlockIds();
        case Incident::Kind::clockJump:
            return clock_.jump(incident.jump);
        case Incident::Kind::eventFlood:
            return messages_.flood(incident.count);
        case Incident::Kind::loseControl:
            return control_.loseControl();
        case Incident::Kind::disconnect:
        case Incident::Kind::powerCycle:
            return;
    }
}

}  // namespace kestrosim
