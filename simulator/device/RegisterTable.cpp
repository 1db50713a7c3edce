// SPDX-License-Identifier: Apache-2.0
#include "RegisterTable.h"

#include "GigeWire.h"
#include "Registers.h"
#include "StreamSettings.h"
#include "Symbologies.h"
#include "UserSets.h"

namespace kestrosim {
namespace {

constexpr double kVersion2 = 0x00020000;           // GigE Vision 2.0
constexpr double kModeBigEndianUtf8 = 0x80000001;  // transmitter, character set UTF-8
constexpr double kIpPersistentDhcpLinkLocal = 0x7;
constexpr double kIpLinkLocal = 0x4;

// GVCP capability: user name, serial number, heartbeat can be disabled, link speed, primary
// application's address; EVENTDATA, EVENT, resend, WRITEMEM, several registers in one command.
constexpr double kControlCapabilityBits = 0xf8000000 | 0x1f;
// GVSP capability: source port register, 16-bit block ids.
constexpr double kStreamCapabilityBits = 0xc0000000;
// Message channel capability: source port register.
constexpr double kMessageCapabilityBits = 0x80000000;

constexpr double kMost = 0xffffffff;
// Of the latest reading: 31-24 status (2: nothing was read), 23-16 codes, 15-0 milliseconds.
constexpr double kNothingRead = 0x02000000;

/** A word that only the camera changes. */
constexpr Register reading(std::uint32_t address, double initial = 0) {
    return {.address = address, .access = Access::read, .initial = initial};
}

constexpr Register readingBytes(std::uint32_t address, std::uint32_t size) {
    return {.address = address, .size = size, .content = Content::bytes, .access = Access::read};
}

constexpr Register bytes(std::uint32_t address, std::uint32_t size) {
    return {.address = address, .size = size, .content = Content::bytes};
}

constexpr Register word(std::uint32_t address, double initial = 0) {
    return {.address = address, .initial = initial};
}

constexpr Register toggle(std::uint32_t address, double initial = 0) {
    return word(address, initial).from(0, 1);
}

/** Sets something going when it is written, and reads as 0. */
constexpr Register command(std::uint32_t address) { return word(address).keeping(0); }

constexpr Register real(std::uint32_t address, double initial) {
    return {.address = address, .size = 8, .content = Content::real, .initial = initial};
}

constexpr Register readingReal(std::uint32_t address) {
    return {.address = address, .size = 8, .content = Content::real, .access = Access::read};
}

constexpr Register kTable[] = {
    // Who the camera is, and the addresses that it has
    readingBytes(reg::kVersion, reg::kDiscoveryBytes),
    reading(reg::kVersion, kVersion2),
    reading(reg::kDeviceMode, kModeBigEndianUtf8),
    reading(reg::kIpSupported, kIpPersistentDhcpLinkLocal),
    word(reg::kIpConfiguration, kIpLinkLocal).lasting(),
    bytes(reg::kUserName, 16),
    readingBytes(reg::kFirstUrl, reg::kUrlBytes),
    readingBytes(reg::kSecondUrl, reg::kUrlBytes),
    reading(reg::kInterfaceCount, 1),
    word(reg::kPersistentIp).lasting(),
    word(reg::kPersistentMask).lasting(),
    word(reg::kPersistentGateway).lasting(),
    reading(reg::kLinkSpeed),

    // What it can do
    reading(reg::kMessageChannels, 1),
    reading(reg::kStreamChannels, 1),
    reading(reg::kActionSignals),
    reading(reg::kStreamCapability, kStreamCapabilityBits),
    reading(reg::kMessageCapability, kMessageCapabilityBits),
    reading(reg::kControlCapability, kControlCapabilityBits),

    // Control and clock
    word(reg::kHeartbeatTimeout, 3000),
    readingBytes(reg::kTickFrequency, 8),
    command(reg::kTimestampControl),
    readingBytes(reg::kTimestampValue, 8),
    word(reg::kControlConfiguration).keeping(0x1),
    word(reg::kControlPrivilege),
    reading(reg::kPrimaryPort),
    reading(reg::kPrimaryIp),

    // Message channel
    word(reg::kMessagePort).keeping(0xffff),
    word(reg::kMessageDestination),
    word(reg::kMessageTimeout, 300),
    word(reg::kMessageRetries, 2).from(0, 255),
    reading(reg::kMessageSourcePort),

    // Stream channel
    word(reg::kStreamConfiguration).keeping(kExtendedIdsBit).frozen(),
    word(reg::kStreamPort).keeping(0xffff),
    word(reg::kStreamPacketSize, 1500 | kPacketSizeDontFragment)
        .keeping(kPacketSizeDontFragment | (kPacketSizeMask & ~3U)),
    word(reg::kStreamPacketDelay).from(0, 100'000'000),
    word(reg::kStreamDestination),
    reading(reg::kStreamSourcePort),
    toggle(reg::kTransportLocked),

    // Device
    readingReal(reg::kTemperature),
    command(reg::kDeviceReset),
    bytes(reg::kUserData, reg::kUserDataBytes),
    word(reg::kUserSetSelector).from(0, UserSets::kSetCount - 1),
    command(reg::kUserSetLoad),
    toggle(reg::kUserSetSave),
    word(reg::kUserSetDefault).from(0, UserSets::kSetCount - 1).lasting(),

    // Image
    word(reg::kWidth).from(64, kMost).inStepsOf(4).saved().frozen(),
    word(reg::kHeight).from(16, kMost).saved().frozen(),
    word(reg::kOffsetX).inStepsOf(4).saved().frozen(),
    word(reg::kOffsetY).saved().frozen(),
    reading(reg::kSensorWidth),
    reading(reg::kSensorHeight),
    word(reg::kPixelFormat, kPixelFormatMono8)
        .from(kPixelFormatMono8, kPixelFormatMono8)
        .saved()
        .frozen(),
    toggle(reg::kReverseX).saved().frozen(),
    word(reg::kGain).from(0, 240).saved(),
    word(reg::kBlackLevel).from(0, 64).saved(),
    word(reg::kCompressionQuality, 90).from(1, 100).saved().frozen(),
    reading(reg::kPayloadSize),

    // Acquisition
    word(reg::kAcquisitionMode, 2).from(0, 2).saved(),
    word(reg::kAcquisitionFrameCount, 1).from(1, 65535).saved(),
    command(reg::kAcquisitionStart),
    command(reg::kAcquisitionStop),
    real(reg::kFrameRate, 10).from(0.1, 1000).saved(),
    real(reg::kExposureTime, kNominalExposureMicroseconds).from(10, 1'000'000).saved(),
    toggle(reg::kExposureMode).saved(),
    word(reg::kBurstFrameCount, 1).from(1, 1000).saved(),
    word(reg::kTriggerSelector).from(0, kTriggerCount - 1),
    toggle(reg::kTriggerMode).times(kTriggerCount, reg::kTriggerStride).saved(),
    word(reg::kTriggerSource).from(0, 0).times(kTriggerCount, reg::kTriggerStride).saved(),
    real(reg::kTriggerDelay, 0)
        .from(0, 1'000'000)
        .times(kTriggerCount, reg::kTriggerStride)
        .saved(),
    command(reg::kTriggerSoftware).times(kTriggerCount, reg::kTriggerStride),
    reading(reg::kFramesSent),

    // Reader
    word(reg::kSymbologySelector).from(0, kSymbologies.size() - 1),
    toggle(reg::kSymbologyEnable, 1).times(kSymbologies.size()).saved(),
    word(reg::kExpectedCount).from(0, 64).saved(),
    word(reg::kReadTimeout, 10'000).from(1, 60'000).saved(),
    reading(reg::kLastReading, kNothingRead),
    toggle(reg::kRoiEnable).saved(),
    word(reg::kRoiX).saved(),
    word(reg::kRoiY).saved(),
    word(reg::kRoiWidth).from(1, kMost).saved(),
    word(reg::kRoiHeight).from(1, kMost).saved(),

    // Results, chunks and events
    word(reg::kResultFormat).from(0, 6).saved().frozen(),
    word(reg::kChunkSelector).from(0, kChunkCount - 1),
    toggle(reg::kChunkEnable, 1).times(kChunkCount).saved().frozen(),
    word(reg::kEventSelector).from(0, kEventCount - 1),
    toggle(reg::kEventNotification).times(kEventCount).saved(),
};

}  // namespace

std::span<const Register> registerTable() { return kTable; }

}  // namespace kestrosim
