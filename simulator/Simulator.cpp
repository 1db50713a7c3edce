// SPDX-License-Identifier: Apache-2.0
#include "Simulator.h"

#include "CameraClock.h"
#include "Description.h"
#include "GvcpCommands.h"
#include "GvcpServer.h"
#include "MessageSender.h"
#include "PictureFolder.h"
#include "RegisterMap.h"
#include "StreamSender.h"
#include "UdpSocket.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

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
std::array<std::uint8_t, 6> macOf(const std::string& serial, std::uint32_t address) {
    const std::uint64_t hash = hashOf(serial + '@' + addressText(address));
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

std::uint32_t requireAddress(const std::string& text) {
    const auto address = parseAddress(text);
    if (!address || *address == 0) throw std::runtime_error(text + " is no IPv4 address");
    return *address;
}

NetworkIdentity identityOf(const CameraOptions& options, std::uint32_t address) {
    NetworkIdentity identity;
    identity.mac = macOf(options.serial, address);
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

/** With a sensor that takes the pictures, if it shows any. */
CameraOptions fitted(CameraOptions options) {
    if (options.imageFolder.empty()) return options;
    const PictureFolder folder(options.imageFolder, {options.width, options.height});
    options.width = folder.sensor().width;
    options.height = folder.sensor().height;
    return options;
}

}  // namespace

// In the order of construction; so the control port closes first and the stream after it.
struct SimulatedCamera::State {
    explicit State(const CameraOptions& options, std::uint32_t address, const Description& text)
        : registers(requireSpeed(options), identityOf(options, address), text.bytes, text.fileName),
          messages(address, registers),
          stream(options, address, registers, clock, messages),
          commands(identityOf(options, address), registers, clock, stream),
          control(address, registers, stream, messages) {
        registers.setWord(reg::kStreamSourcePort, stream.sourcePort());
        control.start(commands);
    }

    CameraClock clock;
    RegisterMap registers;
    MessageSender messages;
    StreamSender stream;
    GvcpCommands commands;
    GvcpServer control;
};

SimulatedCamera::SimulatedCamera(const CameraOptions& options)
    : state_(std::make_unique<State>(fitted(options), requireAddress(options.address),
                                     loadDescription(options.descriptionFile))) {}

SimulatedCamera::~SimulatedCamera() = default;

CameraStatistics SimulatedCamera::statistics() const {
    CameraStatistics statistics = state_->stream.statistics();
    statistics.commandsAnswered = state_->control.commandsAnswered();
    const CommandCounts& counts = state_->commands.counts();
    statistics.registersRead = counts.registersRead;
    statistics.registersWritten = counts.registersWritten;
    statistics.memoryReads = counts.memoryReads;
    statistics.memoryWrites = counts.memoryWrites;
    statistics.commandsRefused = counts.refused;
    statistics.eventsSent = state_->messages.eventsSent();
    statistics.eventsAcknowledged = state_->messages.eventsAcknowledged();
    return statistics;
}

}  // namespace kestrosim
