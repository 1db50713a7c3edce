// SPDX-License-Identifier: Apache-2.0
#include <kestro/Parameter.h>

#include "CameraFixture.h"

#include <cstdio>
#include <ostream>

namespace kestro::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

#define AT "0xffffffff0000"
#define ERROR_TEXT "[code: 0x0000000b, msg: timeout.]"

constexpr std::uint64_t kAddress = 0xFFFFFFFF00001000;

Bytes counting(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251 + 1);
    return bytes;
}

/** A connected camera whose memory counts up from kAddress: 1, 2, 3 ... 251, 1, 2 ... */
class Registers : public CameraFixture {
 protected:
    Registers() {
        std::uint64_t address = kAddress;
        for (const std::uint8_t byte : counting(2000)) device->script.memory[address++] = byte;
        connect();
        parameter = std::make_unique<ParameterRegister>(camera, kAddress);
        sdk.clearJournal();
    }

    Bytes memory(std::uint64_t address, std::size_t count) {
        Bytes bytes;
        while (count-- > 0) bytes.push_back(device->script.memory[address++]);
        return bytes;
    }

    std::unique_ptr<ParameterRegister> parameter;
};

TEST_F(Registers, HoldTheirValuesInNetworkByteOrder) {
    int value = 0;
    EXPECT_EQ(parameter->setValue(0x12345678), 0);
    EXPECT_EQ(memory(kAddress, 5), (Bytes{0x12, 0x34, 0x56, 0x78, 5}));
    EXPECT_EQ(parameter->getValue(value), 0);
    EXPECT_EQ(value, 0x12345678);
    EXPECT_EQ(parameter->setValue(0xFF), 0);
    EXPECT_EQ(sdk.journal(), (Calls{"writeReg(" AT "1000, 0x78563412, 4)", "readReg(" AT "1000, 0)",
                                    "writeReg(" AT "1000, 0xffffffffff000000, 4)"}))
        << "the reversed value is widened with its sign";
    EXPECT_EQ(parameter->setValue(-2), 0);
    EXPECT_EQ(parameter->getValue(value), 0);
    EXPECT_EQ(value, -2);
}

struct Transfer {
    const char* name;
    unsigned length;
    std::vector<std::pair<unsigned, unsigned>> requests;  ///< offset and length
    std::deque<std::uint32_t> handedBack;  ///< lengths by readMem; then as many as it was asked for
};

std::ostream& operator<<(std::ostream& out, const Transfer& transfer) {
    return out << transfer.name;
}

class RegisterBlock : public Registers, public testing::WithParamInterface<Transfer> {
 protected:
    static Calls calls(const char* operation) {
        Calls result;
        for (const auto& [offset, length] : GetParam().requests) {
            char text[64];
            std::snprintf(text, sizeof text, "%s(" AT "%x, %u)", operation, 0x1000 + offset,
                          length);
            result.emplace_back(text);
        }
        return result;
    }
};

TEST_P(RegisterBlock, IsCutIntoTheRequestsOfTheProtocol) {
    const unsigned length = GetParam().length;
    device->script.memoryCounts = GetParam().handedBack;
    Bytes buffer(length + 16, 0xEE);
    EXPECT_EQ(parameter->getValue(buffer.data(), length), 0);
    EXPECT_EQ(sdk.journal(), calls("readMem"));
    Bytes expected = counting(length);
    expected.resize(length + 16, 0xEE);
    EXPECT_EQ(buffer, expected);
    if (!GetParam().handedBack.empty()) return;

    sdk.clearJournal();
    EXPECT_EQ(parameter->setValue(Bytes(length, 0xAA).data(), length), 0);
    EXPECT_EQ(sdk.journal(), calls("writeMem"));
    Bytes written(length, 0xAA);
    const unsigned rest = length % 512;
    if (rest != 0 && rest < 16) written.resize(length - rest + 16, 0);
    EXPECT_EQ(memory(kAddress, written.size()), written) << "filled up with zeros";
    EXPECT_EQ(memory(kAddress + written.size(), 1)[0], counting(2000)[written.size()]);
}

INSTANTIATE_TEST_SUITE_P(
    All, RegisterBlock,
    testing::Values(Transfer{"Nothing", 0, {}, {}}, Transfer{"Short", 5, {{0, 16}}, {}},
                    Transfer{"AlmostShortest", 15, {{0, 16}}, {}},
                    Transfer{"Shortest", 16, {{0, 16}}, {}}, Transfer{"Some", 20, {{0, 20}}, {}},
                    Transfer{"Longest", 512, {{0, 512}}, {}},
                    Transfer{"OneTooMany", 513, {{0, 512}, {512, 16}}, {}},
                    Transfer{"Several", 1030, {{0, 512}, {512, 512}, {1024, 16}}, {}},
                    Transfer{"Less", 40, {{0, 40}, {8, 32}}, {8}},
                    Transfer{"LessUntilShort", 20, {{0, 20}, {7, 16}}, {7}},
                    Transfer{"LessOfAShortOne", 5, {{0, 16}, {3, 16}}, {3}},
                    Transfer{"More", 600, {{0, 512}, {512, 88}}, {0xFFFFFFFF, 0xFFFFFFFF}}),
    testing::PrintToStringParamName());

TEST_F(Registers, FailuresAreLoggedAndTheBlocksBeforeOneAreThere) {
    // The second block of each fails.
    sdk.before("readMem", [this] { sdk.fail("readMem", 11, "timeout"); });
    sdk.before("writeMem", [this] { sdk.fail("writeMem", 11, "timeout"); });
    sdk.fail("readReg", 11, "timeout");
    sdk.fail("writeReg", 11, "timeout");
    int value = 0;
    EXPECT_EQ(parameter->getValue(value), 2);
    EXPECT_EQ(parameter->setValue(1), 2);
    Bytes buffer(517, 0);
    EXPECT_EQ(parameter->getValue(buffer.data(), 517), 2);
    buffer.resize(512);
    EXPECT_EQ(buffer, counting(512));
    EXPECT_EQ(parameter->setValue(Bytes(600).data(), 600), 2);
    EXPECT_EQ(memory(kAddress, 512), Bytes(512, 0));
    EXPECT_EQ(log.lines(), (Lines{"300 getValue: get reg value error. " ERROR_TEXT,
                                  "300 setValue: write reg value error. " ERROR_TEXT,
                                  "300 getValue: get reg value error. address: {" AT
                                  "1200}, len: {16}. " ERROR_TEXT,
                                  "300 setValue: write reg value error, address: {" AT
                                  "1200}, len: {88}. " ERROR_TEXT}));
    for (const LogRecord& record : log.records()) EXPECT_EQ(record.file, "Parameter.cpp");
}

TEST_F(Registers, AReadWithoutProgressFailsInsteadOfGoingOnForEver) {
    device->script.memoryCounts = {512, 0};
    Bytes buffer(600, 0);
    EXPECT_EQ(parameter->getValue(buffer.data(), 600), 2);
    EXPECT_EQ(sdk.journal(), (Calls{"readMem(" AT "1000, 512)", "readMem(" AT "1200, 88)"}));
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(testing::StartsWith(
                    "300 getValue: get reg value error. address: {" AT "1200}, len: {88}. [")));
}

TEST_F(Registers, AtAddressZeroAreNotValidButReachTheDevice) {
    ParameterRegister zero(camera, 0);
    sdk.clearJournal();
    EXPECT_FALSE(zero.isValid());
    int value = 0;
    std::uint8_t byte = 0;
    EXPECT_EQ(zero.setValue(1), 0);
    EXPECT_EQ(zero.getValue(value), 0);
    EXPECT_EQ(zero.setValue(&byte, 1), 0);
    EXPECT_EQ(zero.getValue(&byte, 1), 0);
    EXPECT_EQ(sdk.journal(), (Calls{"writeReg(0x0, 0x1000000, 4)", "readReg(0x0, 0)",
                                    "writeMem(0x0, 16)", "readMem(0x0, 16)"}));
    const Parameter& base = *parameter;
    EXPECT_TRUE(base.isValid());
    EXPECT_STREQ(base.getName(), "");
    EXPECT_EQ(base.getType(), ParameterType::Unknown);
}

TEST_F(Registers, MadeBeforeTheConnectionServeIt) {
    camera->disconnect();
    const ParameterRegister early(camera, kAddress);
    EXPECT_TRUE(early.isValid());
    connect();
    int value = 0;
    EXPECT_EQ(early.getValue(value), 0);
    EXPECT_EQ(value, 0x01020304);
}

TEST_F(Registers, WithoutAnAssistantStayUnusable) {
    const auto expectUnusable = [](ParameterRegister& unusable) {
        int value = 0;
        std::uint8_t byte = 0;
        EXPECT_FALSE(unusable.isValid());
        EXPECT_EQ(unusable.getValue(value), 9);
        EXPECT_EQ(unusable.setValue(1), 9);
        EXPECT_EQ(unusable.getValue(&byte, 1), 9);
        EXPECT_EQ(unusable.setValue(&byte, 0), 9);
    };
    device->script.type = 1;
    ParameterRegister ofAnotherKind(camera, kAddress);
    device->script.type = 0;
    expectUnusable(ofAnotherKind);
    ParameterRegister ofNothing(nullptr, kAddress);
    expectUnusable(ofNothing);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Registers, ANullBufferIsRefused) {
    EXPECT_EQ(parameter->getValue(nullptr, 4), 3);
    EXPECT_EQ(parameter->setValue(nullptr, 4), 3);
    EXPECT_EQ(parameter->getValue(nullptr, 0), 0);
    EXPECT_EQ(parameter->setValue(nullptr, 0), 0);
    EXPECT_EQ(sdk.journal(), Calls{});
    EXPECT_EQ(log.lines(),
              (Lines{"300 getValue: The buffer is NULL!", "300 setValue: The buffer is NULL!"}));
}

}  // namespace
}  // namespace kestro::test
