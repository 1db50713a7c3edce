// SPDX-License-Identifier: Apache-2.0
#include "StreamSettings.h"

#include "RegisterValues.h"

namespace kestrosim {
namespace {

void takePicture(StreamSettings& settings, const RegisterValues& values) {
    settings.width = values.word(reg::kWidth);
    settings.height = values.word(reg::kHeight);
    settings.offsetX = values.word(reg::kOffsetX);
    settings.offsetY = values.word(reg::kOffsetY);
    settings.mirrored = values.word(reg::kReverseX) != 0;
    // With the shutter open all the time, a frame is exposed from the one before it on.
    const bool isTimed = values.word(reg::kExposureMode) == 0;
    settings.exposureMicroseconds =
        isTimed ? values.real(reg::kExposureTime) : 1e6 / values.real(reg::kFrameRate);
    settings.gainDecibels = values.word(reg::kGain) / 10.0;
    settings.blackLevel = values.word(reg::kBlackLevel);
    settings.compressionQuality = values.word(reg::kCompressionQuality);
}

void takeAcquisition(StreamSettings& settings, const RegisterValues& values) {
    settings.framesPerSecond = values.real(reg::kFrameRate);
    settings.burstFrames = values.word(reg::kBurstFrameCount);
    for (std::uint32_t i = 0; i < kTriggerCount; ++i) {
        const std::uint32_t bank = i * reg::kTriggerStride;
        settings.triggers[i].isOn = values.word(reg::kTriggerMode + bank) != 0;
        settings.triggers[i].delay =
            std::chrono::duration<double, std::micro>(values.real(reg::kTriggerDelay + bank));
    }
}

void takeReader(ReaderSettings& reader, const RegisterValues& values) {
    for (std::uint32_t i = 0; i < reader.symbologies.size(); ++i) {
        reader.symbologies[i] = values.word(reg::kSymbologyEnable + 4 * i) != 0;
    }
    reader.expectedCount = values.word(reg::kExpectedCount);
    reader.timeoutMilliseconds = values.word(reg::kReadTimeout);
    reader.hasRegion = values.word(reg::kRoiEnable) != 0;
    reader.region = {values.word(reg::kRoiX), values.word(reg::kRoiY), values.word(reg::kRoiWidth),
                     values.word(reg::kRoiHeight)};
}

void takeResults(StreamSettings& settings, const RegisterValues& values) {
    settings.format = static_cast<ResultFormat>(values.word(reg::kResultFormat));
    for (std::uint32_t i = 0; i < kChunkCount; ++i) {
        settings.chunks[i] = values.word(reg::kChunkEnable + 4 * i) != 0;
    }
}

void takeChannel(StreamSettings& settings, const RegisterValues& values) {
    const std::uint32_t packetSize = values.word(reg::kStreamPacketSize);
    settings.destination = {values.word(reg::kStreamDestination),
                            static_cast<std::uint16_t>(values.word(reg::kStreamPort))};
    settings.packetBytes = packetSize & kPacketSizeMask;
    settings.dontFragment = (packetSize & kPacketSizeDontFragment) != 0;
    settings.extendedIds = values.word(reg::kStreamConfiguration) != 0;
    settings.packetDelayTicks = values.word(reg::kStreamPacketDelay);
}

}  // namespace

StreamSettings streamSettingsOf(const RegisterValues& values) {
    StreamSettings settings;
    takePicture(settings, values);
    takeAcquisition(settings, values);
    takeReader(settings.reader, values);
    takeResults(settings, values);
    takeChannel(settings, values);
    return settings;
}

}  // namespace kestrosim
