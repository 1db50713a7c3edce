// SPDX-License-Identifier: Apache-2.0
#include "DeviceConfig.h"

#include "Descriptions.h"
#include "DeviceConfigText.h"
#include "Features.h"
#include "GigeCamera.h"
#include "LastError.h"
#include "MemoryPort.h"
#include "RecordingLogger.h"
#include "ScriptedCamera.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Vorda::Gige {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using kestro::test::MemoryPort;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kHeader = "# {05D8C294-F295-4dfb-9D01-096BD04049F4}\n";

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

struct TextCase {
    const char* name;
    std::string text;  ///< behind the header
    std::vector<std::string> entries;
    std::vector<std::string> faults;
};

class DeviceConfigText : public testing::TestWithParam<TextCase> {};

TEST_P(DeviceConfigText, IsReadTolerantly) {
    ConfigurationText parsed;
    ASSERT_TRUE(parseConfiguration(kHeader + GetParam().text, parsed)) << lastErrorMessage();
    std::vector<std::string> entries;
    for (const auto& each : parsed.entries)
        entries.push_back(std::to_string(each.line) + " " + each.name + "=" + each.value);
    EXPECT_EQ(GetParam().entries, entries);
    std::vector<std::string> faults;
    for (const auto& each : parsed.faults) faults.push_back(each.text);
    EXPECT_EQ(GetParam().faults, faults);
}

const TextCase kTextCases[] = {
    {"Nothing", "", {}, {}},
    {"CommentsAndEmptyLines", "# x\ty\n\n  \nA\t1\n", {"5 A=1"}, {}},
    {"DosLines", "A\t1\r\n\r\nB\t2\r\n", {"2 A=1", "4 B=2"}, {}},
    {"NoLastLineEnd", "A\t1\nB\t2", {"2 A=1", "3 B=2"}, {}},
    {"SpacesOfAText", " A \t two words ", {"2 A= two words "}, {}},
    {"EmptyText", "A\t\n", {"2 A="}, {}},
    {"ForeignLetters", "A\t\xc3\xa4\xff\n", {"2 A=\xc3\xa4\xff"}, {}},
    {"NoTab", "A 1\nB\t2\n", {"3 B=2"}, {"line 2: there is no tab between a name and a value"}},
    {"NoName",
     "\t1\n1A\t2\nA-B\t3\n",
     {},
     {"line 2: no name of a feature before the tab", "line 3: no name of a feature before the tab",
      "line 4: no name of a feature before the tab"}},
    {"ControlCharacters",
     "A\t1\t2\nB\t\0\nC\t1\r2\n"s,
     {},
     {"line 2: control characters in the value", "line 3: control characters in the value",
      "line 4: control characters in the value"}},
    {"TooLong", "A\t" + std::string(kMaxConfigurationLineBytes, 'x'), {}, {"line 2: too long"}},
};

INSTANTIATE_TEST_SUITE_P(DeviceConfig, DeviceConfigText, testing::ValuesIn(kTextCases),
                         [](const auto& each) { return each.param.name; });

TEST(DeviceConfig, KnowsWhatIsNoConfiguration) {
    ConfigurationText parsed;
    for (const std::string& text :
         {""s, "A\t1\n"s, "\0\0\0\0"s, "# {05D8C294-F295-4dfb-9D01-096BD04049F"s, "\x7f\x45LF"s}) {
        EXPECT_FALSE(parseConfiguration(text, parsed)) << text;
        EXPECT_EQ(Error::invalidArgument, lastError());
    }
    EXPECT_TRUE(
        parseConfiguration("\xef\xbb\xbf#{05d8c294-f295-4dfb-9d01-096bd04049f4}\r\n", parsed));
    EXPECT_FALSE(parseConfiguration(kHeader + std::string(kMaxConfigurationBytes, '\n'), parsed));
    EXPECT_FALSE(parseConfiguration(kHeader + std::string(kMaxConfigurationLines, '\n'), parsed));
    EXPECT_TRUE(parsed.entries.empty());
}

TEST(DeviceConfig, NamesTheDeviceOnOneLine) {
    EXPECT_THAT(configurationHeader("Acme:\n1"), StartsWith(kHeader));
    EXPECT_THAT(configurationHeader("Acme:\n1"), HasSubstr("\n# Device = Acme:?1\n"));
}

/** A camera whose connection is lost after so many requests. */
class FailingPort final : public kestro::test::ForwardingPort {
 public:
    using ForwardingPort::ForwardingPort;
    void failAfter(int requests) { left_ = requests; }
    [[nodiscard]] int requests() const { return requests_; }

 private:
    bool mayPass() override {
        ++requests_;
        return left_-- > 0 || fail(Error::connectionLost, "lost");
    }

    int left_ = 1'000'000;
    int requests_ = 0;
};

class ConfigurationFile : public testing::Test {
 protected:
    void SetUp() override {
        std::filesystem::create_directory(folder);
        FeatureSources sources;
        sources.camera = camera;
        sources.model =
            FeatureModel::make(kestro::test::checked(kestro::test::golden("config.xml")));
        sources.events = std::make_shared<EventData>();
        sources.stream = std::make_shared<StreamCounters>();
        ASSERT_TRUE(sources.model) << lastErrorMessage();
        features = std::make_shared<Features>(std::move(sources));
        set({{"Width", "640"}, {"Gain", "1.5"}, {"DeviceUserID", "Gate 7"}});
        set({{"StepLimit", "1000"}});
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    void set(const std::vector<std::pair<const char*, const char*>>& values) {
        for (const auto& [name, value] : values)
            ASSERT_TRUE(features->setText(name, value)) << lastErrorMessage();
    }
    std::string get(const char* name) {
        std::string value;
        EXPECT_TRUE(features->getText(name, value)) << lastErrorMessage();
        return value;
    }
    /** All registers of the description. */
    std::string registers() {
        std::array<std::uint8_t, 0x200> bytes{};
        EXPECT_TRUE(memory->readMemory(0x100, bytes));
        return {bytes.begin(), bytes.end()};
    }
    bool save() { return saveConfiguration(*features, "Acme:1", path); }
    std::string saved() {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool load() {
        refusals.clear();
        return loadConfiguration(*features, path, refusals);
    }
    bool load(const std::string& lines) {
        std::ofstream(path) << kHeader << lines;
        return load();
    }

    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("kestro-" + std::to_string(::getpid()));
    const std::string path = folder / "camera.cfg";
    const std::shared_ptr<MemoryPort> memory = std::make_shared<MemoryPort>();
    const std::shared_ptr<FailingPort> camera = std::make_shared<FailingPort>(memory);
    std::shared_ptr<Features> features;
    std::vector<std::string> refusals;
};

TEST_F(ConfigurationFile, HoldsEveryPositionOfSelectorsAndTheirOwnAtTheEnd) {
    set({{"LineSelector", "Line1"}, {"LineMode", "Output"}, {"StepSelector", "2"}});
    set({{"StepTime", "30"}, {"ProgramSelector", "1"}, {"StepSelector", "4"}, {"StepTime", "70"}});
    const std::string before = registers();
    ASSERT_TRUE(save()) << lastErrorMessage();
    EXPECT_EQ(before, registers());
    EXPECT_EQ(std::string(kHeader) +
                  "# GenApi persistence file (version 3.1.0)\n# Device = Acme:1\n"
                  "Width\t640\nOffsetX\t0\nGain\t1.5\nDeviceUserID\tGate "
                  "7\nStepLimit\t1000\nDebounce\t0\n"
                  "LineSelector\tLine0\nLineMode\tInput\nLineInverter\t0\n"
                  "LineSelector\tLine1\nLineMode\tOutput\nLineInverter\t0\n"
                  "ProgramSelector\t0\nStepSelector\t0\nStepTime\t0\n"
                  "StepSelector\t2\nStepTime\t30\nStepSelector\t4\nStepTime\t0\n"
                  "ProgramSelector\t1\nStepSelector\t0\nStepTime\t0\n"
                  "StepSelector\t2\nStepTime\t0\nStepSelector\t4\nStepTime\t70\n"
                  "LineSelector\tLine1\nProgramSelector\t1\nStepSelector\t4\n",
              saved());
}

TEST_F(ConfigurationFile, BringsEverythingBack) {
    memory->set(0x144, "\0\0\0\1"sv);
    set({{"Width", "2000"}, {"OffsetX", "400"}, {"LineSelector", "Line2"}, {"LineMode", "Output"}});
    set({{"StepSelector", "4"}, {"StepTime", "5"}, {"Scratch", "8"}});
    set({{"ProgramSelector", "1"}, {"StepSelector", "4"}, {"StepTime", "9"}});
    const std::string before = registers();
    ASSERT_TRUE(save()) << lastErrorMessage();
    // Now the old width is out of range until the old offset is back.
    set({{"Width", "16"}, {"OffsetX", "2432"}, {"Gain", "20.25"}});
    set({{"DeviceUserID", "x"}, {"Debounce", "3"}, {"StepTime", "11"}, {"ProgramSelector", "0"}});
    set({{"StepSelector", "2"}, {"StepTime", "12"}, {"LineMode", "Input"}});
    set({{"LineSelector", "Line0"}, {"LineInverter", "1"}});
    ASSERT_TRUE(load()) << lastErrorMessage();
    EXPECT_THAT(refusals, IsEmpty());
    std::string after = registers();
    // Where a selector stands that is itself not selected belongs to no configuration.
    after[0x123] = before[0x123];
    EXPECT_EQ(before, after);
    EXPECT_EQ("8", get("Scratch"));
}

TEST_F(ConfigurationFile, MayHaveItsLinesInAnyOrder) {
    for (const char* lines : {"OffsetX\t2000\nWidth\t400\n", "Width\t400\nOffsetX\t2000\n"}) {
        for (const auto& [width, offset] : {std::pair{"2448", "0"}, {"16", "2432"}}) {
            set({{"Width", "16"}, {"OffsetX", offset}, {"Width", width}});
            EXPECT_TRUE(load(lines)) << lastErrorMessage();
            EXPECT_EQ("400 2000", get("Width") + " " + get("OffsetX"));
        }
    }
}

TEST_F(ConfigurationFile, KeepsTheSelectorsOfALineThatIsTriedAgain) {
    set({{"StepLimit", "100"}, {"StepSelector", "4"}});
    // The first line belongs where the camera is.
    EXPECT_TRUE(
        load("StepTime\t400\nStepSelector\t2\nStepTime\t200\nStepSelector\t0\nStepTime\t1\n"
             "StepLimit\t500\n"))
        << lastErrorMessage();
    EXPECT_EQ("0 1", get("StepSelector") + " " + get("StepTime"));
    for (const auto& [step, time] : {std::pair{"2", "200"}, {"4", "400"}}) {
        set({{"StepSelector", step}});
        EXPECT_EQ(time, get("StepTime"));
    }
}

TEST_F(ConfigurationFile, DoesNotApplyALineElsewhereWhenItsSelectorIsRefused) {
    EXPECT_FALSE(
        load("LineSelector\tLine1\nLineMode\tInput\nLineSelector\tLine2\n"
             "LineMode\tOutput\nGain\t2\n"));
    EXPECT_THAT(refusals, ElementsAre(StartsWith("LineSelector Line2: "),
                                      StartsWith("LineMode (LineSelector Line2): LineSelector ")));
    EXPECT_EQ("Line1 Input 2", get("LineSelector") + " " + get("LineMode") + " " + get("Gain"));
}

TEST_F(ConfigurationFile, NamesWhatIsRefusedAndAppliesTheRest) {
    EXPECT_FALSE(
        load("Wdith\t5\nWidth\t5001\nGain 3\nLineSelector\tLine1\nLineMode\tSideways\n"
             "Reset\t1\nGain\t3\nRoot\t\nOffsetX\tmany\n"));
    EXPECT_THAT(refusals,
                ElementsAre(StartsWith("Wdith: "), "Width 5001: above the maximum 2448",
                            "line 4: there is no tab between a name and a value",
                            StartsWith("LineMode Sideways (LineSelector Line1): "),
                            StartsWith("Reset"), StartsWith("Root"), StartsWith("OffsetX many: ")));
    EXPECT_EQ(Error::feature, lastError());
    EXPECT_EQ("7 of 9 settings were refused, the first: " + refusals.front(), lastErrorMessage());
    EXPECT_EQ("3", get("Gain"));
    EXPECT_EQ("Line1", get("LineSelector"));
    EXPECT_EQ("640", get("Width"));
}

TEST_F(ConfigurationFile, TakesItsLastLineForAFeature) {
    EXPECT_TRUE(load("Width\t9999\nWidth\t800\nGain\t2\nGain\t4\n")) << lastErrorMessage();
    EXPECT_EQ("800 4", get("Width") + " " + get("Gain"));
}

TEST_F(ConfigurationFile, WritesOnlyWhatIsDifferent) {
    memory->set(0x140, "\0\0\0\1"sv);
    EXPECT_TRUE(load("Debounce\t0\nGain\t1.50\n")) << lastErrorMessage();
    EXPECT_FALSE(load("Debounce\t1\n"));
    EXPECT_THAT(refusals, ElementsAre(StartsWith("Debounce")));
}

TEST_F(ConfigurationFile, LeavesOutATextThatNoLineHolds) {
    memory->set(0x120, "two\nlines");
    kestro::test::RecordingLogger::instance().reset();
    ASSERT_TRUE(save());
    EXPECT_THAT(saved(), Not(HasSubstr("DeviceUserID")));
    EXPECT_THAT(kestro::test::RecordingLogger::instance().lines(400, 400),
                ElementsAre(HasSubstr("without DeviceUserID, key=[Acme:1]")));
    EXPECT_TRUE(load());
}

TEST_F(ConfigurationFile, EndsWithTheConnection) {
    ASSERT_TRUE(save());
    const std::string before = saved();
    const int needed = camera->requests();
    for (int requests = 0; requests < needed; requests += 7) {
        camera->failAfter(requests);
        if (save()) break;
        ASSERT_EQ(Error::connectionLost, lastError()) << requests;
        ASSERT_EQ(before, saved());
    }
    camera->failAfter(20);
    EXPECT_FALSE(load());
    EXPECT_EQ(Error::connectionLost, lastError());
    EXPECT_THAT(refusals, IsEmpty());
}

TEST_F(ConfigurationFile, MustBeAFileOfItsKind) {
    const std::string before = registers();
    for (const std::string& bad :
         {""s, folder.string(), (folder / "none").string(), "/dev/zero"s}) {
        EXPECT_FALSE(loadConfiguration(*features, bad, refusals)) << bad;
        EXPECT_THAT(lastErrorMessage(), Not(IsEmpty()));
    }
    // A line without an end, as long as a file can be without taking room.
    std::ofstream(path) << kHeader << "Width\t1";
    std::filesystem::resize_file(path, 100 << 20);
    EXPECT_FALSE(load());
    EXPECT_EQ(Error::invalidArgument, lastError());
    EXPECT_THAT(refusals, IsEmpty());
    EXPECT_EQ(before, registers());
}

TEST_F(ConfigurationFile, IsNotLeftHalfWhereItCannotBeWritten) {
    const std::string before = registers();
    EXPECT_FALSE(saveConfiguration(*features, "Acme:1", ""));
    EXPECT_EQ(Error::invalidArgument, lastError());
    EXPECT_FALSE(saveConfiguration(*features, "Acme:1", folder / "no/such/folder"));
    EXPECT_EQ(Error::system, lastError());
    EXPECT_EQ(before, registers());
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(ConfigurationFile, WritesALineOfTheLogForEachRefusal) {
    kestro::test::ScriptedCamera scripted;
    scripted.setRegister(0x934, 4);
    scripted.setDescription("camera.xml", kestro::test::smallDescription());
    FoundDevice found;
    found.device.address = Ipv4{scripted.address()};
    found.via = {"lo", Ipv4{0x7f000001}, Ipv4{0xff000000}, {}, {}, 65536, true};
    const auto connected = std::make_shared<GigeCamera>(found, "Acme:1");
    EXPECT_NE(0, connected->saveDeviceConfig(path.c_str()));
    EXPECT_EQ(Error::notConnected, lastError());
    ASSERT_TRUE(connected->connect(2)) << lastErrorMessage();
    EXPECT_NE(0, connected->saveDeviceConfig(nullptr));
    ASSERT_EQ(0, connected->saveDeviceConfig(path.c_str())) << lastErrorMessage();
    Infra::CString errors;
    ASSERT_EQ(0, connected->loadDeviceConfig(path.c_str(), errors));
    EXPECT_TRUE(errors.empty());
    std::ofstream(path) << kHeader << "Width\t1\nTLParamsLocked\t2\n";
    kestro::test::RecordingLogger::instance().reset();
    EXPECT_EQ(static_cast<int>(Error::feature), connected->loadDeviceConfig(path.c_str(), errors));
    EXPECT_THAT(errors.c_str(), HasSubstr("\nTLParamsLocked 2: above the maximum 1\n"));
    EXPECT_THAT(kestro::test::RecordingLogger::instance().lines(400, 400),
                ElementsAre(HasSubstr("key=[Acme:1]: Width"),
                            HasSubstr("key=[Acme:1]: TLParamsLocked 2: above the maximum 1")));
}

}  // namespace
}  // namespace Vorda::Gige
