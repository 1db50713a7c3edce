// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>

#include "RawStream.h"
#include "Thermometer.h"

namespace rawclient {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kBurstTrigger = 0x100;  // behind the registers of the frame's trigger
constexpr std::uint32_t kTriggerDelay = 0x10060;
constexpr std::uint32_t kBurstFrameCount = 0x10068;
constexpr std::uint32_t kGain = 0x10070;
constexpr std::uint32_t kReset = 0x10080;
constexpr std::uint32_t kSetSelector = 0x10084;
constexpr std::uint32_t kSetLoad = 0x10088;
constexpr std::uint32_t kSetSave = 0x1008c;
constexpr std::uint32_t kSetDefault = 0x10090;
constexpr std::uint32_t kPayloadSize = 0x1001c;
constexpr std::uint32_t kPersistentIp = 0x064c;
constexpr std::uint32_t kBusy = 0x8007;

class Features : public Stream {
 protected:
    void expectNoFrame() { EXPECT_FALSE(receiver_.receive(60)) << "longer than a frame's period"; }

    void saveTo(std::uint32_t userSet) {
        set({{kSetSelector, userSet}, {kSetSave, 1}});
        waitUntilSaved();
    }

    void waitUntilSaved() {
        const auto begin = Clock::now();
        while (client_->read(kSetSave) != 0) {
            ASSERT_LT(Clock::now() - begin, std::chrono::seconds(10));
        }
    }

    std::uint32_t load(std::uint32_t set) {
        EXPECT_EQ(client_->write(kSetSelector, set), 0U);
        return client_->write(kSetLoad, 1);
    }
};

TEST_F(Features, ABurstsTriggerMakesThatManyFrames) {
    open();
    set({{kBurstFrameCount, 3}, {kTriggerMode + kBurstTrigger, 1}});
    EXPECT_EQ(client_->write(kTrigger, 1), 0x800fU) << "the frame's trigger is off";
    set({{kStart, 1}});
    expectNoFrame();
    set({{kTrigger + kBurstTrigger, 1}});
    for (std::uint64_t block = 1; block <= 3; ++block) {
        EXPECT_EQ(nextFrame().packets.front().block, block);
    }
    expectNoFrame();

    set({{kTriggerMode, 1}});  // and each frame of a burst its own
    set({{kTrigger, 1}, {kTrigger + kBurstTrigger, 1}});
    expectNoFrame();
    for (std::uint64_t block = 4; block <= 6; ++block) {
        set({{kTrigger, 1}});
        EXPECT_EQ(nextFrame().packets.front().block, block);
    }
    set({{kTrigger, 1}});
    expectNoFrame();
}

TEST_F(Features, ATriggerTakesEffectAfterItsDelay) {
    open();
    set({{kTriggerMode, 1}});
    writeReal(kTriggerDelay, 80'000);
    set({{kStart, 1}});
    const auto begin = Clock::now();
    set({{kTrigger, 1}});
    nextFrame();
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(80));
}

TEST_F(Features, UserSetsKeepAConfiguration) {
    open();
    const std::uint32_t factoryPayload = client_->read(kPayloadSize);
    set({{kWidth, 64}, {kGain, 33}, {kPersistentIp, 7}});
    saveTo(1);
    set({{kWidth, 128}});
    ASSERT_EQ(load(2), 0U) << "as the camera was switched on";
    EXPECT_EQ(client_->read(kWidth), 320U);
    EXPECT_EQ(client_->read(kPayloadSize), factoryPayload);
    ASSERT_EQ(load(1), 0U);
    EXPECT_EQ(client_->read(kWidth), 64U);
    EXPECT_EQ(client_->read(kGain), 33U);
    EXPECT_EQ(client_->read(kPayloadSize), 64U * 240);
    EXPECT_EQ(client_->read(kPersistentIp), 7U) << "no part of a configuration";
}

TEST_F(Features, UserSetsAreRefusedWhatCannotBe) {
    open();
    set({{kWidth, 64}});
    EXPECT_EQ(client_->write(kSetSave, 1), 0x8004U) << "the factory's";
    set({{kSetSelector, 1}});
    // The factory's again, selected and saved in one go.
    const Bytes words = be32(0) + be32(0) + be32(1);
    EXPECT_EQ(client_->command(kWriteMemory, be32(kSetSelector) + words).status, 0U);
    EXPECT_EQ(client_->read(kSetSave), 0U);
    set({{kSetSelector, 1}, {kSetSave, 1}});
    EXPECT_EQ(client_->read(kSetSave), 1U) << "until it is done";
    EXPECT_EQ(client_->write(kSetSave, 1), kBusy);
    EXPECT_EQ(client_->write(kSetLoad, 1), kBusy);
    waitUntilSaved();
    ASSERT_EQ(load(0), 0U);
    EXPECT_EQ(client_->read(kWidth), 320U);
    set({{kStart, 1}});
    EXPECT_EQ(client_->write(kSetLoad, 1), kBusy);
}

TEST_F(Features, AResetBeginsAnewWithTheDefaultSet) {
    open();
    set({{kWidth, 64}});
    saveTo(2);
    set({{kWidth, 128}, {kSetDefault, 2}, {kPersistentIp, 7}, {kStart, 1}});
    nextFrame();
    set({{kReset, 1}});
    EXPECT_EQ(client_->read(0x0a00), 0U) << "nobody has control";
    EXPECT_EQ(client_->read(0x0d00), 0U) << "the stream channel is closed";
    EXPECT_EQ(client_->read(0x0938), 3000U);
    EXPECT_EQ(client_->read(kWidth), 64U);
    EXPECT_EQ(client_->read(kSetDefault), 2U);
    EXPECT_EQ(client_->read(kPersistentIp), 7U);
    const auto statistics = camera_->camera->statistics();
    while (packetsReceived_ < statistics.packetsSent) nextPacket();
    expectNoFrame();
}

TEST_F(Features, RefuseWhatTheyCannotBe) {
    open();
    const std::pair<std::uint32_t, std::uint32_t> refused[] = {
        {0x10018, 0x01100003},  // PixelFormat: Mono10
        {0x10020, 3},           // AcquisitionMode
        {0x10024, 0},           // AcquisitionFrameCount
        {0x10040, 2},           // TriggerSelector
        {0x10144, 2},           // TriggerMode of the burst
        {0x10050, 7},           // ResultFormat
        {0x10068, 0},           // AcquisitionBurstFrameCount
        {0x10070, 241},         // Gain: over 24 dB
        {0x10084, 3},           // UserSetSelector
        {0x10094, 101},         // ImageCompressionQuality
        {0x10200, 4},           // ChunkSelector
        {0x1021c, 2},           // ChunkEnable of the last chunk
        {0x1025c, 2},           // EventNotification of the last event
        {0x10294, 2},           // ReaderSymbologyEnable of the last symbology
        {0x0d04, 9004}};        // packet size
    for (const auto& [address, value] : refused) {
        const std::uint32_t before = client_->read(address);
        EXPECT_EQ(client_->write(address, value), 0x8002U) << std::hex << address;
        EXPECT_EQ(client_->read(address), before) << std::hex << address;
    }
    EXPECT_EQ(client_->write(0x102b0, 0), 0x8003U) << "there are eight symbologies";
    EXPECT_EQ(client_->write(0x10078, 0), 0x8004U) << "the temperature";
    const Bytes noNumber = be32(0x7ff80000) + be32(0);
    EXPECT_EQ(client_->command(kWriteMemory, be32(kTriggerDelay) + noNumber).status, 0x8002U);
}

TEST(Thermometer, WarmsUpSlowlyAndMoreWithFrames) {
    const auto start = Clock::now();
    kestrosim::Thermometer idle;
    kestrosim::Thermometer busy;
    double before = idle.read(start, 0);
    for (std::uint32_t minute = 1; minute <= 30; ++minute) {
        const double idleNow = idle.read(start + std::chrono::minutes(minute), 0);
        const double busyNow = busy.read(start + std::chrono::minutes(minute), minute * 1200);
        EXPECT_GE(idleNow, before);
        EXPECT_GT(busyNow, idleNow);
        EXPECT_EQ(std::remainder(busyNow, 0.0625), 0);
        before = idleNow;
    }
    EXPECT_LT(before, 60);
}

}  // namespace
}  // namespace rawclient
