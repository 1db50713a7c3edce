// SPDX-License-Identifier: Apache-2.0
#include "CScene.h"

#include <limits>
#include <stdexcept>
#include <tuple>

namespace kestro::test {
namespace {

class CFeatures : public CInterface {
 protected:
    void SetUp() override {
        open();
        log.setEnabledLevel(800);
    }
    FeatureScript& feature(const char* name) { return device->script.features[name]; }
};

TEST_F(CFeatures, NumbersGoThroughWhole) {
    std::int64_t integer = 0;
    EXPECT_EQ(kstSetIntFeatureValue(camera, "Width", std::numeric_limits<std::int64_t>::min()), 0);
    EXPECT_EQ(kstGetIntFeatureValue(camera, "Width", &integer), 0);
    EXPECT_EQ(integer, std::numeric_limits<std::int64_t>::min());
    double number = 0;
    EXPECT_EQ(kstSetFloatFeatureValue(camera, "Gain", -2.345678), 0);
    EXPECT_EQ(kstGetFloatFeatureValue(camera, "Gain", &number), 0);
    EXPECT_EQ(number, -2.345678);
    std::uint64_t value = 0;
    EXPECT_EQ(kstSetEnumFeatureValue(camera, "Mode", 0x8000000000000001), 0);
    EXPECT_EQ(kstGetEnumFeatureValue(camera, "Mode", &value), 0);
    EXPECT_EQ(value, 0x8000000000000001);
    bool flip = true;
    EXPECT_EQ(kstSetBoolFeatureValue(camera, "Flip", false), 0);
    EXPECT_EQ(kstGetBoolFeatureValue(camera, "Flip", &flip), 0);
    EXPECT_FALSE(flip);
    const char* const values[] = {"setValue=[-9223372036854775808]",
                                  "CurValue[-9223372036854775808]",
                                  "setValue=[-2.35]",
                                  "curValue=[-2.35]",
                                  "setValue=[9223372036854775809]",
                                  "curValue=[9223372036854775809]",
                                  "setValue=[0]",
                                  "curValue=[0]"};
    const Lines all = lines();
    ASSERT_EQ(all.size(), 16U);
    for (std::size_t i = 0; i < 8; ++i) {  // a setter's second line and a getter's first are plain
        EXPECT_THAT(all[i / 2 * 4 + i % 2 * 3], testing::EndsWith(std::string(", ") + values[i]));
    }
}

TEST_F(CFeatures, QuestionsAreAnsweredWithOneOrZero) {
    using Node = FeatureScript::Node;
    const std::pair<Node::EFeatureType, int> types[] = {
        {Node::kFeatureInt, 1},   {Node::kFeatureFloat, 2},  {Node::kFeatureEnum, 3},
        {Node::kFeatureBool, 4},  {Node::kFeatureString, 5}, {Node::kFeatureCommand, 6},
        {Node::kFeatureGroup, 7}, {Node::kFeatureUnknown, 0}};
    for (const auto& [type, number] : types) {
        feature("Any").type = type;
        EXPECT_EQ(kstGetFeatureType(camera, "Any"), number);
    }
    for (int bits = 0; bits < 8; ++bits) {
        FeatureScript& any = feature("Any");
        any.isAvailable = bits & 1;
        any.isReadable = bits & 2;
        any.isWritable = bits & 4;
        EXPECT_EQ(kstIsFeatureValid(camera, "Any"), 1);
        EXPECT_EQ(kstIsFeatureAvailable(camera, "Any"), bits & 1);
        EXPECT_EQ(kstIsFeatureReadable(camera, "Any"), (bits & 3) == 3);
        EXPECT_EQ(kstIsFeatureWriteable(camera, "Any"), (bits & 5) == 5);
    }
    kstCloseDevice(camera);
    quiet();
    log.setEnabledLevel(800);
    EXPECT_EQ(kstGetFeatureType(camera, "Any"), 0);
    EXPECT_EQ(kstIsFeatureValid(camera, "Any"), 0);
    EXPECT_EQ(lastLine(),
              "800 kstIsFeatureValid: end, SerialNumber=[Acme:1001], "
              "FeatureName=[Any], isValid = [0]");
}

/** The code of a call for a feature's record, and how many of its bytes are written then. */
template <typename Record>
std::function<std::pair<int, long>()> reading(void* camera, const char* name,
                                              int (*call)(void*, const char*, Record*)) {
    return [=] {
        auto record = untouched<Record>();
        const int code = call(camera, name, &record);
        return std::pair(code, othersThan(kUntouched, record));
    };
}

// The operations of a record from the last to the first, and how much is written before each: the
// first that fails ends the call, and what was written stays.
TEST_F(CFeatures, RecordsAreWrittenFieldByFieldUntilOneFails) {
    const auto integer = reading(camera, "Width", kstGetIntFeatureInfo);
    const auto number = reading(camera, "Gain", kstGetFloatFeatureInfo);
    const auto text = reading(camera, "User", kstGetStringFeatureInfo);
    EXPECT_EQ(integer(), std::pair(0, 32L));
    EXPECT_EQ(number().first, 0);
    EXPECT_EQ(text(), std::pair(0, 4L + 5));
    const std::tuple<std::function<std::pair<int, long>()>, const char*, long> steps[] = {
        {integer, "getIntIncrement", 24}, {integer, "getIntMaxMin", 8},
        {integer, "getIntValue", 0},      {number, "getUnit", 24},
        {number, "getFloatMaxMin", 8},    {number, "getFloatValue", 0},
        {text, "getStringValue", 4},      {text, "getMaxStringLen", 0}};
    for (const auto& [call, operation, written] : steps) {
        quiet();
        sdk.fail(operation, 11, "timeout");
        EXPECT_EQ(call(), std::pair(2, written)) << operation;
        EXPECT_EQ(log.lines(0, 300).size(), 1U);
    }
}

TEST_F(CFeatures, RecordsHoldWhatTheCameraSays) {
    kstIntFeatureInfo integer;
    ASSERT_EQ(kstGetIntFeatureInfo(camera, "Width", &integer), 0);
    EXPECT_EQ(integer.curValue, 4294967936);
    EXPECT_EQ(integer.minValue, -4294967297);
    EXPECT_EQ(integer.maxValue, 8589934592);
    EXPECT_EQ(integer.incValue, 4294967300);
    for (const std::size_t length : {0U, 31U, 32U, 40U}) {
        feature("Gain").unit = std::string(length, 'u');
        auto number = untouched<kstFloatFeatureInfo>();
        ASSERT_EQ(kstGetFloatFeatureInfo(camera, "Gain", &number), 0);
        EXPECT_EQ(number.curValue, 1.239);
        EXPECT_EQ(number.minValue, -0.5);
        EXPECT_EQ(number.maxValue, 12.756);
        EXPECT_EQ(strnlen(number.unit, 32), std::min<std::size_t>(length, 31));
        EXPECT_THAT(lastLine(), testing::HasSubstr("unit[" + feature("Gain").unit.substr(0, 31)));
    }
}

/** Code, size and bytes after a text was read into `room` bytes with four more behind them. */
using Reading = std::tuple<int, std::uint32_t, std::string>;

template <typename Read>
Reading readInto(std::uint32_t room, const Read& read) {
    std::uint32_t size = room;
    std::string bytes(room + 4, '~');
    const int code = read(bytes.data(), size);
    return {code, size, bytes};
}

TEST_F(CFeatures, ATextIsTerminatedOnlyWhereThereIsRoom) {
    const auto read = [this](char* buffer, std::uint32_t& size) {
        return kstGetStringFeatureValue(camera, "User", buffer, &size);
    };
    const std::string begin =
        "800 kstGetStringFeatureValue: begin, SerialNumber=[Acme:1001], FeatureName=[User]";
    const std::string end =
        "800 kstGetStringFeatureValue: end, SerialNumber=[Acme:1001], FeatureName=[User], "
        "curValue=[gate]";
    EXPECT_EQ(readInto(6, read), Reading(0, 4, std::string("gate\0~~~~~", 10)));
    EXPECT_EQ(readInto(5, read), Reading(0, 4, std::string("gate\0~~~~", 9)));
    EXPECT_EQ(readInto(4, read), Reading(0, 4, "gate~~~~"));
    EXPECT_EQ(readInto(3, read), Reading(21, 4, "gat~~~~"));
    EXPECT_EQ(readInto(0, read), Reading(21, 4, "~~~~"));
    EXPECT_EQ(log.lines(), (Lines{begin, end, begin, end, begin, end, begin, begin}));
    feature("User").text = "";
    EXPECT_EQ(readInto(0, read), Reading(0, 0, "~~~~"));
    sdk.fail("getStringValue", 11, "timeout");
    EXPECT_EQ(readInto(1, read), Reading(2, 1, "~~~~~"));
}

TEST_F(CFeatures, ASymbolIsTerminatedOnlyWhereThereIsRoom) {
    const auto read = [this](char* buffer, std::uint32_t& size) {
        return kstGetEnumFeatureSymbol(camera, "Mode", buffer, size);
    };
    EXPECT_EQ(readInto(6, read), Reading(0, 6, std::string("Once\0~~~~~", 10)));
    EXPECT_EQ(readInto(5, read), Reading(0, 5, std::string("Once\0~~~~", 9)));
    EXPECT_EQ(readInto(4, read), Reading(0, 4, "Once~~~~"));
    EXPECT_EQ(lastLine(),
              "800 kstGetEnumFeatureSymbol: end, SerialNumber=[Acme:1001], FeatureName=[Mode], "
              "curEnumSymbol=[Once]");
    EXPECT_EQ(readInto(3, read), Reading(21, 3, "Onc~~~~"));
    EXPECT_EQ(lastLine(),
              "300 kstGetEnumFeatureSymbol: No sufficent buffer,current size=[3],require size=[4],"
              "Target string=[Once]");
    feature("Mode").integer = 5;
    EXPECT_EQ(readInto(3, read), Reading(5, 3, "~~~~~~~"));
}

TEST_F(CFeatures, ATextRecordHolds256Bytes) {
    for (const std::size_t length : {255U, 256U, 257U, 5000U}) {
        const std::string text(length, 't');
        feature("User").text = text;
        auto info = untouched<kstStringFeatureInfo>();
        EXPECT_EQ(kstGetStringFeatureInfo(camera, "User", &info), length > 256 ? 21 : 0);
        EXPECT_EQ(info.maxLen, 64U);
        EXPECT_EQ(strnlen(info.curValue, 256), std::min<std::size_t>(length, 256));
        const std::string tooLong =
            "300 kstGetStringFeatureInfo: No sufficent buffer,current size=[256],require size=[" +
            std::to_string(length) + "],Target string=[" + text + "]";
        const std::string whole =
            "800 kstGetStringFeatureInfo: end, SerialNumber=[Acme:1001], FeatureName=[User], "
            "curValue=[" +
            text + "], maxLen=[64]";
        EXPECT_EQ(lastLine(), length > 256 ? tooLong : whole);
    }
}

TEST_F(CFeatures, AnEntryListHolds64Entries) {
    for (const std::size_t count : {0U, 1U, 64U, 65U, 70U}) {
        feature("Mode").entries.assign(count, {7, "", ""});
        for (std::size_t i = 0; i < count; ++i) {
            auto& entry = feature("Mode").entries[i];
            entry.value = 0xFFFFFFFF00000000 + i;
            std::memset(entry.symbol, 'A' + static_cast<int>(i % 26), 63);
        }
        auto list = untouched<kstEnumEntryList>();
        EXPECT_EQ(kstGetEnumFeatureEntryList(camera, "Mode", &list), count > 64 ? 21 : 0);
        const std::size_t written = std::min<std::size_t>(count, 64);
        ASSERT_EQ(list.count, written);
        EXPECT_EQ(othersThan(kUntouched, list, 4, 8), 0);
        EXPECT_EQ(othersThan(kUntouched, list, 8 + 72 * written), 0);
        for (std::size_t i = 0; i < written; ++i) {
            EXPECT_EQ(list.entries[i].value, 0xFFFFFFFF00000000 + i);
            EXPECT_EQ(list.entries[i].symbol, std::string(63, static_cast<char>('A' + i % 26)));
        }
        EXPECT_EQ(lastLine(),
                  "800 kstGetEnumFeatureEntryList: end, SerialNumber=[Acme:1001], "
                  "FeatureName=[Mode]");
    }
    EXPECT_EQ(log.lines(0, 300), Lines{});
    sdk.fail("getEnumEntry", 11, "timeout");
    auto list = untouched<kstEnumEntryList>();
    EXPECT_EQ(kstGetEnumFeatureEntryList(camera, "Mode", &list), 2);
    EXPECT_EQ(othersThan(kUntouched, list), 0);
}

TEST_F(CFeatures, ChildrenAreNamedInTheirOrderOnTheCallersThread) {
    static thread_local Lines heardHere;
    heardHere.clear();
    const auto hear = [](const char* name, void* user) {
        heardHere.emplace_back(name);
        ++*static_cast<int*>(user);
    };
    int calls = 0;
    feature("Root").children = {"Width", "Mode", "Gain", "Width"};
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Root", hear, &calls), 0);
    EXPECT_EQ(heardHere, (Lines{"Width", "Mode", "Gain", "Width"}));
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Width", hear, &calls), 2);
    EXPECT_EQ(calls, 4);
}

TEST_F(CFeatures, AChildrenCallbackThatThrowsEndsTheCall) {
    const auto throwing = [](const char*, void* user) {
        if (++*static_cast<int*>(user) == 1) throw std::runtime_error("broken");
        throw 5;
    };
    int calls = 0;
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Root", throwing, &calls), 2);
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Root", throwing, &calls), 2);
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(log.lines(0, 300),
                testing::AllOf(testing::SizeIs(2),
                               testing::Each(testing::StartsWith("300 kstEnumFeatureChildren: "))));
}

}  // namespace
}  // namespace kestro::test
