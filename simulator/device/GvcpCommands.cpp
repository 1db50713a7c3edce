// SPDX-License-Identifier: Apache-2.0
#include "GvcpCommands.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::uint32_t kHeartbeatDisabled = 0x1;

// FORCEIP: 2 MAC[6] | 20 address | 36 mask | 52 gateway
constexpr std::size_t kForceIpBytes = 56;
// PACKETRESEND: 0 channel16 | 2 block16 | 4 first32 | 8 last32 | extended ids: 12 block64
constexpr std::size_t kResendBytes = 12;
constexpr std::size_t kExtendedResendBytes = 20;

// Acknowledge header: 0 status16 | 2 command16 | 4 payload length16 | 6 request id16
std::vector<std::uint8_t> acknowledge(Status status, std::uint16_t command, std::uint16_t id,
                                      std::span<const std::uint8_t> payload) {
    std::vector<std::uint8_t> bytes(kGvcpHeaderBytes + payload.size());
    store16(bytes.data(), static_cast<std::uint16_t>(status));
    store16(bytes.data() + 2, static_cast<std::uint16_t>(command + 1));
    store16(bytes.data() + 4, static_cast<std::uint16_t>(payload.size()));
    store16(bytes.data() + 6, id);
    std::ranges::copy(payload, bytes.begin() + kGvcpHeaderBytes);
    return bytes;
}

// WRITEREG and WRITEMEM answer with how far they came.
std::vector<std::uint8_t> progress(std::size_t index) {
    return {0, 0, static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index)};
}

bool isAligned(std::uint32_t address, std::size_t bytes) {
    return address % 4 == 0 && bytes % 4 == 0;
}

}  // namespace

GvcpCommands::GvcpCommands(const NetworkIdentity& identity, RegisterMap& registers,
                           CameraClock& clock, StreamSender& stream, bool ignoresHeartbeat)
    : identity_(identity),
      registers_(registers),
      stream_(stream),
      actions_(registers, clock, stream),
      ignoresHeartbeat_(ignoresHeartbeat) {}

bool GvcpCommands::mayBeBroadcast(Bytes datagram) {
    if (datagram.size() < kGvcpHeaderBytes) return false;
    const auto command = static_cast<Command>(load16(&datagram[2]));
    return command == Command::discovery || command == Command::forceIp;
}

std::vector<std::uint8_t> GvcpCommands::answer(Bytes datagram, const Endpoint& from) {
    if (datagram.size() < kGvcpHeaderBytes || datagram[0] != kGvcpKey) return {};
    const Request request{datagram[1], static_cast<Command>(load16(&datagram[2])),
                          load16(&datagram[6]), datagram.subspan(kGvcpHeaderBytes), from};
    const bool isConsistent = load16(&datagram[4]) == request.payload.size() && request.id != 0;
    Answer answer;
    if (isConsistent) {
        const auto now = Clock::now();
        if (isSignOfLife(request)) privilege_.heard(from, now);
        actions_.catchUp(now);
        answer = carryOutOnce(request, datagram);
    } else {
        answer.status = Status::invalidHeader;
    }
    if (answer.status != Status::success) ++counts_.refused;
    if (answer.silent || (request.flags & kFlagAcknowledge) == 0) return {};
    return acknowledge(answer.status, static_cast<std::uint16_t>(request.command), request.id,
                       answer.payload);
}

// A camera that is wrong about it takes orders for one, but no questions.
bool GvcpCommands::isSignOfLife(const Request& request) const {
    const bool isQuestion =
        request.command == Command::readRegister || request.command == Command::readMemory;
    return !(ignoresHeartbeat_ && isQuestion);
}

GvcpCommands::Answer GvcpCommands::carryOutOnce(const Request& request, Bytes datagram) {
    if (request.command != Command::writeRegister && request.command != Command::writeMemory) {
        return carryOut(request);
    }
    const bool isRepeated = request.from == lastWrite_.from &&
                            std::equal(datagram.begin(), datagram.end(),
                                       lastWrite_.datagram.begin(), lastWrite_.datagram.end());
    if (!isRepeated) {
        lastWrite_ = {request.from, {datagram.begin(), datagram.end()}, carryOut(request)};
    }
    return lastWrite_.answer;
}

GvcpCommands::Answer GvcpCommands::carryOut(const Request& request) {
    switch (request.command) {
        case Command::discovery:
            return discovery();
        case Command::forceIp:
            return forceIp(request);
        case Command::packetResend:
            return packetResend(request);
        case Command::readRegister:
            return readRegisters(request);
        case Command::writeRegister:
            return writeRegisters(request);
        case Command::readMemory:
            return readMemory(request);
        case Command::writeMemory:
            return writeMemory(request);
    }
    return {Status::notImplemented, {}, false};
}

GvcpCommands::Answer GvcpCommands::discovery() const {
    Answer answer;
    answer.payload.resize(reg::kDiscoveryBytes);
    answer.status = registers_.read(0, answer.payload);
    return answer;
}

bool GvcpCommands::isForThisCamera(Bytes forceIpPayload) const {
    return std::equal(identity_.mac.begin(), identity_.mac.end(), forceIpPayload.begin() + 2);
}

// A broadcast for one camera: the others stay silent, and so does one that is under control.
GvcpCommands::Answer GvcpCommands::forceIp(const Request& request) {
    if (request.payload.size() != kForceIpBytes || !isForThisCamera(request.payload) ||
        privilege_.isHeld()) {
        return {Status::success, {}, true};
    }
    const std::uint32_t address = load32(&request.payload[20]);
    if (address == 0) return {};  // begin the address configuration anew: it ends as it did
    identity_.address = address;
    identity_.mask = load32(&request.payload[36]);
    identity_.gateway = load32(&request.payload[52]);
    registers_.setAddress(identity_);
    forcedAddress_ = address;
    return {};
}

std::optional<std::uint32_t> GvcpCommands::takeForcedAddress() {
    return std::exchange(forcedAddress_, std::nullopt);
}

// Asked for by whom the stream goes to, from whatever port; the answer is on the stream channel.
GvcpCommands::Answer GvcpCommands::packetResend(const Request& request) {
    const bool extended = (request.flags & kFlagExtendedIds) != 0;
    Answer silent{Status::success, {}, true};
    if (request.payload.size() != (extended ? kExtendedResendBytes : kResendBytes)) return silent;
    const std::uint8_t* const from = request.payload.data();
    const StreamSettings settings = registers_.streamSettings();
    if (settings.destination.port == 0 || settings.destination.address != request.from.address ||
        load16(from) != 0) {
        return silent;
    }
    const std::uint32_t idMask = extended ? 0xffffffff : 0xffffff;
    stream_.resend({extended ? load64(from + 12) : load16(from + 2), load32(from + 4) & idMask,
                    load32(from + 8) & idMask});
    return silent;
}

GvcpCommands::Answer GvcpCommands::readRegisters(const Request& request) {
    Answer answer;
    const std::size_t bytes = request.payload.size();
    if (bytes == 0 || bytes % 4 != 0 || bytes > kGvcpMaxPayloadBytes) {
        return {Status::invalidParameter, {}, false};
    }
    for (std::size_t at = 0; at < bytes; at += 4) {
        std::array<std::uint8_t, 4> value{};
        answer.status = read(request.from, load32(&request.payload[at]), value);
        if (answer.status != Status::success) break;
        answer.payload.insert(answer.payload.end(), value.begin(), value.end());
    }
    counts_.registersRead += answer.payload.size() / 4;
    return answer;
}

GvcpCommands::Answer GvcpCommands::writeRegisters(const Request& request) {
    const std::size_t bytes = request.payload.size();
    if (bytes == 0 || bytes % 8 != 0 || bytes > kGvcpMaxPayloadBytes) {
        return {Status::invalidParameter, progress(0), false};
    }
    std::size_t written = 0;
    Status status = Status::success;
    for (std::size_t at = 0; at < bytes && status == Status::success; at += 8) {
        status =
            write(request.from, load32(&request.payload[at]), request.payload.subspan(at + 4, 4));
        if (status == Status::success) ++written;
    }
    counts_.registersWritten += written;
    return {status, progress(written), false};
}

GvcpCommands::Answer GvcpCommands::readMemory(const Request& request) {
    if (request.payload.size() != 8) return {Status::invalidParameter, {}, false};
    const std::size_t count = load16(&request.payload[6]);
    if (count == 0 || count > kMaxMemoryBytes) return {Status::invalidParameter, {}, false};
    const std::uint32_t address = load32(request.payload.data());
    Answer answer;
    answer.payload.resize(4 + count);
    store32(answer.payload.data(), address);
    answer.status = read(request.from, address, std::span(answer.payload).subspan(4));
    if (answer.status != Status::success) {
        answer.payload.clear();
    } else {
        ++counts_.memoryReads;
    }
    return answer;
}

GvcpCommands::Answer GvcpCommands::writeMemory(const Request& request) {
    const std::size_t bytes = request.payload.size();
    if (bytes < 8 || bytes - 4 > kMaxMemoryBytes) {
        return {Status::invalidParameter, progress(0), false};
    }
    const Status status =
        write(request.from, load32(request.payload.data()), request.payload.subspan(4));
    if (status != Status::success) return {status, progress(0), false};
    ++counts_.memoryWrites;
    return {status, progress(bytes - 4), false};
}

Status GvcpCommands::read(const Endpoint& from, std::uint32_t address, std::span<std::uint8_t> to) {
    if (!isAligned(address, to.size())) return Status::badAlignment;
    // Who has control, everyone may ask.
    if (address != reg::kControlPrivilege && !privilege_.mayRead(from)) return Status::accessDenied;
    return registers_.read(address, to);
}

Status GvcpCommands::write(const Endpoint& from, std::uint32_t address, Bytes bytes) {
    if (!isAligned(address, bytes.size())) return Status::badAlignment;
    if (address == reg::kControlPrivilege && bytes.size() == 4) {
        return writeControl(from, load32(bytes.data()));
    }
    if (!privilege_.isHeldBy(from)) return Status::accessDenied;
    const Status status = actions_.write(address, bytes);
    // Applications lose the camera as if it had been unplugged for a moment.
    if (actions_.takeRestart()) loseControl();
    return status;
}

Status GvcpCommands::writeControl(const Endpoint& from, std::uint32_t value) {
    if (!privilege_.request(from, value)) return Status::accessDenied;
    if (privilege_.isHeld()) {
        publishControl();
    } else {
        loseControl();
    }
    return Status::success;
}

std::optional<GvcpCommands::Clock::time_point> GvcpCommands::controlExpiry() const {
    const bool disabled = (registers_.word(reg::kControlConfiguration) & kHeartbeatDisabled) != 0;
    if (!privilege_.isHeld() || disabled) return std::nullopt;
    return privilege_.lastHeard() +
           std::chrono::milliseconds(registers_.word(reg::kHeartbeatTimeout));
}

void GvcpCommands::expireControl(Clock::time_point now) {
    const auto expiry = controlExpiry();
    if (!expiry || now < *expiry) return;
    loseControl();
    lastWrite_ = {};  // whoever takes the control with the same words again means it
}

// The channels belong to the application that opened them.
void GvcpCommands::loseControl() {
    privilege_.release();
    actions_.endSession();
    publishControl();
}

void GvcpCommands::publishControl() {
    registers_.setWord(reg::kControlPrivilege, privilege_.registerValue());
    registers_.setWord(reg::kPrimaryPort, privilege_.owner().port);
    registers_.setWord(reg::kPrimaryIp, privilege_.owner().address);
}

}  // namespace kestrosim
