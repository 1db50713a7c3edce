// SPDX-License-Identifier: Apache-2.0
#include "RegisterMap.h"

#include "CameraClock.h"
#include "RegisterRules.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace kestrosim {
namespace {

std::string localUrl(const std::string& fileName, std::size_t bytes) {
    std::array<char, reg::kUrlBytes> url{};
    std::snprintf(url.data(), url.size(), "Local:%s;%X;%zX", fileName.c_str(),
                  static_cast<unsigned>(reg::kDescription), bytes);
    return url.data();
}

}  // namespace

RegisterMap::RegisterMap(const CameraOptions& options, const NetworkIdentity& identity,
                         std::string_view description, const std::string& fileName)
    : packetSizeMax_(options.faults.packetSizeMax),
      description_(description.begin(), description.end()) {
    layOut();
    fillIdentity(options, fileName);
    fillFeatures(options);
    setAddress(identity);
    settle(values_, values_);
    limitPacketSize(values_);
    if (!isValid(values_)) {
        throw std::runtime_error(
            "a simulated camera's width is a multiple of 4 and at least 64, its height at least "
            "16, its frame rate between 0.1 and 1000 Hz");
    }
    description_.resize((description_.size() + 3) / 4 * 4);
}

void RegisterMap::layOut() {
    forEachRegister([this](std::uint32_t address, const Register& entry) {
        Rights& rights = address < reg::kBootstrapEnd ? bootstrapRights_ : featureRights_;
        const std::uint32_t first = address % RegisterValues::kAreaBytes / 4;
        std::fill_n(rights.begin() + first, entry.size / 4, Right{entry.access, entry.isFrozen});
        if (entry.content == Content::real) values_.setReal(address, entry.initial);
        if (entry.content == Content::word) {
            values_.setWord(address, static_cast<std::uint32_t>(entry.initial));
        }
    });
}

void RegisterMap::fillIdentity(const CameraOptions& options, const std::string& fileName) {
    values_.setText(reg::kManufacturer, 32, "Kestro");
    values_.setText(reg::kModel, 32, "SimReader");
    values_.setText(reg::kDeviceVersion, 32, "1.0.0");
    values_.setText(reg::kManufacturerInfo, 48, "simulated ID reader");
    values_.setText(reg::kSerial, 16, options.serial);
    values_.setText(reg::kUserName, 16, options.userName);
    values_.setText(reg::kFirstUrl, reg::kUrlBytes, localUrl(fileName, description_.size()));
    values_.setWord(reg::kLinkSpeed, static_cast<std::uint32_t>(options.linkMbits));
    store64(values_.at(reg::kTickFrequency), CameraClock::kTicksPerSecond);
}

void RegisterMap::fillFeatures(const CameraOptions& options) {
    values_.setWord(reg::kWidth, options.width);
    values_.setWord(reg::kHeight, options.height);
    values_.setWord(reg::kRoiWidth, options.width);
    values_.setWord(reg::kRoiHeight, options.height);
    values_.setWord(reg::kSensorWidth, options.width);
    values_.setWord(reg::kSensorHeight, options.height);
    values_.setReal(reg::kFrameRate, options.framesPerSecond);
    values_.setWord(reg::kResultFormat, static_cast<std::uint32_t>(options.format));
}

// Without a word: a camera that takes less than its description says.
void RegisterMap::limitPacketSize(RegisterValues& values) const {
    const std::uint32_t word = values.word(reg::kStreamPacketSize);
    if (packetSizeMax_ == 0 || (word & kPacketSizeMask) <= packetSizeMax_) return;
    values.setWord(reg::kStreamPacketSize, (word & ~kPacketSizeMask) | (packetSizeMax_ & ~3U));
}

RegisterMap::Right RegisterMap::rightTo(std::uint32_t address) const {
    if (address < reg::kBootstrapEnd) return bootstrapRights_[address / 4];
    if (address < reg::kFeatures || address >= reg::kFeaturesEnd) return {};
    return featureRights_[(address - reg::kFeatures) / 4];
}

bool RegisterMap::isFrozen(std::uint32_t address) const { return rightTo(address).isFrozen; }

bool RegisterMap::isDescription(std::uint32_t address, std::size_t bytes) const {
    if (address < reg::kDescription) return false;
    const std::size_t offset = address - reg::kDescription;
    return offset <= description_.size() && bytes <= description_.size() - offset;
}

Status RegisterMap::checkRights(std::uint32_t address, std::size_t bytes, Access wanted) const {
    if (isDescription(address, bytes)) {
        return wanted == Access::read ? Status::success : Status::writeProtect;
    }
    for (std::size_t done = 0; done < bytes; done += 4, address += 4) {
        const Access access = rightTo(address).access;
        if (access == Access::none) return Status::invalidAddress;
        if (access < wanted) return Status::writeProtect;
    }
    return Status::success;
}

Status RegisterMap::read(std::uint32_t address, std::span<std::uint8_t> to) const {
    const Status status = checkRights(address, to.size(), Access::read);
    if (status != Status::success) return status;
    if (isDescription(address, to.size())) {
        std::memcpy(to.data(), description_.data() + (address - reg::kDescription), to.size());
        return status;
    }
    const std::lock_guard lock(mutex_);
    std::memcpy(to.data(), values_.at(address), to.size());
    return status;
}

Status RegisterMap::write(std::uint32_t address, std::span<const std::uint8_t> from) {
    const Status status = checkRights(address, from.size(), Access::readWrite);
    if (status != Status::success) return status;
    const std::lock_guard lock(mutex_);
    RegisterValues changed = values_;
    std::memcpy(changed.at(address), from.data(), from.size());
    settle(changed, values_);
    limitPacketSize(changed);
    if (!isValid(changed)) return Status::invalidParameter;
    values_ = changed;
    return status;
}

std::uint32_t RegisterMap::word(std::uint32_t address) const {
    const std::lock_guard lock(mutex_);
    return values_.word(address);
}

void RegisterMap::setWord(std::uint32_t address, std::uint32_t value) {
    const std::lock_guard lock(mutex_);
    values_.setWord(address, value);
}

void RegisterMap::setLong(std::uint32_t address, std::uint64_t value) {
    const std::lock_guard lock(mutex_);
    store64(values_.at(address), value);
}

void RegisterMap::setReal(std::uint32_t address, double value) {
    const std::lock_guard lock(mutex_);
    values_.setReal(address, value);
}

RegisterValues RegisterMap::values() const {
    const std::lock_guard lock(mutex_);
    return values_;
}

void RegisterMap::loadSaved(const RegisterValues& set) {
    const std::lock_guard lock(mutex_);
    forEachRegister([&](std::uint32_t address, const Register& entry) {
        if (entry.isSaved) std::memcpy(values_.at(address), set.at(address), entry.size);
    });
    settle(values_, values_);
}

void RegisterMap::restart() {
    const std::lock_guard lock(mutex_);
    forEachRegister([this](std::uint32_t address, const Register& entry) {
        const bool isSetting = entry.content == Content::word && entry.access == Access::readWrite;
        if (!isSetting || entry.isSaved || entry.isLasting) return;
        values_.setWord(address, static_cast<std::uint32_t>(entry.initial));
    });
}

void RegisterMap::setAddress(const NetworkIdentity& identity) {
    const std::lock_guard lock(mutex_);
    std::copy(identity.mac.begin(), identity.mac.end(), values_.at(reg::kMacHigh) + 2);
    values_.setWord(reg::kCurrentIp, identity.address);
    values_.setWord(reg::kCurrentMask, identity.mask);
    values_.setWord(reg::kCurrentGateway, identity.gateway);
}

StreamSettings RegisterMap::streamSettings() const {
    const std::lock_guard lock(mutex_);
    return streamSettingsOf(values_);
}

}  // namespace kestrosim
