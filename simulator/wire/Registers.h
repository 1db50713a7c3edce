// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/** Where the camera's registers lie; the files in description/ name the same addresses. */
namespace kestrosim::reg {

// Bootstrap registers, laid down by the GigE Vision standard.
inline constexpr std::uint32_t kVersion = 0x0000;
inline constexpr std::uint32_t kDeviceMode = 0x0004;
inline constexpr std::uint32_t kMacHigh = 0x0008;
inline constexpr std::uint32_t kMacLow = 0x000c;
inline constexpr std::uint32_t kIpSupported = 0x0010;
inline constexpr std::uint32_t kIpConfiguration = 0x0014;
inline constexpr std::uint32_t kCurrentIp = 0x0024;
inline constexpr std::uint32_t kCurrentMask = 0x0034;
inline constexpr std::uint32_t kCurrentGateway = 0x0044;
inline constexpr std::uint32_t kManufacturer = 0x0048;
inline constexpr std::uint32_t kModel = 0x0068;
inline constexpr std::uint32_t kDeviceVersion = 0x0088;
inline constexpr std::uint32_t kManufacturerInfo = 0x00a8;
inline constexpr std::uint32_t kSerial = 0x00d8;
inline constexpr std::uint32_t kUserName = 0x00e8;
inline constexpr std::uint32_t kDiscoveryBytes = 0x00f8;  ///< a DISCOVERY answer is 0 to here
inline constexpr std::uint32_t kFirstUrl = 0x0200;
inline constexpr std::uint32_t kSecondUrl = 0x0400;
inline constexpr std::uint32_t kUrlBytes = 512;
inline constexpr std::uint32_t kInterfaceCount = 0x0600;
inline constexpr std::uint32_t kPersistentIp = 0x064c;
inline constexpr std::uint32_t kPersistentMask = 0x065c;
inline constexpr std::uint32_t kPersistentGateway = 0x066c;
inline constexpr std::uint32_t kLinkSpeed = 0x0670;
inline constexpr std::uint32_t kMessageChannels = 0x0900;
inline constexpr std::uint32_t kStreamChannels = 0x0904;
inline constexpr std::uint32_t kActionSignals = 0x0908;
inline constexpr std::uint32_t kStreamCapability = 0x092c;
inline constexpr std::uint32_t kMessageCapability = 0x0930;
inline constexpr std::uint32_t kControlCapability = 0x0934;
inline constexpr std::uint32_t kHeartbeatTimeout = 0x0938;
inline constexpr std::uint32_t kTickFrequency = 0x093c;
inline constexpr std::uint32_t kTimestampControl = 0x0944;
inline constexpr std::uint32_t kTimestampValue = 0x0948;
inline constexpr std::uint32_t kControlConfiguration = 0x0954;
inline constexpr std::uint32_t kStreamConfiguration = 0x0960;
inline constexpr std::uint32_t kControlPrivilege = 0x0a00;
inline constexpr std::uint32_t kPrimaryPort = 0x0a04;
inline constexpr std::uint32_t kPrimaryIp = 0x0a14;
inline constexpr std::uint32_t kMessagePort = 0x0b00;
inline constexpr std::uint32_t kMessageDestination = 0x0b10;
inline constexpr std::uint32_t kMessageTimeout = 0x0b14;  ///< ms for an acknowledge
inline constexpr std::uint32_t kMessageRetries = 0x0b18;
inline constexpr std::uint32_t kMessageSourcePort = 0x0b1c;
inline constexpr std::uint32_t kStreamPort = 0x0d00;
inline constexpr std::uint32_t kStreamPacketSize = 0x0d04;
inline constexpr std::uint32_t kStreamPacketDelay = 0x0d08;
inline constexpr std::uint32_t kStreamDestination = 0x0d18;
inline constexpr std::uint32_t kStreamSourcePort = 0x0d1c;
inline constexpr std::uint32_t kBootstrapEnd = 0x1000;

// Features of this camera.
inline constexpr std::uint32_t kFeatures = 0x10000;
inline constexpr std::uint32_t kWidth = 0x10000;
inline constexpr std::uint32_t kHeight = 0x10004;
inline constexpr std::uint32_t kOffsetX = 0x10008;
inline constexpr std::uint32_t kOffsetY = 0x1000c;
inline constexpr std::uint32_t kSensorWidth = 0x10010;
inline constexpr std::uint32_t kSensorHeight = 0x10014;
inline constexpr std::uint32_t kPixelFormat = 0x10018;
inline constexpr std::uint32_t kPayloadSize = 0x1001c;
inline constexpr std::uint32_t kAcquisitionMode = 0x10020;
inline constexpr std::uint32_t kAcquisitionFrameCount = 0x10024;
inline constexpr std::uint32_t kAcquisitionStart = 0x10028;
inline constexpr std::uint32_t kAcquisitionStop = 0x1002c;
inline constexpr std::uint32_t kFrameRate = 0x10030;     ///< double, Hz
inline constexpr std::uint32_t kExposureTime = 0x10038;  ///< double, us
inline constexpr std::uint32_t kTriggerSelector = 0x10040;
inline constexpr std::uint32_t kTriggerMode = 0x10044;
inline constexpr std::uint32_t kTriggerSource = 0x10048;
inline constexpr std::uint32_t kTriggerSoftware = 0x1004c;
inline constexpr std::uint32_t kResultFormat = 0x10050;
inline constexpr std::uint32_t kTransportLocked = 0x10054;
inline constexpr std::uint32_t kFramesSent = 0x10058;
inline constexpr std::uint32_t kExposureMode = 0x1005c;
inline constexpr std::uint32_t kTriggerDelay = 0x10060;  ///< double, us
inline constexpr std::uint32_t kBurstFrameCount = 0x10068;
inline constexpr std::uint32_t kReverseX = 0x1006c;
inline constexpr std::uint32_t kGain = 0x10070;  ///< tenths of a dB
inline constexpr std::uint32_t kBlackLevel = 0x10074;
inline constexpr std::uint32_t kTemperature = 0x10078;  ///< double, degrees Celsius
inline constexpr std::uint32_t kDeviceReset = 0x10080;
inline constexpr std::uint32_t kUserSetSelector = 0x10084;
inline constexpr std::uint32_t kUserSetLoad = 0x10088;
inline constexpr std::uint32_t kUserSetSave = 0x1008c;  ///< stays set until it is done
inline constexpr std::uint32_t kUserSetDefault = 0x10090;
inline constexpr std::uint32_t kCompressionQuality = 0x10094;  ///< of JPEG files, in percent
inline constexpr std::uint32_t kUserData = 0x100c0;
inline constexpr std::uint32_t kUserDataBytes = 64;
// kTriggerMode, kTriggerSource, kTriggerSoftware and kTriggerDelay of the second trigger lie this
// far behind those of the first.
inline constexpr std::uint32_t kTriggerStride = 0x100;
// Chunk control: 4 chunks (barcodes, QR codes, pipeline, scaling), 4 bytes each; 1 is on.
inline constexpr std::uint32_t kChunkSelector = 0x10200;
inline constexpr std::uint32_t kChunkEnable = 0x10210;
// Event control: 4 events (acquisition start, end, frame trigger, reading done), 4 bytes each.
inline constexpr std::uint32_t kEventSelector = 0x10240;
inline constexpr std::uint32_t kEventNotification = 0x10250;
// Reader control.
inline constexpr std::uint32_t kSymbologySelector = 0x10280;
inline constexpr std::uint32_t kSymbologyEnable = 0x10290;  ///< 4 bytes a symbology; 1 is on
inline constexpr std::uint32_t kExpectedCount = 0x102e0;
inline constexpr std::uint32_t kReadTimeout = 0x102e4;  ///< ms
inline constexpr std::uint32_t kRoiEnable = 0x102e8;
inline constexpr std::uint32_t kRoiX = 0x102ec;
inline constexpr std::uint32_t kRoiY = 0x102f0;
inline constexpr std::uint32_t kRoiWidth = 0x102f4;
inline constexpr std::uint32_t kRoiHeight = 0x102f8;
inline constexpr std::uint32_t kLastReading = 0x102fc;
inline constexpr std::uint32_t kFeaturesEnd = 0x11000;

// Of the chunks and events, in the order of their selectors.
inline constexpr std::uint32_t kChunkIds[4] = {0x80000000, 0x80000001, 0x80000003, 0x80000006};
inline constexpr std::uint16_t kEventIds[4] = {0x9001, 0x9002, 0x9003, 0x9004};

inline constexpr std::uint32_t kDescription = 0x100000;  ///< the GenICam text

}  // namespace kestrosim::reg
