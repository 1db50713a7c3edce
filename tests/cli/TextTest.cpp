// SPDX-License-Identifier: Apache-2.0
#include "Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

using namespace kestrocli;
using namespace std::string_literals;

namespace {

struct Bytes {
    std::string bytes;
    bool isUtf8;
    std::string replaced;
    std::string shown;
};

class TextOfCodes : public testing::TestWithParam<Bytes> {};

TEST_P(TextOfCodes, IsJudgedReplacedAndShown) {
    EXPECT_EQ(isUtf8(GetParam().bytes), GetParam().isUtf8);
    EXPECT_EQ(toUtf8(GetParam().bytes), GetParam().replaced);
    EXPECT_EQ(visible(GetParam().bytes), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    , TextOfCodes,
    testing::Values(
        Bytes{"", true, "", ""}, Bytes{"plain ~", true, "plain ~", "plain ~"},
        Bytes{"h\xC3\xA4lt \xE2\x82\xAC \xF0\x9F\x93\xA6", true,
              "h\xC3\xA4lt \xE2\x82\xAC \xF0\x9F\x93\xA6",
              "h\xC3\xA4lt \xE2\x82\xAC \xF0\x9F\x93\xA6"},
        // What a code could send to a terminal: colours, a title, a line of its own, a reversed
        // line.
        Bytes{"\x1b[2J\x07", true, "\x1b[2J\x07", "\\x1B[2J\\x07"},
        Bytes{"a\r\n\tb\\n", true, "a\r\n\tb\\n", "a\\r\\n\\tb\\\\n"},
        Bytes{"\0"s, true, "\0"s, "\\x00"}, Bytes{"\x7F", true, "\x7F", "\\x7F"},
        Bytes{"\xC2\x9B", true, "\xC2\x9B", "\\u{9B}"},
        Bytes{"\xE2\x80\xAE", true, "\xE2\x80\xAE", "\\u{202E}"},
        Bytes{"\xE2\x80\xA8", true, "\xE2\x80\xA8", "\\u{2028}"},
        // Not UTF-8: Latin-1, cut off, overlong, a surrogate, beyond Unicode, a lone continuation.
        Bytes{"caf\xE9!", false, "caf\xEF\xBF\xBD!", "caf\\xE9!"},
        Bytes{"\xE2\x82", false, "\xEF\xBF\xBD\xEF\xBF\xBD", "\\xE2\\x82"},
        Bytes{"\xC0\xAF", false, "\xEF\xBF\xBD\xEF\xBF\xBD", "\\xC0\\xAF"},
        Bytes{"\xE0\x80\x9B", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", "\\xE0\\x80\\x9B"},
        Bytes{"\xED\xA0\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", "\\xED\\xA0\\x80"},
        Bytes{"\xF4\x90\x80\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
              "\\xF4\\x90\\x80\\x80"},
        Bytes{"\x9B"
              "31m",
              false,
              "\xEF\xBF\xBD"
              "31m",
              "\\x9B31m"}));

TEST(VisibleText, HasNoByteThatSteersATerminal) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
            const std::string shown = visible({bytes, 2});
            EXPECT_TRUE(isUtf8(shown));
            EXPECT_TRUE(std::none_of(
                shown.begin(), shown.end(),
                [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }))
                << first << ' ' << second;
        }
    }
}

TEST(Base64, IsThatOfTheRfc) {
    const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foobar", "Zm9vYmFy"},
                                                           {"\xFF\xFE\xFD", "//79"},
                                                           {"\xFB\xEF", "++8="}};
    for (const auto& [bytes, text] : vectors) EXPECT_EQ(base64(bytes), text);
}

TEST(Table, AlignsByCharactersNotBytes) {
    EXPECT_EQ(table({{"A", "B"}, {"\xC3\xA4\xC3\xB6", "1"}, {"xyz"}}),
              "A    B\n\xC3\xA4\xC3\xB6   1\nxyz\n");
    EXPECT_EQ(table({}), "");
}

TEST(ShortenedText, IsCutBetweenCharacters) {
    EXPECT_EQ(shortened("Größe", 5), "Größe");
    EXPECT_EQ(shortened("Größen", 5), "Gr...");
    EXPECT_EQ(shortened("Größenmaß", 6), "Grö...");
    EXPECT_EQ(shortened("Größe", 2), "Größe");
}

TEST(HexDump, ShowsSixteenBytesALine) {
    std::vector<std::uint8_t> bytes;
    for (std::uint8_t i = 0; i < 18; ++i) bytes.push_back(static_cast<std::uint8_t>(0x30 + i));
    bytes[1] = 0x7F;
    EXPECT_EQ(hexDump(0xA00, bytes),
              "0x00000a00  30 7f 32 33 34 35 36 37  38 39 3a 3b 3c 3d 3e 3f  0.23456789:;<=>?\n"
              "0x00000a10  40 41                                             @A\n");
    EXPECT_EQ(hexDigits(std::vector<std::uint8_t>{0x0F, 0xA0}), "0fa0");
    EXPECT_EQ(hexNumber(0x1'0000'0000), "0x100000000");
}

TEST(IsoTime, IsUtcWithMicroseconds) {
    using namespace std::chrono;
    EXPECT_EQ(isoTime(system_clock::time_point(1'700'000'000s + 42us)),
              "2023-11-14T22:13:20.000042Z");
    EXPECT_EQ(isoTime(system_clock::time_point(-1us)), "1969-12-31T23:59:59.999999Z");
}

}  // namespace
