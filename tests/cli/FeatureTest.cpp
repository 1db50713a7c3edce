// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"
#include "Fakes.h"
#include "FeatureFile.h"
#include "FeatureValue.h"
#include "ForceIp.h"
#include "Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <ostream>

using namespace kestrocli;
using kestro::ParameterType;
using testing::HasSubstr;

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();

struct Meaning {
    ParameterType type;
    std::string text;
    std::optional<FeatureValue> value;
    std::string shown;  ///< the value as text again
};

void PrintTo(const Meaning& meaning, std::ostream* out) {
    *out << typeName(meaning.type) << ' ' << meaning.text;
}

class FeatureTexts : public testing::TestWithParam<Meaning> {};

TEST_P(FeatureTexts, MeanAValueAndAreWrittenAgain) {
    const auto value = valueFrom(GetParam().type, GetParam().text);
    ASSERT_EQ(value.has_value(), GetParam().value.has_value()) << GetParam().text;
    if (!value) return;
    EXPECT_EQ(*value, *GetParam().value) << GetParam().text;
    EXPECT_EQ(textOf(*value), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    , FeatureTexts,
    testing::Values(
        Meaning{ParameterType::Int, "640", std::int64_t{640}, "640"},
        Meaning{ParameterType::Int, "-0x10", std::int64_t{-16}, "-16"},
        Meaning{ParameterType::Int, "0XFF", std::int64_t{255}, "255"},
        Meaning{ParameterType::Int, "-9223372036854775808", kLowest, "-9223372036854775808"},
        Meaning{ParameterType::Int, "9223372036854775808", {}, ""},
        Meaning{ParameterType::Int, "1.0", {}, ""}, Meaning{ParameterType::Int, "", {}, ""},
        Meaning{ParameterType::Int, "--1", {}, ""}, Meaning{ParameterType::Int, "0x", {}, ""},
        Meaning{ParameterType::Int, " 1", {}, ""}, Meaning{ParameterType::Float, "0.1", 0.1, "0.1"},
        Meaning{ParameterType::Float, "1e6", 1e6, "1000000"},
        Meaning{ParameterType::Float, "-0", -0.0, "-0"},
        Meaning{ParameterType::Float, "1e300", 1e300, "1e+300"},
        Meaning{ParameterType::Float, "5e-324", 5e-324, "5e-324"},
        Meaning{ParameterType::Float, "1,5", {}, ""}, Meaning{ParameterType::Float, "nan", {}, ""},
        Meaning{ParameterType::Float, "inf", {}, ""}, Meaning{ParameterType::Float, "2 us", {}, ""},
        Meaning{ParameterType::Bool, "TRUE", true, "true"},
        Meaning{ParameterType::Bool, "0", false, "false"},
        Meaning{ParameterType::Bool, "yes", {}, ""},
        Meaning{ParameterType::Enum, "Mono8", std::string("Mono8"), "Mono8"},
        Meaning{ParameterType::String, "", std::string(), ""},
        Meaning{ParameterType::Command, "1", {}, ""}, Meaning{ParameterType::Group, "1", {}, ""}));

FeatureRecord exposure() {
    FeatureRecord record;
    record.name = "ExposureTime";
    record.type = ParameterType::Float;
    record.visibility = kestro::ParameterVisibility::Beginner;
    record.access = 7;
    record.value = 2500.5;
    record.least = 10.0;
    record.most = 1e6;
    record.unit = "us";
    return record;
}

TEST(FeatureLimits, AreToldAsFarAsTheCameraSetsThem) {
    FeatureRecord record = exposure();
    EXPECT_EQ(rangeText(record), "10..1000000 us");
    EXPECT_EQ(allowedText(record), "10 to 1000000 us");
    record.most.reset();
    EXPECT_EQ(allowedText(record), "from 10 on us");
    record.least.reset();
    EXPECT_EQ(rangeText(record), "us");
    record.type = ParameterType::Int;
    record.unit.clear();
    EXPECT_EQ(rangeText(record), "");
    EXPECT_EQ(allowedText(record), "any whole number");
    record.least = std::int64_t{64};
    record.most = std::int64_t{1280};
    record.increment = 16;
    EXPECT_EQ(rangeText(record), "64..1280 /16");
    EXPECT_EQ(allowedText(record), "64 to 1280 in steps of 16");

    FeatureRecord mode;
    mode.type = ParameterType::Enum;
    mode.entries = {{"Off", 0}, {"On\x1b[31m", 1}};
    EXPECT_EQ(rangeText(mode), "Off|On\\x1B[31m");
    EXPECT_EQ(allowedText(mode), "one of Off, On\\x1B[31m");
    FeatureRecord name;
    name.type = ParameterType::String;
    name.longest = 15;
    EXPECT_EQ(allowedText(name), "a text of at most 15 bytes");
}

TEST(FeatureAccess, IsWhatCanBeDoneNow) {
    const std::pair<unsigned, const char*> cases[] = {
        {0, "--"}, {1, "--"}, {3, "ro"}, {5, "wo"}, {7, "rw"}};
    for (const auto& [bits, text] : cases) {
        FeatureRecord record;
        record.access = bits;
        EXPECT_EQ(accessText(record), text);
    }
}

TEST(FeatureLine, HoldsWhatAppliesToTheKind) {
    EXPECT_EQ(featureLine(exposure(), {"AcquisitionControl"}),
              R"({"name":"ExposureTime","type":"float","categories":["AcquisitionControl"],)"
              R"("visibility":"beginner","available":true,"readable":true,"writable":true,)"
              R"("value":2500.5,"min":10,"max":1e+06,"unit":"us"})");
    FeatureRecord mode;
    mode.name = "TriggerMode";
    mode.type = ParameterType::Enum;
    mode.entries = {{"Off", 0}, {"On", 18446744073709551615U}};
    mode.selectors = {"TriggerSelector"};
    EXPECT_THAT(featureLine(mode, {}),
                HasSubstr(R"("value":null,"entries":[{"symbol":"Off","value":0},)"
                          R"({"symbol":"On","value":18446744073709551615}],)"
                          R"("selectors":["TriggerSelector"]})"));
    FeatureRecord command;
    command.type = ParameterType::Command;
    EXPECT_THAT(featureLine(command, {}), testing::Not(HasSubstr("\"value\"")));
}

class FeatureFiles : public testing::Test {
 protected:
    std::string file(const std::string& content) {
        const std::string path = folder_.path() + "/file";
        std::ofstream(path) << content;
        return path;
    }
    static std::vector<std::string> shown(const std::vector<Assignment>& assignments) {
        std::vector<std::string> texts;
        for (const auto& one : assignments) texts.push_back(one.name + "|" + one.value);
        return texts;
    }
    template <typename Action>
    static std::string usageFailure(const Action& action) {
        try {
            action();
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::usage);
            return failure.what();
        }
        ADD_FAILURE() << "nothing was refused";
        return {};
    }

    kestrotest::TemporaryFolder folder_;
};

TEST_F(FeatureFiles, GiveAssignmentsInOrder) {
    const std::string path =
        file("# comment\r\n\r\n  Width = 640 \nDeviceUserID=a # b = c\n\t#\nGain=");
    EXPECT_THAT(shown(assignmentsOf({"Height=1", "@" + path, "Text= x "})),
                testing::ElementsAre("Height|1", "Width|640", "DeviceUserID|a # b = c", "Gain|",
                                     "Text| x "));
}

TEST_F(FeatureFiles, SayWhichLineIsNoAssignment) {
    const std::string path = file("Width=1\nHeight 2\n");
    EXPECT_THAT(usageFailure([&] { (void)assignmentsOf({"@" + path}); }), HasSubstr("file:2:"));
    for (const char* word : {"Width", "=640", ""}) {
        EXPECT_THAT(usageFailure([&] { (void)assignmentsOf({word}); }), HasSubstr("NAME=VALUE"));
    }
    EXPECT_THAT(usageFailure([&] { (void)assignmentsOf({"@" + path + "x"}); }),
                HasSubstr("No such file"));
    EXPECT_THAT(usageFailure([&] { (void)readConfiguration(folder_.path()); }),
                HasSubstr("directory"));
    EXPECT_THAT(usageFailure([&] { (void)readConfiguration(path); }), HasSubstr("file:1:"));
}

TEST_F(FeatureFiles, OfConfigurationsKeepValuesAsTheyAre) {
    EXPECT_THAT(shown(readConfiguration(
                    file("\xEF\xBB\xBF# {x}\nTriggerSelector\tFrameStart\nText\t a\tb \n"))),
                testing::ElementsAre("TriggerSelector|FrameStart", "Text| a\tb "));
}

TEST(ForcedAddress, TakesAMaskInBothForms) {
    ForceIpOptions options;
    for (const char* text : {"192.168.1.7/24", "192.168.1.7/255.255.255.0"}) {
        options.address = text;
        EXPECT_EQ(planAddress(options).address, "192.168.1.7");
        EXPECT_EQ(planAddress(options).mask, "255.255.255.0");
        EXPECT_EQ(planAddress(options).gateway, "0.0.0.0");
    }
    options.address = "10.0.0.1/8";
    options.gateway = "10.0.0.254";
    EXPECT_EQ(planAddress(options).mask, "255.0.0.0");
    EXPECT_EQ(planAddress(options).gateway, "10.0.0.254");
}

TEST(ForcedAddress, IsRefusedWhereNoCameraCanHaveIt) {
    for (const char* text : {"192.168.1.7", "192.168.1/24", "192.168.1.7/", "192.168.1.7/0",
                             "192.168.1.7/31", "192.168.1.7/33", "192.168.1.7/255.0.255.0",
                             "192.168.1.7/0.0.0.0", "192.168.1.0/24", "192.168.1.255/24"}) {
        ForceIpOptions options;
        options.address = text;
        EXPECT_THROW((void)planAddress(options), Failure) << text;
    }
    ForceIpOptions options;
    options.address = "192.168.1.7/24";
    options.gateway = "gate";
    EXPECT_THROW((void)planAddress(options), Failure);
}

}  // namespace
