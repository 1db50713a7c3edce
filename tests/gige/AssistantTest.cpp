// SPDX-License-Identifier: Apache-2.0
#include "GigeCamera.h"
#include "LastError.h"
#include "ScriptedCamera.h"
#include "VordaGenICam.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <numeric>

namespace Vorda::Gige {
namespace {

using GenICam::CInternalAssistantEx;
using kestro::test::ScriptedCamera;
using testing::HasSubstr;

constexpr std::uint32_t kRegister = 0xb000;

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

/** A camera, connected, and its assistant. */
class AssistantTest : public testing::Test {
 protected:
    void SetUp() override {
        camera.setMemory(0x48, "Acme");
        camera.setRegister(0x934, 4);
        camera.setDescription("camera.xml", kestro::test::smallDescription());
        FoundDevice found;
        found.device.address = Ipv4{camera.address()};
        found.via = {"lo", Ipv4{0x7f000001}, Ipv4{0xff000000}, {}, {}, 65536, true};
        connected = std::make_shared<GigeCamera>(found, "Acme:1");
        ASSERT_TRUE(connected->connect(2)) << lastErrorMessage();
        assistant = CInternalAssistantEx::getInstance(connected);
        ASSERT_TRUE(assistant);
    }

    ScriptedCamera camera;
    std::shared_ptr<GigeCamera> connected;
    GenICam::TSharedPtr<GenICam::IAssistant> assistant;
};

TEST_F(AssistantTest, PassesRegistersInTheOrderOfTheCamerasBytes) {
    camera.setRegister(kRegister, 0x12345678);
    std::int64_t value = -1;
    std::uint32_t length = 0;
    ASSERT_TRUE(assistant->readReg(kRegister, value, length)) << lastErrorMessage();
    EXPECT_EQ(0x78563412, value);
    EXPECT_EQ(4u, length);
    camera.setRegister(kRegister, 0xff);
    ASSERT_TRUE(assistant->readReg(kRegister, value, length));
    EXPECT_EQ(0xff000000, value);  // not negative
    // The upper half is the sign of the caller's 32 bits.
    ASSERT_TRUE(assistant->writeReg(kRegister, -0x01000000, length)) << lastErrorMessage();
    EXPECT_EQ(0xffu, camera.registerAt(kRegister));
    ASSERT_TRUE(assistant->writeReg(kRegister, 0x78563412, length));
    EXPECT_EQ(0x12345678u, camera.registerAt(kRegister));
}

TEST_F(AssistantTest, PassesBlocksOfAnyLengthAtAnyAddress) {
    std::array<std::uint8_t, 512> block{};
    std::iota(block.begin(), block.end(), std::uint8_t{1});
    for (const std::uint32_t length : {1u, 4u, 16u, 511u, 512u}) {
        for (const std::uint32_t address : {kRegister, kRegister + 3}) {
            camera.setMemory(kRegister, std::string(520, '\x77'));
            std::uint32_t written = length;
            ASSERT_TRUE(assistant->writeMem(address, block.data(), written)) << lastErrorMessage();
            EXPECT_EQ(length, written);
            std::array<std::uint8_t, 520> around{};
            std::uint32_t read = 512;
            ASSERT_TRUE(assistant->readMem(kRegister, around.data(), read)) << lastErrorMessage();
            EXPECT_EQ(512u, read);
            read = 8;
            ASSERT_TRUE(assistant->readMem(kRegister + 512, &around[512], read));
            const std::size_t before = address - kRegister;
            for (std::size_t i = 0; i < around.size(); ++i) {
                const bool isCovered = i >= before && i < before + length;
                ASSERT_EQ(isCovered ? block[i - before] : 0x77, around[i]) << length << " " << i;
            }
        }
    }
}

TEST_F(AssistantTest, RefusesWhatCannotBeARegisterOrABlock) {
    const auto before = camera.requests().size();
    std::array<std::uint8_t, 513> block{};
    std::int64_t value = 0;
    std::uint32_t length = 8;
    EXPECT_FALSE(assistant->writeReg(kRegister, 1, length));
    EXPECT_EQ(Error::invalidArgument, lastError());
    for (std::uint32_t bad : {0u, 513u, 0xffffffffu}) {
        EXPECT_FALSE(assistant->readMem(kRegister, block.data(), bad));
        EXPECT_EQ(Error::invalidArgument, lastError());
        EXPECT_FALSE(assistant->writeMem(kRegister, block.data(), bad));
        EXPECT_EQ(Error::invalidArgument, lastError());
    }
    length = 16;
    EXPECT_FALSE(assistant->readMem(kRegister, nullptr, length));
    EXPECT_FALSE(assistant->writeMem(kRegister, nullptr, length));
    EXPECT_FALSE(assistant->readReg(0x100000000, value, length));
    EXPECT_EQ(Error::invalidArgument, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr("0x100000000"));
    EXPECT_FALSE(assistant->readMem(0xfffffff8, block.data(), length));
    EXPECT_THAT(lastErrorMessage(), HasSubstr("0xfffffff8"));
    EXPECT_EQ(before, camera.requests().size());
}

TEST_F(AssistantTest, SaysWhatTheCameraRefused) {
    camera.refuse(0x10ffc, 0x8003);
    std::int64_t value = 0;
    std::uint32_t length = 4;
    const auto refusal = [](bool done) {
        EXPECT_FALSE(done);
        EXPECT_EQ(Error::refused, lastError());
        EXPECT_THAT(lastErrorMessage(), HasSubstr("0x00010ffc: invalid address (0x8003)"));
    };
    refusal(assistant->readReg(0x10ffc, value, length));
    refusal(assistant->writeReg(0x10ffc, value, length));
    length = 16;
    std::array<std::uint8_t, 16> block{};
    refusal(assistant->readMem(0x10ffc, block.data(), length));
    refusal(assistant->writeMem(0x10ffc, block.data(), length));
}

TEST_F(AssistantTest, NeedsAConnectionAndOutlivesOne) {
    EXPECT_FALSE(CInternalAssistantEx::getInstance(nullptr));
    EXPECT_EQ(Error::invalidArgument, lastError());
    std::int64_t value = 0;
    std::uint32_t length = 0;
    ASSERT_TRUE(connected->disConnect());
    EXPECT_FALSE(assistant->readReg(kRegister, value, length));
    EXPECT_EQ(Error::notConnected, lastError());
    ASSERT_TRUE(connected->connect(2)) << lastErrorMessage();
    EXPECT_TRUE(assistant->readReg(kRegister, value, length));
    camera.setSilent(true);
    EXPECT_FALSE(assistant->readReg(kRegister, value, length));
    EXPECT_EQ(Error::connectionLost, lastError());
    EXPECT_FALSE(assistant->readReg(kRegister, value, length));
    EXPECT_EQ(Error::connectionLost, lastError());
}

}  // namespace
}  // namespace Vorda::Gige
