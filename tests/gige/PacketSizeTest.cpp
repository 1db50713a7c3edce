// SPDX-License-Identifier: Apache-2.0
#include "PacketSize.h"

#include "ApplicationPort.h"
#include "LastError.h"
#include "MemoryPort.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

namespace Vorda::Gige {
namespace {

constexpr std::uint64_t kSizeRegister = 0xd04;
constexpr std::uint32_t kFire = 0x80000000;
constexpr std::uint32_t kWhole = 0x40000000;  // do not fragment
constexpr std::uint32_t kSwapped = 0x20000000;

/** A camera at the far end of a path that takes packets up to a size. */
struct Far {
    std::uint32_t held = 0;           ///< the register
    std::uint32_t pathBytes = 0;      ///< larger packets do not arrive; 0: none is fired
    std::uint32_t step = 1;           ///< sizes are rounded down to it
    std::uint32_t most = 0xffff;      ///< larger sizes are refused
    std::uint32_t kept = 0xffffffff;  ///< bits that the register holds
    int lost = 0;                     ///< so many get lost first
    std::size_t late = 0;             ///< arrive only behind so many others
};

struct FarCamera final : Far, RegisterPort, StreamInlet {
    explicit FarCamera(const Far& far) : Far(far) {}

    int fired = 0;
    bool isWhole = true;  ///< each test packet was fired with the bit for it
    std::deque<std::uint32_t> underway;

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        EXPECT_EQ(address, kSizeRegister);
        value = held;
        return true;
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        EXPECT_EQ(address, kSizeRegister);
        const std::uint32_t size = value & 0xffff;
        if (size > most) return fail(Error::refused, "too large");
        held = ((value & 0xffff0000) | (size - size % step)) & kept;
        if ((value & kFire) != 0) fire();
        return true;
    }
    void fire() {
        ++fired;
        if ((held & kWhole & kept) != (kWhole & kept)) isWhole = false;
        const std::uint32_t size = held & 0xffff;
        if (size <= pathBytes && lost-- <= 0) underway.push_back(size);
    }
    bool readMemory(std::uint64_t, std::span<std::uint8_t>) override { return false; }
    bool writeMemory(std::uint64_t, ByteView) override { return false; }

    std::uint16_t port() const override { return 1; }
    void openFirewall(std::uint16_t) override {}
    std::uint32_t awaitPacket(std::chrono::steady_clock::time_point) override {
        if (underway.size() <= late) return 0;
        const std::uint32_t size = underway.front();
        underway.pop_front();
        return size;
    }
};

struct Case {
    const char* name;
    Far camera;
    PacketSizeBasis basis;
    std::uint32_t after;  ///< the register in the end
    bool isTested = true;
};

class PacketSizes : public testing::TestWithParam<Case> {};

TEST_P(PacketSizes, AreTheLargestThatGetThrough) {
    FarCamera camera(GetParam().camera);
    const std::uint32_t before = camera.held & 0xffff;
    PacketSize chosen;
    ASSERT_TRUE(choosePacketSize(camera, camera, GetParam().basis, chosen));
    EXPECT_EQ(camera.held, GetParam().after);
    EXPECT_EQ(chosen.bytes, GetParam().after & 0xffff);
    EXPECT_EQ(chosen.isChanged, chosen.bytes != before);
    EXPECT_EQ(camera.fired != 0, GetParam().isTested);
    EXPECT_TRUE(camera.isWhole);
}

constexpr PacketSizeLimits kAny;

const Case kCases[] = {
    {"Jumbo", {.held = 1500, .pathBytes = 65535}, {9000, false, kAny}, kWhole | 9000},
    {"LargerInterface", {.held = 1500, .pathBytes = 65535}, {16000, false, kAny}, kWhole | 16000},
    {"InterfaceBeyondTheRegister",
     {.held = 1500, .pathBytes = 65535},
     {65536, false, kAny},
     kWhole | 9000},
    {"OrdinaryInterface", {.held = 9000, .pathBytes = 65535}, {1500, false, kAny}, kWhole | 1500},
    {"InterfaceOfATunnel", {.held = 1500, .pathBytes = 65535}, {1400, false, kAny}, kWhole | 1400},
    {"NarrowPath", {.held = 9000, .pathBytes = 1500}, {9000, false, kAny}, kWhole | 1500},
    {"NarrowestPath", {.held = 9000, .pathBytes = 1000}, {9000, false, kAny}, kWhole | 576},
    {"OneLost", {.held = 1500, .pathBytes = 9000, .lost = 1}, {9000, false, kAny}, kWhole | 9000},
    {"LateOne", {.held = 576, .pathBytes = 9000, .late = 2}, {9000, false, kAny}, kWhole | 9000},
    {"CameraThatRefuses",
     {.held = 1500, .pathBytes = 9000, .most = 4000},
     {9000, false, kAny},
     kWhole | 1500},
    {"CameraThatRounds",
     {.held = 576, .pathBytes = 9000, .step = 16},
     {9000, false, kAny},
     kWhole | 8992},
    {"WithinTheFeature",
     {.held = 576, .pathBytes = 9000},
     {9000, false, {220, 8000, 8}},
     kWhole | 1500},
    {"InStepsOfTheFeature",
     {.held = 576, .pathBytes = 9000},
     {9000, false, {220, 9000, 16}},
     kWhole | 8988},
    {"OtherBits",
     {.held = kSwapped | 1500, .pathBytes = 9000},
     {9000, false, kAny},
     kSwapped | kWhole | 9000},
    {"CameraWithoutTheBit",
     {.held = 1500, .pathBytes = 9000, .kept = 0xffff},
     {9000, false, kAny},
     9000},

    {"NoTestPackets", {.held = 1400}, {9000, false, kAny}, 1400},
    {"NoTestPacketsButTheBit", {.held = kWhole | 1400}, {9000, false, kAny}, kWhole | 1400},
    {"NoTestPacketsAndTooLarge", {.held = 9000}, {4000, false, kAny}, 1500},
    {"NoTestPacketsAndTooSmall", {.held = kFire | 575}, {1400, false, kAny}, 1400},
    {"NothingTaken", {.held = 1400, .most = 0}, {9000, false, kAny}, 1400, false},

    {"Given", {.held = 1400, .pathBytes = 9000}, {9000, true, kAny}, 1400, false},
    {"GivenWithAnOrder",
     {.held = kFire | 1400, .pathBytes = 9000},
     {9000, true, kAny},
     1400,
     false},
    {"GivenTooLarge", {.held = 9000, .pathBytes = 9000}, {4000, true, kAny}, kWhole | 4000},
};

INSTANTIATE_TEST_SUITE_P(, PacketSizes, testing::ValuesIn(kCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(PacketSize, FailsWithACameraThatIsGone) {
    kestro::test::MemoryPort camera;
    camera.fail(Error::connectionLost);
    FarCamera inlet({});
    PacketSize chosen;
    EXPECT_FALSE(choosePacketSize(camera, inlet, {9000, false, kAny}, chosen));
    EXPECT_EQ(Infra::getLastError(), static_cast<int>(Error::connectionLost));
}

TEST(ApplicationPort, NotesEveryWriteToThePacketSize) {
    const auto memory = std::make_shared<kestro::test::MemoryPort>();
    const std::uint8_t bytes[12] = {};
    const auto isNoted = [&](auto write) {
        ApplicationPort port(memory);
        std::uint32_t value = 0;
        EXPECT_TRUE(port.readRegister(kSizeRegister, value) && write(port));
        return port.hasSetPacketSize();
    };
    EXPECT_TRUE(isNoted([](RegisterPort& port) { return port.writeRegister(0xd04, 1500); }));
    EXPECT_TRUE(isNoted([&](RegisterPort& port) { return port.writeMemory(0xd00, bytes); }));
    EXPECT_TRUE(
        isNoted([&](RegisterPort& port) { return port.writeMemory(0xd07, ByteView(bytes, 1)); }));
    EXPECT_FALSE(isNoted([](RegisterPort& port) { return port.writeRegister(0xd00, 1500); }));
    EXPECT_FALSE(isNoted([&](RegisterPort& port) { return port.writeMemory(0xd08, bytes); }));
    memory->fail(Error::refused);
    ApplicationPort port(memory);
    EXPECT_FALSE(port.writeRegister(0xd04, 1500));
    EXPECT_FALSE(port.hasSetPacketSize());
}

}  // namespace
}  // namespace Vorda::Gige
