// SPDX-License-Identifier: Apache-2.0
#include "CScene.h"

#include <limits>
#include <new>
#include <stdexcept>

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

/** Which of the fields behind `name` are written; the others are as they were. */
template <typename Record>
std::size_t bytesWritten(const Record& record) {
    return static_cast<std::size_t>(othersThan(kUntouched, record));
}

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
    const Lines all = lines();
    const char* const middles[] = {"setValue=[-9223372036854775808]",
                                   "CurValue[-9223372036854775808]",
                                   "setValue=[-2.35]",
                                   "curValue=[-2.35]",
                                   "setValue=[9223372036854775809]",
                                   "curValue=[9223372036854775809]",
                                   "setValue=[0]",
                                   "curValue=[0]"};
    ASSERT_EQ(all.size(), 16U);
    for (std::size_t i = 0; i < 8; ++i) {  // a setter's second line and a getter's first are plain
        EXPECT_THAT(all[i / 2 * 4 + i % 2 * 3], testing::EndsWith(std::string(", ") + middles[i]));
    }
}

TEST_F(CFeatures, TextsAndSymbolsAndCommandsReachTheCamera) {
    EXPECT_EQ(kstSetStringFeatureValue(camera, "User", ""), 0);
    EXPECT_EQ(kstSetEnumFeatureSymbol(camera, "Mode", "Off"), 0);
    EXPECT_EQ(kstExecCommandFeature(camera, "Start"), 0);
    EXPECT_EQ(feature("User").text, "");
    EXPECT_EQ(feature("Mode").integer, 1);
    EXPECT_EQ(feature("Start").executions, 1);
    EXPECT_EQ(kstSetEnumFeatureSymbol(camera, "Mode", "off"), 2);
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
    EXPECT_EQ(lines().back(),
              "800 kstIsFeatureValid: end, SerialNumber=[Acme:1001], "
              "FeatureName=[Any], isValid = [0]");
}

// The operations of a record in their order, and how many bytes are written before each: the first
// that fails ends the call, and what was written stays.
TEST_F(CFeatures, RecordsAreWrittenFieldByFieldUntilOneFails) {
    const auto asInt = [this] {
        auto info = untouched<kstIntFeatureInfo>();
        const int code = kstGetIntFeatureInfo(camera, "Width", &info);
        return std::pair(code, bytesWritten(info));
    };
    EXPECT_EQ(asInt(), std::pair(0, std::size_t{32}));
    const auto asFloat = [this] {
        auto info = untouched<kstFloatFeatureInfo>();
        const int code = kstGetFloatFeatureInfo(camera, "Gain", &info);
        return std::pair(code, std::min<std::size_t>(bytesWritten(info), 25));
    };
    EXPECT_EQ(asFloat(), std::pair(0, std::size_t{25}));
    const auto asString = [this] {
        auto info = untouched<kstStringFeatureInfo>();
        const int code = kstGetStringFeatureInfo(camera, "User", &info);
        return std::pair(code, bytesWritten(info));
    };
    EXPECT_EQ(asString(), std::pair(0, std::size_t{4 + 5}));

    struct Step {
        std::function<std::pair<int, std::size_t>()> call;
        const char* operation;
        std::size_t written;
    };
    const Step steps[] = {{asInt, "getIntIncrement", 24},  {asInt, "getIntMaxMin", 8},
                          {asInt, "getIntValue", 0},       {asFloat, "getUnit", 24},
                          {asFloat, "getFloatMaxMin", 8},  {asFloat, "getFloatValue", 0},
                          {asString, "getStringValue", 4}, {asString, "getMaxStringLen", 0}};
    for (const auto& [call, operation, written] : steps) {
        quiet();
        sdk.fail(operation, 11, "timeout");
        EXPECT_EQ(call(), std::pair(2, written)) << operation;
        EXPECT_EQ(log.lines(0, 300).size(), 1U);
        EXPECT_EQ(lines().size(), 0U) << "the level is off";
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
        EXPECT_THAT(lines().back(),
                    testing::HasSubstr("unit[" + feature("Gain").unit.substr(0, 31)));
    }
}

/** A text feature read into a buffer of its own size, which ends where memory ends. */
struct Reading {
    int code = 0;
    std::uint32_t size = 0;
    std::string bytes;  ///< the buffer, '~' where nothing was written

    bool operator==(const Reading& other) const {
        return code == other.code && size == other.size && bytes == other.bytes;
    }
};
std::ostream& operator<<(std::ostream& out, const Reading& reading) {
    return out << reading.code << " " << reading.size << " "
               << testing::PrintToString(reading.bytes);
}

template <typename Read>
Reading readInto(std::uint32_t room, const Read& read) {
    const std::unique_ptr<char[]> buffer(new char[room]);
    std::memset(buffer.get(), '~', room);
    Reading reading{0, room, ""};
    reading.code = read(buffer.get(), reading.size);
    reading.bytes.assign(buffer.get(), room);
    return reading;
}

TEST_F(CFeatures, ATextIsTerminatedOnlyWhereThereIsRoom) {
    const auto read = [this](char* buffer, std::uint32_t& size) {
        return kstGetStringFeatureValue(camera, "User", buffer, &size);
    };
    EXPECT_EQ(readInto(7, read), (Reading{0, 4, std::string("gate\0~~", 7)}));
    EXPECT_EQ(readInto(5, read), (Reading{0, 4, std::string("gate\0", 5)}));
    EXPECT_EQ(readInto(4, read), (Reading{0, 4, "gate"}));
    const Lines ends = lines();
    EXPECT_EQ(std::count(ends.begin(), ends.end(),
                         "800 kstGetStringFeatureValue: end, SerialNumber=[Acme:1001], "
                         "FeatureName=[User], curValue=[gate]"),
              3);
    quiet();
    EXPECT_EQ(readInto(3, read), (Reading{21, 4, "gat"}));
    EXPECT_EQ(readInto(0, read), (Reading{21, 4, ""}));
    EXPECT_EQ(log.lines(), Lines{});
    log.setEnabledLevel(800);
    EXPECT_EQ(readInto(3, read), (Reading{21, 4, "gat"}));
    EXPECT_EQ(lines(), Lines{"800 kstGetStringFeatureValue: begin, SerialNumber=[Acme:1001], "
                             "FeatureName=[User]"});
    feature("User").text = "";
    EXPECT_EQ(readInto(0, read), (Reading{0, 0, ""}));
    sdk.fail("getStringValue", 11, "timeout");
    EXPECT_EQ(readInto(9, read), (Reading{2, 9, "~~~~~~~~~"}));
}

TEST_F(CFeatures, ASymbolIsTerminatedOnlyWhereThereIsRoom) {
    const auto read = [this](char* buffer, std::uint32_t& size) {
        return kstGetEnumFeatureSymbol(camera, "Mode", buffer, size);
    };
    EXPECT_EQ(readInto(7, read), (Reading{0, 7, std::string("Once\0~~", 7)}));
    EXPECT_EQ(readInto(5, read), (Reading{0, 5, std::string("Once\0", 5)}));
    EXPECT_EQ(readInto(4, read), (Reading{0, 4, "Once"}));
    EXPECT_EQ(lines().back(),
              "800 kstGetEnumFeatureSymbol: end, SerialNumber=[Acme:1001], "
              "FeatureName=[Mode], curEnumSymbol=[Once]");
    quiet();
    EXPECT_EQ(readInto(3, read), (Reading{21, 3, "Onc"}));
    EXPECT_EQ(log.lines(), Lines{"300 kstGetEnumFeatureSymbol: No sufficent buffer,current "
                                 "size=[3],require size=[4],Target string=[Once]"});
    feature("Mode").integer = 5;
    EXPECT_EQ(readInto(3, read), (Reading{5, 3, "~~~"}));
}

TEST_F(CFeatures, ATextRecordHolds256Bytes) {
    for (const std::size_t length : {255U, 256U, 257U, 5000U}) {
        const std::string text(length, 't');
        feature("User").text = text;
        auto info = untouched<kstStringFeatureInfo>();
        quiet();
        log.setEnabledLevel(800);
        EXPECT_EQ(kstGetStringFeatureInfo(camera, "User", &info), length > 256 ? 21 : 0);
        EXPECT_EQ(info.maxLen, 64U);
        EXPECT_EQ(strnlen(info.curValue, 256), std::min<std::size_t>(length, 256));
        EXPECT_EQ(lines().back(),
                  length > 256 ? "300 kstGetStringFeatureInfo: No sufficent buffer,current "
                                 "size=[256],require size=[" +
                                     std::to_string(length) + "],Target string=[" + text + "]"
                               : "800 kstGetStringFeatureInfo: end, SerialNumber=[Acme:1001], "
                                 "FeatureName=[User], curValue=[" +
                                     text + "], maxLen=[64]");
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
        quiet();
        log.setEnabledLevel(800);
        EXPECT_EQ(kstGetEnumFeatureEntryList(camera, "Mode", &list), count > 64 ? 21 : 0);
        const std::size_t written = std::min<std::size_t>(count, 64);
        ASSERT_EQ(list.count, written);
        EXPECT_EQ(othersThan(kUntouched, list, 4, 8), 0);
        EXPECT_EQ(othersThan(kUntouched, list, 8 + 72 * written), 0);
        for (std::size_t i = 0; i < written; ++i) {
            EXPECT_EQ(list.entries[i].value, 0xFFFFFFFF00000000 + i);
            EXPECT_EQ(list.entries[i].symbol, std::string(63, static_cast<char>('A' + i % 26)));
        }
        EXPECT_EQ(lines(), (Lines{"800 kstGetEnumFeatureEntryList: begin, "
                                  "SerialNumber=[Acme:1001], FeatureName=[Mode]",
                                  "800 kstGetEnumFeatureEntryList: end, SerialNumber=[Acme:1001], "
                                  "FeatureName=[Mode]"}));
    }
    sdk.fail("getEnumEntry", 11, "timeout");
    auto list = untouched<kstEnumEntryList>();
    EXPECT_EQ(kstGetEnumFeatureEntryList(camera, "Mode", &list), 2);
    EXPECT_EQ(bytesWritten(list), 0U);
}

TEST_F(CFeatures, ChildrenAreNamedInTheirOrderOnTheCallersThread) {
    struct Heard {
        Lines names;
        std::thread::id thread;
    } heard;
    const auto hear = [](const char* name, void* user) {
        static_cast<Heard*>(user)->names.emplace_back(name);
        static_cast<Heard*>(user)->thread = std::this_thread::get_id();
    };
    feature("Root").children = {"Width", "Mode", "Gain", "Width"};
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Root", hear, &heard), 0);
    EXPECT_EQ(heard.names, (Lines{"Width", "Mode", "Gain", "Width"}));
    EXPECT_EQ(heard.thread, std::this_thread::get_id());
    EXPECT_EQ(kstEnumFeatureChildren(camera, "Width", hear, &heard), 2);
    EXPECT_EQ(heard.names.size(), 4U);
}

TEST_F(CFeatures, AChildrenCallbackThatThrowsEndsTheCall) {
    int calls = 0;
    const auto throwing = [](const char*, void* user) {
        if (++*static_cast<int*>(user) == 1) throw std::runtime_error("broken");
        throw 5;
    };
    for (int call = 1; call <= 2; ++call) {
        quiet();
        EXPECT_EQ(kstEnumFeatureChildren(camera, "Root", throwing, &calls), 2);
        EXPECT_EQ(calls, call);
        const Lines errors = log.lines(0, 300);
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_THAT(errors[0], testing::StartsWith("300 kstEnumFeatureChildren: "));
    }
}

}  // namespace
}  // namespace kestro::test
