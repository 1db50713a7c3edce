// SPDX-License-Identifier: Apache-2.0
#include "DeviceConfig.h"
#include "DeviceConfigText.h"
#include "LastError.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Vorda::Gige {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
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

}  // namespace
}  // namespace Vorda::Gige
