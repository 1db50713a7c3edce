// SPDX-License-Identifier: Apache-2.0
#include "RegisterMap.h"

#include "CameraClock.h"
#include "Simulator.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::uint32_t kVersion2 = 0x00020000;           // GigE Vision 2.0
constexpr std::uint32_t kModeBigEndianUtf8 = 0x80000001;  // transmitter, character set UTF-8
constexpr std::uint32_t kIpPersistentDhcpLinkLocal = 0x7;
constexpr std::uint32_t kIpLinkLocal = 0x4;

// GVCP capability: user name, serial number, heartbeat can be disabled, link speed, primary
// application's address, resend, WRITEMEM, several registers in one command.
constexpr std::uint32_t kControlCapabilityBits = 0xf8000000 | 0x7;
// GVSP capability: source port register, 16-bit block ids.
constexpr std::uint32_t kStreamCapabilityBits = 0xc0000000;

constexpr std::uint32_t kHeartbeatDefaultMs = 3000;
constexpr std::uint32_t kHeartbeatMinMs = 500;
constexpr std::uint32_t kHeartbeatDisable = 0x1;
constexpr std::uint32_t kExtendedIdsBit = 0x40000000;

constexpr std::uint32_t kPacketSizeDontFragment = 0x40000000;
constexpr std::uint32_t kPacketSizeMask = 0xffff;
constexpr std::uint32_t kPacketSizeDefault = 1500;
constexpr std::uint32_t kPacketSizeMin = 576;
constexpr std::uint32_t kPacketSizeMax = 9000;
constexpr std::uint32_t kPacketDelayMaxTicks = 100'000'000;

constexpr std::uint32_t kWidthMin = 64;
constexpr std::uint32_t kHeightMin = 16;
constexpr std::uint32_t kWidthStep = 4;
constexpr double kFrameRateMin = 0.1;
constexpr double kFrameRateMax = 1000;
constexpr double kExposureMin = 10;
constexpr double kExposureMax = 1'000'000;
constexpr std::uint32_t kModeContinuous = 2;

// A container holds the picture, two block table entries and the results as text; the room for the
// text is fixed so that the size does not depend on what will be read.
constexpr std::uint32_t kContainerRoomBytes = 65536;

bool isBetween(double value, double low, double high) { return value >= low && value <= high; }

std::string localUrl(const std::string& fileName, std::size_t bytes) {
    std::array<char, reg::kUrlBytes> url{};
    std::snprintf(url.data(), url.size(), "Local:%s;%X;%zX", fileName.c_str(),
                  static_cast<unsigned>(reg::kDescription), bytes);
    return url.data();
}

}  // namespace

std::uint8_t* RegisterMap::Areas::at(std::uint32_t address) {
    return const_cast<std::uint8_t*>(std::as_const(*this).at(address));
}

const std::uint8_t* RegisterMap::Areas::at(std::uint32_t address) const {
    if (address < reg::kBootstrapEnd) return bootstrap.data() + address;
    return features.data() + (address - reg::kFeatures);
}

std::uint32_t RegisterMap::Areas::word(std::uint32_t address) const { return load32(at(address)); }

double RegisterMap::Areas::real(std::uint32_t address) const {
    return std::bit_cast<double>(load64(at(address)));
}

void RegisterMap::Areas::setWord(std::uint32_t address, std::uint32_t value) {
    store32(at(address), value);
}

void RegisterMap::Areas::setReal(std::uint32_t address, double value) {
    store64(at(address), std::bit_cast<std::uint64_t>(value));
}

void RegisterMap::Areas::setText(std::uint32_t address, std::size_t bytes, std::string_view text) {
    std::memset(at(address), 0, bytes);
    std::memcpy(at(address), text.data(), std::min(bytes, text.size()));
}

RegisterMap::RegisterMap(const CameraOptions& options, const NetworkIdentity& identity,
                         std::string_view description, const std::string& fileName)
    : description_(description.begin(), description.end()) {
    fillIdentity(options, fileName);
    fillCapabilities(options);
    fillFeatures(options);
    setAddress(identity);
    normalise(values_);
    if (!isValid(values_)) {
        throw std::runtime_error(
            "a simulated camera's width is a multiple of 4 and at least 64, its height at least "
            "16, "
            "its frame rate between 0.1 and 1000 Hz");
    }
    allowAll();
    description_.resize((description_.size() + 3) / 4 * 4);
}

void RegisterMap::fillIdentity(const CameraOptions& options, const std::string& fileName) {
    values_.setWord(reg::kVersion, kVersion2);
    values_.setWord(reg::kDeviceMode, kModeBigEndianUtf8);
    values_.setWord(reg::kIpSupported, kIpPersistentDhcpLinkLocal);
    values_.setWord(reg::kIpConfiguration, kIpLinkLocal);
    values_.setText(reg::kManufacturer, 32, "Kestro");
    values_.setText(reg::kModel, 32, "SimReader");
    values_.setText(reg::kDeviceVersion, 32, "1.0.0");
    values_.setText(reg::kManufacturerInfo, 48, "simulated ID reader");
    values_.setText(reg::kSerial, 16, options.serial);
    values_.setText(reg::kUserName, 16, options.userName);
    values_.setText(reg::kFirstUrl, reg::kUrlBytes, localUrl(fileName, description_.size()));
}

void RegisterMap::fillCapabilities(const CameraOptions& options) {
    values_.setWord(reg::kInterfaceCount, 1);
    values_.setWord(reg::kLinkSpeed, static_cast<std::uint32_t>(options.linkMbits));
    values_.setWord(reg::kStreamChannels, 1);
    values_.setWord(reg::kStreamCapability, kStreamCapabilityBits);
    values_.setWord(reg::kControlCapability, kControlCapabilityBits);
    values_.setWord(reg::kHeartbeatTimeout, kHeartbeatDefaultMs);
    store64(values_.at(reg::kTickFrequency), CameraClock::kTicksPerSecond);
    values_.setWord(reg::kStreamPacketSize, kPacketSizeDefault | kPacketSizeDontFragment);
}

void RegisterMap::fillFeatures(const CameraOptions& options) {
    values_.setWord(reg::kWidth, options.width);
    values_.setWord(reg::kHeight, options.height);
    values_.setWord(reg::kSensorWidth, options.width);
    values_.setWord(reg::kSensorHeight, options.height);
    values_.setWord(reg::kPixelFormat, kPixelFormatMono8);
    values_.setWord(reg::kAcquisitionMode, kModeContinuous);
    values_.setWord(reg::kAcquisitionFrameCount, 1);
    values_.setReal(reg::kFrameRate, options.framesPerSecond);
    values_.setReal(reg::kExposureTime, kNominalExposureMicroseconds);
    values_.setWord(reg::kResultFormat, static_cast<std::uint32_t>(options.format));
}

void RegisterMap::allow(std::uint32_t address, std::uint32_t bytes, Access access) {
    Rights& rights = address < reg::kBootstrapEnd ? bootstrapRights_ : featureRights_;
    const std::uint32_t first = address % kAreaBytes / 4;
    std::fill_n(rights.begin() + first, bytes / 4, access);
}

void RegisterMap::allowAll() {
    allow(0, reg::kDiscoveryBytes, Access::read);
    allow(reg::kFirstUrl, 2 * reg::kUrlBytes, Access::read);
    allow(reg::kTickFrequency, 8, Access::read);
    allow(reg::kTimestampValue, 8, Access::read);
    for (const std::uint32_t address :
         {reg::kInterfaceCount, reg::kLinkSpeed, reg::kMessageChannels, reg::kStreamChannels,
          reg::kActionSignals, reg::kStreamCapability, reg::kMessageCapability,
          reg::kControlCapability, reg::kPrimaryPort, reg::kPrimaryIp, reg::kStreamSourcePort,
          reg::kSensorWidth, reg::kSensorHeight, reg::kPayloadSize, reg::kFramesSent}) {
        allow(address, 4, Access::read);
    }
    for (const std::uint32_t address : {reg::kIpConfiguration,
                                        reg::kPersistentIp,
                                        reg::kPersistentMask,
                                        reg::kPersistentGateway,
                                        reg::kHeartbeatTimeout,
                                        reg::kTimestampControl,
                                        reg::kControlConfiguration,
                                        reg::kStreamConfiguration,
                                        reg::kControlPrivilege,
                                        reg::kStreamPort,
                                        reg::kStreamPacketSize,
                                        reg::kStreamPacketDelay,
                                        reg::kStreamDestination,
                                        reg::kWidth,
                                        reg::kHeight,
                                        reg::kOffsetX,
                                        reg::kOffsetY,
                                        reg::kPixelFormat,
                                        reg::kAcquisitionMode,
                                        reg::kAcquisitionFrameCount,
                                        reg::kAcquisitionStart,
                                        reg::kAcquisitionStop,
                                        reg::kTriggerSelector,
                                        reg::kTriggerMode,
                                        reg::kTriggerSource,
                                        reg::kTriggerSoftware,
                                        reg::kResultFormat,
                                        reg::kTransportLocked}) {
        allow(address, 4, Access::readWrite);
    }
    allow(reg::kUserName, 16, Access::readWrite);
    allow(reg::kFrameRate, 8, Access::readWrite);
    allow(reg::kExposureTime, 8, Access::readWrite);
}

RegisterMap::Access RegisterMap::accessTo(std::uint32_t address) const {
    if (address < reg::kBootstrapEnd) return bootstrapRights_[address / 4];
    if (address < reg::kFeatures || address >= reg::kFeaturesEnd) return Access::none;
    return featureRights_[(address - reg::kFeatures) / 4];
}

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
        const Access access = accessTo(address);
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
    Areas changed = values_;
    std::memcpy(changed.at(address), from.data(), from.size());
    normalise(changed);
    if (!isValid(changed)) return Status::invalidParameter;
    values_ = changed;
    return status;
}

// Bits that only set something going read back as 0, and what the standard lets a device round is
// rounded.
void RegisterMap::normalise(Areas& values) {
    for (const std::uint32_t command : {reg::kAcquisitionStart, reg::kAcquisitionStop,
                                        reg::kTriggerSoftware, reg::kTimestampControl}) {
        values.setWord(command, 0);
    }
    values.setWord(reg::kHeartbeatTimeout,
                   std::max(values.word(reg::kHeartbeatTimeout), kHeartbeatMinMs));
    values.setWord(reg::kStreamPort, values.word(reg::kStreamPort) & 0xffff);
    values.setWord(reg::kStreamPacketSize, values.word(reg::kStreamPacketSize) &
                                               (kPacketSizeDontFragment | (kPacketSizeMask & ~3U)));
    values.setWord(reg::kStreamConfiguration,
                   values.word(reg::kStreamConfiguration) & kExtendedIdsBit);
    values.setWord(reg::kControlConfiguration,
                   values.word(reg::kControlConfiguration) & kHeartbeatDisable);
    const std::uint32_t pictureBytes = values.word(reg::kWidth) * values.word(reg::kHeight);
    const bool container = values.word(reg::kResultFormat) != 0;
    values.setWord(reg::kPayloadSize, pictureBytes + (container ? kContainerRoomBytes : 0));
}

bool RegisterMap::isPictureValid(const Areas& values) {
    const std::uint64_t width = values.word(reg::kWidth);
    const std::uint64_t height = values.word(reg::kHeight);
    const std::uint64_t offsetX = values.word(reg::kOffsetX);
    const std::uint64_t offsetY = values.word(reg::kOffsetY);
    return width >= kWidthMin && height >= kHeightMin && width % kWidthStep == 0 &&
           offsetX % kWidthStep == 0 && width + offsetX <= values.word(reg::kSensorWidth) &&
           height + offsetY <= values.word(reg::kSensorHeight) &&
           values.word(reg::kPixelFormat) == kPixelFormatMono8;
}

bool RegisterMap::isValid(const Areas& values) {
    struct Limit {
        std::uint32_t address, lowest, highest;
    };
    static constexpr Limit kLimits[] = {
        {reg::kAcquisitionMode, 0, kModeContinuous},
        {reg::kAcquisitionFrameCount, 1, 65535},
        {reg::kTriggerSelector, 0, 0},
        {reg::kTriggerMode, 0, 1},
        {reg::kTriggerSource, 0, 0},
        {reg::kResultFormat, 0, 1},
        {reg::kTransportLocked, 0, 1},
        {reg::kStreamPacketDelay, 0, kPacketDelayMaxTicks},
    };
    const bool inLimits = std::all_of(std::begin(kLimits), std::end(kLimits), [&](auto& limit) {
        return isBetween(values.word(limit.address), limit.lowest, limit.highest);
    });
    const std::uint32_t packetBytes = values.word(reg::kStreamPacketSize) & kPacketSizeMask;
    return inLimits && isPictureValid(values) &&
           isBetween(packetBytes, kPacketSizeMin, kPacketSizeMax) &&
           isBetween(values.real(reg::kFrameRate), kFrameRateMin, kFrameRateMax) &&
           isBetween(values.real(reg::kExposureTime), kExposureMin, kExposureMax);
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

void RegisterMap::setAddress(const NetworkIdentity& identity) {
    const std::lock_guard lock(mutex_);
    std::copy(identity.mac.begin(), identity.mac.end(), values_.at(reg::kMacHigh) + 2);
    values_.setWord(reg::kCurrentIp, identity.address);
    values_.setWord(reg::kCurrentMask, identity.mask);
    values_.setWord(reg::kCurrentGateway, identity.gateway);
}

StreamSettings RegisterMap::streamSettings() const {
    const std::lock_guard lock(mutex_);
    const std::uint32_t packetSize = values_.word(reg::kStreamPacketSize);
    StreamSettings settings;
    settings.width = values_.word(reg::kWidth);
    settings.height = values_.word(reg::kHeight);
    settings.offsetX = values_.word(reg::kOffsetX);
    settings.offsetY = values_.word(reg::kOffsetY);
    settings.framesPerSecond = values_.real(reg::kFrameRate);
    settings.exposureMicroseconds = values_.real(reg::kExposureTime);
    settings.triggered = values_.word(reg::kTriggerMode) != 0;
    settings.container = values_.word(reg::kResultFormat) != 0;
    settings.destination = {values_.word(reg::kStreamDestination),
                            static_cast<std::uint16_t>(values_.word(reg::kStreamPort))};
    settings.packetBytes = packetSize & kPacketSizeMask;
    settings.dontFragment = (packetSize & kPacketSizeDontFragment) != 0;
    settings.extendedIds = values_.word(reg::kStreamConfiguration) != 0;
    settings.packetDelayTicks = values_.word(reg::kStreamPacketDelay);
    return settings;
}

}  // namespace kestrosim
