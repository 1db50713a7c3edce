// SPDX-License-Identifier: Apache-2.0
//
// Features over the network: what the library promises of parameters, on a camera that really has
// them.
#include "RoadFixture.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kestro::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Le;

constexpr int kRefused = 2;
constexpr std::uint64_t kWidthRegister = 0x10000;
constexpr std::uint64_t kSensorWidthRegister = 0x10010;
constexpr std::uint64_t kUserNameRegister = 0xe8;
constexpr std::uint64_t kExposureRegister = 0x10038;

class FeatureRoad : public testing::Test {
 protected:
    void SetUp() override { ASSERT_TRUE(road_.camera()); }

    Road road_;
};

TEST_F(FeatureRoad, AnswersNeutrallyForANameThatTheCameraDoesNotHave) {
    const auto unknown = road_.feature<Parameter>("NoSuchFeature");
    EXPECT_FALSE(unknown.isValid());
    EXPECT_EQ(unknown.getType(), ParameterType::Unknown);
    EXPECT_EQ(unknown.getVisibility(), ParameterVisibility::Unknown);
    EXPECT_EQ(unknown.getAccessibility(), 0u);
    EXPECT_TRUE(RecordingLogger::instance().lines(300, 300).empty());

    std::vector<std::string> names{"before"};
    EXPECT_EQ(unknown.getSelectors(names).getCode(), kRefused);
    EXPECT_THAT(names, ElementsAre("before"));
    EXPECT_THAT(RecordingLogger::instance().lines(300, 300),
                Contains(HasSubstr("get param selecotrs error. [code: 0x")));
    EXPECT_FALSE(road_.camera()->getParameter("NoSuchFeature"));
    EXPECT_THAT(RecordingLogger::instance().lines(300, 300),
                Contains(HasSubstr("getParameter: error param type: [0]")));
}

TEST_F(FeatureRoad, ServesEveryKindWithItsClass) {
    const auto is = [this](const char* name, ParameterType type) {
        const auto parameter = road_.camera()->getParameter(name);
        return parameter && parameter->getType() == type;
    };
    EXPECT_TRUE(is("Width", ParameterType::Int));
    EXPECT_TRUE(is("ExposureTime", ParameterType::Float));
    EXPECT_TRUE(is("PixelFormat", ParameterType::Enum));
    EXPECT_TRUE(is("TLParamsLocked", ParameterType::Int));
    EXPECT_TRUE(is("GevSCPSDoNotFragment", ParameterType::Bool));
    EXPECT_TRUE(is("DeviceUserID", ParameterType::String));
    EXPECT_TRUE(is("AcquisitionStart", ParameterType::Command));
    EXPECT_TRUE(is("Root", ParameterType::Group));
}

TEST_F(FeatureRoad, WritesAndReadsBackEachKind) {
    ParameterInt width(road_.camera(), "Width");
    std::int64_t number = 0;
    EXPECT_TRUE(width.setValue(320));
    EXPECT_TRUE(width.getValue(number));
    EXPECT_EQ(number, 320);

    ParameterFloat exposure(road_.camera(), "ExposureTime");
    double real = 0;
    EXPECT_TRUE(exposure.setValue(1234.5));
    EXPECT_TRUE(exposure.getValue(real));
    EXPECT_EQ(real, 1234.5);
    std::string unit;
    EXPECT_TRUE(exposure.getUnit(unit));
    EXPECT_EQ(unit, "us");

    ParameterString name(road_.camera(), "DeviceUserID");
    std::string text;
    EXPECT_TRUE(name.setValue("left gate"));
    EXPECT_TRUE(name.getValue(text));
    EXPECT_EQ(text, "left gate");
    unsigned length = 0;
    EXPECT_TRUE(name.getMaxLength(length));
    EXPECT_EQ(length, 16u);

    ParameterEnum mode(road_.camera(), "AcquisitionMode");
    std::string symbol;
    EXPECT_TRUE(mode.setValue(std::string("SingleFrame")));
    EXPECT_TRUE(mode.getValue(symbol));
    EXPECT_EQ(symbol, "SingleFrame");
    std::vector<ParameterEnum::Entry> entries(1);
    EXPECT_TRUE(mode.getEntryList(entries));
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[1].symbol, "SingleFrame");  // in the order of the camera's description
    EXPECT_EQ(entries[3].symbol, "Continuous");
    EXPECT_TRUE(mode.setValue(entries[3].value));
}

TEST_F(FeatureRoad, TellsRangesThatFollowOtherFeatures) {
    ParameterInt width(road_.camera(), "Width");
    ParameterInt offset(road_.camera(), "OffsetX");
    std::int64_t min = 0, max = 0, inc = 0;
    EXPECT_TRUE(width.getRange(min, max));
    EXPECT_EQ(min, 64);
    EXPECT_EQ(max, 640);
    EXPECT_TRUE(width.getIncrement(inc));
    EXPECT_EQ(inc, 4);
    EXPECT_TRUE(width.setValue(320));
    EXPECT_TRUE(offset.getRange(min, max));
    EXPECT_EQ(max, 320);
    EXPECT_TRUE(offset.setValue(200));
    EXPECT_TRUE(width.getRange(min, max));
    EXPECT_EQ(max, 440);
}

TEST_F(FeatureRoad, ListsTheTreeInTheOrderOfTheDescription) {
    std::vector<std::string> names{"before"};
    ParameterGroup root(road_.camera(), "Root");
    EXPECT_TRUE(root.getChildren(names));
    ASSERT_GE(names.size(), 4u);
    EXPECT_EQ(names[0], "before");
    EXPECT_EQ(names[1], "DeviceControl");
    EXPECT_THAT(
        names, IsSupersetOf({"ImageFormatControl", "AcquisitionControl", "BufferHandlingControl"}));
    std::vector<std::shared_ptr<Parameter>> objects;
    ParameterGroup format(road_.camera(), "ImageFormatControl");
    EXPECT_TRUE(format.getChildren(objects));
    ASSERT_FALSE(objects.empty());
    EXPECT_STREQ(objects.front()->getName(), "SensorWidth");

    ParameterGroup noGroup(road_.camera(), "Width");
    EXPECT_EQ(noGroup.getChildren(names).getCode(), kRefused);
    EXPECT_THAT(RecordingLogger::instance().lines(300, 300).back(),
                HasSubstr("getChildren: get param children error. [code: "));
}

TEST_F(FeatureRoad, KnowsWhatSelectsAFeature) {
    std::vector<std::string> names{"before"};
    EXPECT_TRUE(road_.feature<Parameter>("TriggerMode").getSelectors(names));
    EXPECT_THAT(names, ElementsAre("before", "TriggerSelector"));
}

TEST_F(FeatureRoad, ReadsAndWritesRegistersAndMemory) {
    ParameterRegister width(road_.camera(), kWidthRegister);
    int value = 0;
    EXPECT_TRUE(width.getValue(value));
    EXPECT_EQ(value, 640);
    EXPECT_TRUE(width.setValue(128));
    std::int64_t number = 0;
    EXPECT_TRUE(road_.feature<ParameterInt>("Width").getValue(number));
    EXPECT_EQ(number, 128);

    // The description's URL, in one whole request and the tail of another.
    std::array<std::uint8_t, 5> url{};
    EXPECT_TRUE(ParameterRegister(road_.camera(), 0x200).getValue(url.data(), 5));
    EXPECT_EQ(std::string(url.begin(), url.end()), "Local");
    // 5 bytes go out as 16, the rest zeros: the camera's name has just that room.
    const std::array<std::uint8_t, 5> text{'g', 'a', 't', 'e', '7'};
    EXPECT_TRUE(ParameterRegister(road_.camera(), kUserNameRegister).setValue(text.data(), 5));
    std::string name;
    EXPECT_TRUE(road_.feature<ParameterString>("DeviceUserID").getValue(name));
    EXPECT_EQ(name, "gate7");
}

TEST_F(FeatureRoad, SaysWithWhichStatusTheCameraRefusedAnAddress) {
    int value = 0;
    ParameterRegister nowhere(road_.camera(), 0x20000);
    EXPECT_EQ(nowhere.getValue(value).getCode(), kRefused);
    EXPECT_THAT(Road::lastReason(),
                AllOf(HasSubstr("20000"), HasSubstr("invalid address (0x8003)")));
    EXPECT_EQ(ParameterRegister(road_.camera(), kSensorWidthRegister).setValue(1).getCode(),
              kRefused);
    EXPECT_THAT(Road::lastReason(), HasSubstr("write protected (0x8004)"));
    std::array<std::uint8_t, 20> bytes{};
    EXPECT_EQ(nowhere.setValue(bytes.data(), 20).getCode(), kRefused);
    EXPECT_THAT(
        RecordingLogger::instance().lines(300, 300).back(),
        HasSubstr("setValue: write reg value error, address: {0x20000}, len: {20}. [code: "));
}

TEST_F(FeatureRoad, AParameterThatOutlivesTheConnectionIsNeutral) {
    const auto width = road_.camera()->getParameter("Width");
    ASSERT_TRUE(width);
    EXPECT_EQ(width->getAccessibility(), 7u);
    road_.camera()->disconnect();
    EXPECT_FALSE(width->isValid());
    EXPECT_EQ(width->getType(), ParameterType::Unknown);
    EXPECT_EQ(width->getAccessibility(), 0u);
    std::int64_t value = 0;
    EXPECT_EQ(std::static_pointer_cast<ParameterInt>(width)->getValue(value).getCode(), kRefused);
    EXPECT_THAT(Road::lastReason(), HasSubstr("not connected"));
}

// What a write costs the camera

/** Commands that the camera answered, without the heartbeats, which read the control privilege. */
struct Cost {
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;
};

class ControlCost : public FeatureRoad {
 protected:
    static constexpr unsigned kTimes = 200;

    template <typename Operation>
    Cost costOf(const Operation& operation) {
        const kestrosim::CameraStatistics before = road_.device().statistics();
        for (unsigned i = 0; i < kTimes; ++i) operation();
        const kestrosim::CameraStatistics after = road_.device().statistics();
        return {after.registersRead + after.memoryReads - before.registersRead - before.memoryReads,
                after.registersWritten + after.memoryWrites - before.registersWritten -
                    before.memoryWrites};
    }
    /** So many each, and a few heartbeats on top. */
    static testing::Matcher<std::uint64_t> timesEach(unsigned each) {
        return AllOf(Ge(std::uint64_t{each} * kTimes), Le(std::uint64_t{each} * kTimes + 5));
    }
};

TEST_F(ControlCost, AValueOfARegisterIsOneTransaction) {
    auto width = road_.feature<ParameterInt>("Width");
    std::int64_t value = 0;
    const Cost get = costOf([&] { EXPECT_TRUE(width.getValue(value)); });
    EXPECT_THAT(get.reads, timesEach(1));
    EXPECT_EQ(get.writes, 0u);
}

TEST_F(ControlCost, AWriteAsksOnlyForLimitsThatLiveInTheCamera) {
    // Its limits are constants of the description, and nothing locks it.
    auto delay = road_.feature<ParameterInt>("GevSCPD");
    const Cost plain = costOf([&] { EXPECT_TRUE(delay.setValue(0)); });
    EXPECT_EQ(plain.writes, kTimes);
    EXPECT_THAT(plain.reads, timesEach(0));
    // The largest offset is the sensor's width less the picture's, and the transport's lock counts.
    auto offset = road_.feature<ParameterInt>("OffsetX");
    const Cost checked = costOf([&] { EXPECT_TRUE(offset.setValue(0)); });
    EXPECT_EQ(checked.writes, kTimes);
    EXPECT_THAT(checked.reads, timesEach(3));
}

// Refused writes: each rule once, with a camera that would show it if anything were sent

struct Refusal {
    const char* label;
    Result (*write)(const std::shared_ptr<Camera>&);
    const char* reason;
    std::uint64_t address;  ///< of the register that would have changed
    bool grabbing = false;
};

void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.label; }

class RefusedWrite : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedWrite, ChangesNothingAndSaysWhy) {
    const Refusal& refusal = GetParam();
    Road road;
    ASSERT_TRUE(road.camera());
    if (refusal.grabbing) {
        ASSERT_TRUE(road.camera()->startGrabbing(0));
    }
    std::array<std::uint8_t, 16> before{}, after{};
    ParameterRegister raw(road.camera(), refusal.address);
    ASSERT_TRUE(raw.getValue(before.data(), 16));
    const auto writesBefore = road.device().statistics();

    EXPECT_EQ(refusal.write(road.camera()).getCode(), kRefused);

    const auto writesAfter = road.device().statistics();
    EXPECT_EQ(writesAfter.registersWritten, writesBefore.registersWritten);
    EXPECT_EQ(writesAfter.memoryWrites, writesBefore.memoryWrites);
    EXPECT_THAT(Road::lastReason(), HasSubstr(std::string("msg: ") + refusal.reason));
    ASSERT_TRUE(raw.getValue(after.data(), 16));
    EXPECT_EQ(after, before);
}

Result setInt(const std::shared_ptr<Camera>& camera, const char* name, std::int64_t value) {
    return ParameterInt(camera, name).setValue(value);
}
Result setFloat(const std::shared_ptr<Camera>& camera, const char* name, double value) {
    return ParameterFloat(camera, name).setValue(value);
}
Result setSymbol(const std::shared_ptr<Camera>& camera, const char* name, const char* symbol) {
    return ParameterEnum(camera, name).setValue(std::string(symbol));
}

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Features, RefusedWrite,
    testing::Values(
        Refusal{"Unknown", [](auto& camera) { return setInt(camera, "Wdith", 320); },
                "Wdith: there is no such feature", kWidthRegister},
        Refusal{"Kind", [](auto& camera) { return setFloat(camera, "Width", 320); },
                "Width: is an integer, not a float", kWidthRegister},
        Refusal{"NotImplemented",
                [](auto& camera) { return setSymbol(camera, "DeviceIndicatorMode", "Active"); },
                "DeviceIndicatorMode: not implemented by this camera", kWidthRegister},
        Refusal{"NotAvailable",
                [](auto& camera) { return setInt(camera, "AcquisitionFrameCount", 3); },
                "AcquisitionFrameCount: not available at this moment", 0x10020},
        Refusal{"ReadOnly", [](auto& camera) { return setInt(camera, "SensorWidth", 320); },
                "SensorWidth: cannot be written", kSensorWidthRegister},
        Refusal{"Locked", [](auto& camera) { return setInt(camera, "Width", 320); },
                "Width: locked", kWidthRegister, true},
        Refusal{"LockedThroughItsRegister",
                [](auto& camera) { return setInt(camera, "Height", 240); }, "Height: locked",
                kWidthRegister, true},
        Refusal{"AboveTheMaximum", [](auto& camera) { return setInt(camera, "Width", 5000); },
                "Width 5000: above the maximum 640", kWidthRegister},
        Refusal{"BelowTheMinimum", [](auto& camera) { return setInt(camera, "Width", 60); },
                "Width 60: below the minimum 64", kWidthRegister},
        Refusal{"OffTheIncrement", [](auto& camera) { return setInt(camera, "Width", 321); },
                "Width 321: not the minimum 64 plus a multiple of 4", kWidthRegister},
        Refusal{"FloatAboveTheMaximum",
                [](auto& camera) { return setFloat(camera, "ExposureTime", 2e6); },
                "ExposureTime 2000000: above the maximum 1000000", kExposureRegister},
        Refusal{"NoNumber",
                [](auto& camera) { return setFloat(camera, "ExposureTime", kNoNumber); },
                "ExposureTime nan: is no number", kExposureRegister},
        Refusal{"UnknownEntry",
                [](auto& camera) { return setSymbol(camera, "TriggerMode", "Maybe"); },
                "TriggerMode Maybe: no such entry (Off, On)", kWidthRegister},
        Refusal{"UnknownEntryValue",
                [](auto& camera) {
                    return ParameterEnum(camera, "AcquisitionMode").setValue(std::uint64_t{77});
                },
                "AcquisitionMode 77: no such entry", 0x10020},
        Refusal{"TooLong",
                [](auto& camera) {
                    return ParameterString(camera, "DeviceUserID").setValue("seventeen letters");
                },
                "DeviceUserID: 17 bytes, 16 is the most", kUserNameRegister}),
    [](const auto& testCase) { return std::string(testCase.param.label); });

}  // namespace
}  // namespace kestro::test
