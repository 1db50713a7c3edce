// SPDX-License-Identifier: Apache-2.0
#include "CameraActions.h"

#include <optional>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::uint32_t kTimestampReset = 0x1;
constexpr std::uint32_t kTimestampLatch = 0x2;
constexpr std::uint32_t kFireTestPacket = 0x80000000;

/** The trigger whose software register that is. */
std::optional<TriggerKind> softwareTriggerAt(std::uint32_t address) {
    if (address == reg::kTriggerSoftware) return TriggerKind::frame;
    if (address == reg::kTriggerSoftware + reg::kTriggerStride) return TriggerKind::burst;
    return std::nullopt;
}

}  // namespace

CameraActions::CameraActions(RegisterMap& registers, CameraClock& clock, StreamSender& stream)
    : registers_(registers), clock_(clock), stream_(stream), userSets_(registers) {}

Status CameraActions::write(std::uint32_t address, Bytes bytes) {
    Status status = mayChange(address, bytes);
    if (status == Status::success) status = registers_.write(address, bytes);
    if (status != Status::success) return status;
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        act(address + static_cast<std::uint32_t>(at), load32(&bytes[at]));
    }
    return status;
}

void CameraActions::catchUp(Clock::time_point now) {
    userSets_.finishSaving(now);
    registers_.setReal(reg::kTemperature,
                       thermometer_.read(now, registers_.word(reg::kFramesSent)));
}

void CameraActions::endSession() {
    stream_.stop();
    for (const std::uint32_t address :
         {reg::kStreamPort, reg::kStreamDestination, reg::kMessagePort, reg::kMessageDestination,
          reg::kTransportLocked}) {
        registers_.setWord(address, 0);
    }
}

bool CameraActions::takeRestart() { return std::exchange(restarted_, false); }

Status CameraActions::mayChange(std::uint32_t address, Bytes bytes) const {
    const bool acquiring = stream_.isAcquiring();
    Status status = Status::success;
    for (std::size_t at = 0; at < bytes.size() && status == Status::success; at += 4) {
        status = acquiring && registers_.isFrozen(address) ? Status::busy : mayStart(address);
        address += 4;
    }
    return status;
}

// Without a channel frames would go nowhere, and a trigger that is off is not waited for.
Status CameraActions::mayStart(std::uint32_t address) const {
    if (address == reg::kAcquisitionStart) {
        return registers_.word(reg::kStreamPort) != 0 ? Status::success
                                                      : Status::wrongConfiguration;
    }
    if (address == reg::kUserSetLoad) {
        const bool isBusy = stream_.isAcquiring() || userSets_.isSaving();
        return isBusy ? Status::busy : Status::success;
    }
    if (address == reg::kUserSetSave) {
        if (userSets_.isSaving()) return Status::busy;
        const bool isFactorys = registers_.word(reg::kUserSetSelector) == UserSets::kFactorySet;
        return isFactorys ? Status::writeProtect : Status::success;
    }
    const auto trigger = softwareTriggerAt(address);
    const bool isIdle = trigger && !registers_.streamSettings().trigger(*trigger).isOn;
    return isIdle ? Status::wrongConfiguration : Status::success;
}

void CameraActions::act(std::uint32_t address, std::uint32_t value) {
    const bool closesChannel = address == reg::kStreamPort && (value & 0xffff) == 0;
    if (closesChannel) {
        stream_.stop();
    } else if (address == reg::kStreamPacketSize && (value & kFireTestPacket) != 0) {
        stream_.sendTestPacket();
    } else if (address == reg::kTimestampControl) {
        actOnClock(value);
    } else if (value == 0 || !command(address)) {
        stream_.settingsChanged();
    }
}

// False when the register is no command's.
bool CameraActions::command(std::uint32_t address) {
    if (const auto trigger = softwareTriggerAt(address)) {
        stream_.trigger(*trigger);
        return true;
    }
    switch (address) {
        case reg::kAcquisitionStart:
            stream_.start();
            return true;
        case reg::kAcquisitionStop:
            stream_.stop();
            return true;
        case reg::kUserSetSave:
            userSets_.beginToSave(registers_.word(reg::kUserSetSelector), Clock::now());
            return true;
        case reg::kUserSetLoad:
            userSets_.load(registers_.word(reg::kUserSetSelector));
            return true;
        case reg::kDeviceReset:
            restart();
            return true;
        default:
            return false;
    }
}

void CameraActions::restart() {
    endSession();
    userSets_.abandonSaving();
    registers_.restart();
    userSets_.load(registers_.word(reg::kUserSetDefault));
    clock_.reset();
    restarted_ = true;
}

void CameraActions::actOnClock(std::uint32_t value) {
    if ((value & kTimestampReset) != 0) clock_.reset();
    if ((value & kTimestampLatch) != 0) registers_.setLong(reg::kTimestampValue, clock_.ticks());
}

}  // namespace kestrosim
