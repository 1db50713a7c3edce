// SPDX-License-Identifier: Apache-2.0
#include "AppliedSettings.h"

#include "Descriptions.h"
#include "Features.h"
#include "LastError.h"
#include "MemoryPort.h"
#include "RecordingLogger.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace Vorda::Gige {
namespace {

using kestro::test::MemoryPort;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::uint64_t kWidth = 0x100;
constexpr std::uint64_t kLineSelector = 0x108;
constexpr std::uint64_t kGain = 0x110;
constexpr std::uint64_t kScratch = 0x114;
constexpr std::uint64_t kUserSet = 0x150;
constexpr std::uint64_t kUserSetLoadRegister = 0x154;
constexpr std::uint64_t kStepSelectors = 0x220;
constexpr std::uint64_t kStepTimes = 0x230;

/** Has user sets of widths, 1600 in the first, and breaks when told so. */
class CameraMemory final : public RegisterPort {
 public:
    CameraMemory() { memory_.setNumber(kWidth, 2448); }
    MemoryPort& memory() { return memory_; }
    void failAfter(int requests, Error error) {
        left_ = requests;
        error_ = error;
    }
    /** Leaves requests from here up to there unanswered. */
    void ignore(std::uint64_t from, std::uint64_t to) { ignored_ = {from, to}; }
    [[nodiscard]] int unanswered() const { return unanswered_; }

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return mayPass(address) && memory_.readRegister(address, value);
    }
    bool writeRegister(std::uint64_t address, std::uint32_t value) override {
        return mayPass(address) && memory_.writeRegister(address, value) && react(address);
    }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return mayPass(address) && memory_.readMemory(address, data);
    }
    bool writeMemory(std::uint64_t address, ByteView data) override {
        return mayPass(address) && memory_.writeMemory(address, data) && react(address);
    }

 private:
    bool mayPass(std::uint64_t address) {
        const bool isIgnored = ignored_.first <= address && address < ignored_.second;
        if (isIgnored) ++unanswered_;
        return isIgnored ? fail(Error::timeout, "no answer")
                         : left_-- > 0 || fail(error_, "scripted");
    }
    bool react(std::uint64_t address) {
        if (address != kUserSetLoadRegister) return true;
        memory_.setNumber(kWidth, memory_.number(kUserSet) * 1600);
        memory_.setNumber(kGain, 0);
        return true;
    }

    MemoryPort memory_;
    std::pair<std::uint64_t, std::uint64_t> ignored_;
    int unanswered_ = 0;
    int left_ = 1'000'000;
    Error error_ = Error::connectionLost;
};

/** The camera of golden/config.xml, with user sets. */
std::string description() {
    std::string xml = kestro::test::golden("config.xml");
    const auto add = [&xml](const std::string& before, const std::string& text) {
        xml.insert(xml.find(before), text);
    };
    add("<pFeature>Width</pFeature>",
        "<pFeature>UserSetSelector</pFeature><pFeature>UserSetLoad</pFeature>");
    add("<Port Name",
        "<Integer Name='UserSetSelector'><pValue>UserSetReg</pValue></Integer>"
        "<Command "
        "Name='UserSetLoad'><pIsLocked>ScratchReg</pIsLocked><pValue>UserSetLoadReg</pValue>"
        "<CommandValue>1</CommandValue></Command>");
    for (const auto& [name, address] :
         {std::pair{"UserSetReg", "0x150"}, {"UserSetLoadReg", "0x154"}})
        add("<Port Name", "<IntReg Name='" + std::string(name) + "'><Address>" + address +
                              "</Address><Length>4</Length><AccessMode>RW</AccessMode>"
                              "<pPort>Device</pPort><Endianess>BigEndian</Endianess></IntReg>");
    return xml;
}

class SettingsOfAnApplication : public testing::Test {
 protected:
    void SetUp() override { plugIn(); }
    /** Another camera, or the same after it was switched off and on. */
    void plugIn(const std::string& xml = description()) {
        camera = std::make_shared<CameraMemory>();
        FeatureSources sources;
        sources.camera = camera;
        sources.model = FeatureModel::make(kestro::test::checked(xml));
        sources.settings = settings;
        ASSERT_TRUE(sources.model) << lastErrorMessage();
        features = std::make_shared<Features>(std::move(sources));
    }
    void set(const std::vector<std::pair<const char*, const char*>>& values) {
        for (const auto& [name, value] : values)
            ASSERT_TRUE(features->setText(name, value)) << lastErrorMessage();
    }
    bool restore() {
        refusals.clear();
        return settings->restore(*features, refusals, silence);
    }
    std::string registers() {
        std::array<std::uint8_t, 0x200> bytes{};
        EXPECT_TRUE(camera->readMemory(0x100, bytes));
        return {bytes.begin(), bytes.end()};
    }
    /** "Name=value" each, with "(Selector=position)". */
    std::vector<std::string> notes() const {
        std::vector<std::string> all;
        for (const AppliedSetting& each : settings->all()) {
            all.push_back(each.name + "=" + each.value);
            for (const SelectorPosition& selector : each.selectors)
                all.back() += "(" + selector.name + "=" + selector.value + ")";
        }
        return all;
    }

    const std::shared_ptr<AppliedSettings> settings = std::make_shared<AppliedSettings>("Acme:1");
    std::shared_ptr<CameraMemory> camera;
    std::shared_ptr<Features> features;
    std::vector<std::string> refusals;
    AppliedSettings::Silence silence = AppliedSettings::Silence::isRefusal;
};

TEST_F(SettingsOfAnApplication, AreAllMadeAgain) {
    // There is room for the offset only beside the smaller width, whatever came last.
    set({{"Width", "640"}, {"OffsetX", "1800"}, {"Width", "648"}, {"StepLimit", "70"}});
    set({{"LineSelector", "Line1"}, {"LineMode", "Output"}, {"LineInverter", "1"}});
    set({{"LineSelector", "Line0"}, {"LineMode", "Output"}, {"LineSelector", "Line1"}});
    // The second program's steps begin where the application did not set them to.
    camera->memory().setNumber(kStepSelectors + 4, 2);
    set({{"StepSelector", "2"}, {"StepTime", "30"}, {"ProgramSelector", "1"}, {"StepTime", "50"}});
    set({{"StepSelector", "4"}, {"StepTime", "70"}, {"ProgramSelector", "0"}});
    EXPECT_TRUE(features->setEnumeration("LineMode", 0)) << lastErrorMessage();
    EXPECT_TRUE(features->setFloat("Gain", 0.1)) << lastErrorMessage();
    EXPECT_TRUE(features->setString("DeviceUserID", "Gate 7")) << lastErrorMessage();
    const std::string before = registers();
    const auto noted = notes();
    plugIn();
    ASSERT_TRUE(restore()) << lastErrorMessage();
    EXPECT_THAT(refusals, IsEmpty());
    EXPECT_EQ(before, registers());
    EXPECT_EQ(noted, notes());
    const int writes = camera->memory().writes();
    ASSERT_TRUE(restore()) << "of a camera that only was out of reach";
    EXPECT_EQ(before, registers());
    EXPECT_LT(camera->memory().writes() - writes, 20) << "no more than selectors move";
}

TEST_F(SettingsOfAnApplication, AreOneForEachPositionInTheOrderOfTheirLastTime) {
    camera->memory().setNumber(kLineSelector, 1);
    set({{"LineInverter", "true"}, {"Width", "0x280"}, {"Gain", "2"}, {"LineSelector", "Line0"}});
    set({{"LineInverter", "1"}, {"Width", "644"}, {"LineInverter", "0"}, {"StepSelector", "2"}});
    EXPECT_FALSE(features->setText("Width", "3000"));
    features->lockTransport(true);
    EXPECT_TRUE(features->execute("Reset"));
    EXPECT_THAT(notes(),
                ElementsAre("LineInverter=1(LineSelector=Line1)", "Gain=2", "LineSelector=Line0",
                            "Width=644", "LineInverter=0(LineSelector=Line0)",
                            "StepSelector=2(ProgramSelector=0)"));
    settings->clear();
    EXPECT_THAT(notes(), IsEmpty());
}

TEST_F(SettingsOfAnApplication, LeaveSelectorsWhereTheApplicationLeftThem) {
    // The line is tried again, after all others, for the camera has not got it at first.
    camera->memory().setNumber(0x144, 1);
    set({{"LineSelector", "Line2"}, {"LineMode", "Output"}, {"LineSelector", "Line1"}});
    set({{"StepSelector", "2"}, {"StepTime", "0"}, {"ProgramSelector", "1"}, {"Scratch", "1"}});
    const std::string before = registers();
    std::string late = description();
    const std::string condition = "<pIsAvailable>HasLine2</pIsAvailable>";
    late.replace(late.find(condition), condition.size(), "<pIsAvailable>ScratchReg</pIsAvailable>");
    plugIn(late);
    camera->memory().setNumber(0x144, 1);
    ASSERT_TRUE(restore());
    EXPECT_THAT(refusals, IsEmpty());
    EXPECT_EQ(before, registers());
}

TEST_F(SettingsOfAnApplication, BeginAnewWithAUserSet) {
    set({{"Gain", "3"}, {"UserSetSelector", "1"}});
    ASSERT_TRUE(features->execute("UserSetLoad")) << lastErrorMessage();
    set({{"UserSetSelector", "0"}, {"OffsetX", "800"}});
    EXPECT_THAT(notes(),
                ElementsAre("UserSetLoad=(UserSetSelector=1)", "UserSetSelector=0", "OffsetX=800"));
    const std::string before = registers();
    plugIn();
    ASSERT_TRUE(restore());
    EXPECT_THAT(refusals, IsEmpty());
    EXPECT_EQ(before, registers());
    // Were it loaded as soon as it can be, after the rest, it would take the width along.
    set({{"Width", "1000"}, {"Scratch", "0"}});
    plugIn();
    camera->memory().setNumber(kScratch, 1);
    ASSERT_TRUE(restore());
    EXPECT_EQ(0u, camera->memory().number(kScratch));
    EXPECT_THAT(refusals, ElementsAre(HasSubstr("UserSetLoad (UserSetSelector 1): ")));
    EXPECT_EQ(1000u, camera->memory().number(kWidth));
}

TEST_F(SettingsOfAnApplication, AreAlsoThoseThatTheCameraHadAlready) {
    EXPECT_TRUE(features->ensure("Width", "2448"));
    EXPECT_TRUE(features->ensure("Gain", "0.0"));
    EXPECT_TRUE(features->ensure("LineMode", "Input"));
    EXPECT_EQ(0, camera->memory().writes());
    EXPECT_THAT(notes(),
                ElementsAre("Width=2448", "Gain=0.0", "LineMode=Input(LineSelector=Line0)"));
}

TEST_F(SettingsOfAnApplication, ThatTheCameraDoesNotTakeAreNamed) {
    set({{"Width", "640"}, {"LineSelector", "Line1"}, {"LineMode", "Output"}, {"Gain", "2"}});
    set({{"LineSelector", "Line0"}, {"LineMode", "Input"}, {"DeviceUserID", "x"}});
    std::string other = description();  // other firmware
    const auto rename = [&other](const std::string& from, const std::string& to) {
        for (std::size_t at = 0; (at = other.find(from, at)) != std::string::npos; at += to.size())
            other.replace(at, from.size(), to);
    };
    rename("\"Line1\"", "\"Input1\"");
    rename(">Gain<", ">Amplification<");
    rename("\"Gain\"", "\"Amplification\"");
    rename("<Max>24</Max>", "<Max>1</Max>");
    rename("<Min>16</Min>", "<Min>800</Min>");
    plugIn(other);
    EXPECT_TRUE(restore());
    EXPECT_THAT(refusals,
                ElementsAre("Width 640: below the minimum 800",
                            StartsWith("LineMode (LineSelector Line1): LineSelector Line1: "),
                            "Gain: there is no such feature"));
    std::string user;
    EXPECT_TRUE(features->getString("DeviceUserID", user));
    EXPECT_EQ("x", user);
}

TEST_F(SettingsOfAnApplication, ThatTheCameraLeavesUnansweredAreNamedToo) {
    set({{"Gain", "2"}, {"LineSelector", "Line1"}, {"LineInverter", "1"}, {"StepLimit", "70"}});
    for (const char* const step : {"0", "2", "4"})
        set({{"StepSelector", step}, {"StepTime", "40"}});
    set({{"LineSelector", "Line0"}, {"Debounce", "1"}, {"Width", "640"}, {"OffsetX", "8"}});
    const std::string before = registers();
    plugIn();
    camera->ignore(kGain, kGain + 4);
    silence = AppliedSettings::Silence::isUnready;
    EXPECT_FALSE(restore());
    EXPECT_EQ(static_cast<int>(Error::timeout), Infra::getLastError());
    EXPECT_EQ(1, camera->unanswered());
    silence = AppliedSettings::Silence::isRefusal;
    ASSERT_TRUE(restore()) << lastErrorMessage();
    EXPECT_THAT(refusals, ElementsAre(AllOf(StartsWith("Gain"), HasSubstr("no answer"))));
    camera->ignore(0, 0);
    ASSERT_TRUE(restore()) << lastErrorMessage();
    EXPECT_EQ(before, registers());
    // Many at the same register, and everything: each takes its time.
    plugIn();
    camera->ignore(kStepTimes, kStepTimes + 0x40);
    ASSERT_TRUE(restore()) << lastErrorMessage();
    EXPECT_THAT(refusals, ElementsAre(HasSubstr("0)"), HasSubstr("2)"),
                                      StartsWith("StepTime 40 (ProgramSelector 0, StepSelector 4): "
                                                 "not tried")));
    EXPECT_EQ(640u, camera->memory().number(kWidth));
    const int unanswered = camera->unanswered();
    plugIn();
    camera->ignore(0, 0x1000);
    ASSERT_TRUE(restore()) << lastErrorMessage();
    ASSERT_THAT(refusals, SizeIs(settings->all().size()));
    EXPECT_THAT(refusals.back(), StartsWith("OffsetX 8: not tried"));
    EXPECT_LE(camera->unanswered(), 4 * unanswered);
}

TEST_F(SettingsOfAnApplication, EndWithTheLink) {
    set({{"Width", "640"}, {"OffsetX", "8"}, {"Gain", "2"}, {"LineInverter", "1"}});
    for (const Error error : {Error::connectionLost, Error::notConnected}) {
        plugIn();
        camera->failAfter(4, error);
        EXPECT_FALSE(restore());
        EXPECT_EQ(static_cast<int>(error), Infra::getLastError());
        EXPECT_THAT(refusals, IsEmpty());
        EXPECT_THAT(notes(), SizeIs(4));
    }
}

TEST(AppliedSettings, AreBounded) {
    kestro::test::RecordingLogger::instance().reset();
    const auto warnings = [] { return kestro::test::RecordingLogger::instance().lines(400, 400); };
    AppliedSettings settings("Acme:1");
    for (std::size_t i = 0; i < AppliedSettings::kMost; ++i)
        settings.note({"Gain", "1", {{"LUTIndex", std::to_string(i)}}});
    settings.note({"Gain", "2", {{"LUTIndex", "0"}}});
    settings.note({"TLParamsLocked", "1", {}});
    settings.warnIfFull();
    EXPECT_THAT(settings.all(), SizeIs(AppliedSettings::kMost));
    EXPECT_THAT(warnings(), IsEmpty());
    settings.note({"Width", "1", {}});
    settings.note({"Height", "1", {}});
    settings.warnIfFull();
    settings.warnIfFull();
    EXPECT_THAT(warnings(), ElementsAre(HasSubstr("more than 4096 settings were made")));
    const auto all = settings.all();
    ASSERT_THAT(all, SizeIs(AppliedSettings::kMost));
    EXPECT_EQ("3", all.front().selectors.front().value);
    EXPECT_EQ("Height", all.back().name);
    settings.note({kUserSetLoad, "", {}, true});
    EXPECT_THAT(settings.all(), SizeIs(1));
}

}  // namespace
}  // namespace Vorda::Gige
