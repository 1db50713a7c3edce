// SPDX-License-Identifier: Apache-2.0
#include "StreamNumbers.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cstdint>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kestro::decode::streamFloat;
using kestro::decode::streamNumber;

struct Row {
    const char* text;
    std::uint32_t asUnsigned;
    std::int32_t asSigned;
    float asFloat;
};

constexpr std::uint32_t kMostUnsigned = 4294967295U;
constexpr std::int32_t kMost = 2147483647;
constexpr std::int32_t kLeast = -2147483647 - 1;

const Row kRows[] = {
    {"", 0, 0, 0},
    {"   ", 0, 0, 0},
    {"abc", 0, 0, 0},
    {"12abc", 12, 12, 12},
    {" 7", 7, 7, 7},
    {"\x09\x0B\x0C\x0D\x0A"
     "7",
     7, 7, 7},
    {"-1", kMostUnsigned, -1, -1},
    {"+5", 5, 5, 5},
    {"+-5", 0, 0, 0},
    {"007", 7, 7, 7},
    {"4294967295", kMostUnsigned, kMost, 4.2949673e+09F},
    {"4294967296", kMostUnsigned, kMost, 4.2949673e+09F},
    {"-4294967296", kMostUnsigned, kLeast, -4.2949673e+09F},
    {"99999999999", kMostUnsigned, kMost, 9.9999998e+10F},
    {"-99999999999", kMostUnsigned, kLeast, -9.9999998e+10F},
    {"2147483648", 2147483648U, kMost, 2.14748365e+09F},
    {"-2147483649", 2147483647U, kLeast, -2.14748365e+09F},
    {"1e3", 1, 1, 1000},
    {"1e", 1, 1, 0},
    {"0x10", 0, 0, 0},
    {".5", 0, 0, 0.5F},
    {"5.", 5, 5, 5},
    {"1,000", 1, 1, 1},
    {"nan", 0, 0, 0},
    {"inf", 0, 0, 0},
    {"1e39", 1, 1, FLT_MAX},
    {"1e400", 1, 1, FLT_MAX},
    {"-1e400", kMostUnsigned, -1, -FLT_MAX},
    {"1e-46", 1, 1, 0},
    {"1e+", 1, 1, 0},
    {"e3", 0, 0, 0},
    {"x10", 0, 0, 0},
    {"--5", 0, 0, 0},
    {"- 5", 0, 0, 0},
    {"infinity", 0, 0, 0},
    {"\xEF\xBB\xBF"
     "5",
     0, 0, 0},
    {"true", 0, 0, 0},
    {"1e3x", 1, 1, 1000},
    // Next to the middle between two floats, nearer to it than any double is: above and below.
    {".50001659989357", 0, 0, 0x1.00022EP-1F},
    {".50002321600914", 0, 0, 0x1.00030AP-1F},
};

TEST(StreamNumbers, ReadAsAStreamDoes) {
    for (const Row& row : kRows) {
        EXPECT_EQ(streamNumber<std::uint32_t>(row.text), row.asUnsigned) << '"' << row.text << '"';
        EXPECT_EQ(streamNumber<std::int32_t>(row.text), row.asSigned) << '"' << row.text << '"';
        EXPECT_EQ(streamFloat(row.text), row.asFloat) << '"' << row.text << '"';
    }
}

template <typename T>
T extracted(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    T value = 0;
    stream >> value;
    return value;
}

void expectAsAStream(const std::string& text) {
    ASSERT_EQ(streamNumber<std::uint32_t>(text), extracted<std::uint32_t>(text)) << text;
    ASSERT_EQ(streamNumber<std::int32_t>(text), extracted<std::int32_t>(text)) << text;
    // By their bits, so that -0 and 0 differ.
    ASSERT_EQ(std::bit_cast<std::uint32_t>(streamFloat(text)),
              std::bit_cast<std::uint32_t>(extracted<float>(text)))
        << text;
}

TEST(StreamNumbers, EqualARealStreamOnRandomTexts) {
    static constexpr std::array<std::string_view, 26> kPieces = {
        "0",    "1",     "2", "5", "9", "7",  "4294967", "2147483", "000000", "99999999999999",
        ".",    "-",     "+", "e", "E", "e3", "e-4",     "e38",     "e39",    "e-46",
        "e400", "e-400", " ", "x", ",", "\t"};
    std::mt19937 random(20240229);
    for (int i = 0; i < 200'000; ++i) {
        std::string text;
        for (auto pieces = random() % 7; pieces > 0; --pieces) {
            text += kPieces[random() % kPieces.size()];
        }
        ASSERT_NO_FATAL_FAILURE(expectAsAStream(text));
    }
}

TEST(StreamNumbers, EqualARealStreamOnRandomFloats) {
    std::mt19937 random(7);
    for (int i = 0; i < 100'000; ++i) {
        std::ostringstream text;
        text.precision(static_cast<std::streamsize>(1 + random() % 12));
        text << std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        ASSERT_NO_FATAL_FAILURE(expectAsAStream(text.str()));
    }
}

TEST(StreamNumbers, ReadNumbersOfAnyLength) {
    const std::string zeros(500, '0');
    const std::vector<std::string> texts = {
        "1" + zeros + "e-500", "0." + zeros + "1e501",
        "0." + zeros + "1",    "1" + zeros,
        "-" + zeros + "7",     "0." + zeros + "1e99999999999",
        "0e99999999999",       "1" + zeros + "e-99999999999",
        {'5', '\0', '7'},
    };
    for (const std::string& text : texts) {
        expectAsAStream(text);
    }
}

}  // namespace
