// SPDX-License-Identifier: Apache-2.0
#include "FormatText.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdarg>
#include <cstdint>
#include <string>

namespace {

std::string format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = VXlog4cpp::formatText(format, arguments);
    va_end(arguments);
    return text;
}

TEST(FormatText, PrintsSixtyFourBitNumbersOfEitherSpelling) {
    constexpr std::uint64_t kBig = 18446744073709551615ULL;
    EXPECT_EQ(format("{%I64u} {%llu}", kBig, kBig),
              "{18446744073709551615} {18446744073709551615}");
    EXPECT_EQ(format("%I64d", static_cast<std::int64_t>(-1)), "-1");
    EXPECT_EQ(format("0x%I64x, len: {%u}", std::uint64_t{0xABCDEF0123}, 7U),
              "0xabcdef0123, len: {7}");
    EXPECT_EQ(format("%08I64x|%-6I64d|", std::uint64_t{255}, std::int64_t{3}), "000000ff|3     |");
    EXPECT_EQ(format("%.3I64d|%*I64d|", std::int64_t{7}, 4, std::int64_t{8}), "007|   8|");
}

TEST(FormatText, ChangesConversionsOnly) {
    EXPECT_EQ(format("%%I64u is no conversion"), "%I64u is no conversion");
    EXPECT_EQ(format("%d%%I64", 5), "5%I64");
    EXPECT_EQ(format("%s", "a text with %I64u inside"), "a text with %I64u inside");
}

TEST(FormatText, KeepsTextsOfAnyLength) {
    const std::string longText(100'000, 'x');
    EXPECT_EQ(format("<%s>", longText.c_str()), "<" + longText + ">");
    EXPECT_EQ(format(""), "");
}

TEST(FormatText, EndsWellOnABrokenFormat) {
    EXPECT_EQ(VXlog4cpp::portableFormat("50%"), "50%");
    EXPECT_EQ(VXlog4cpp::portableFormat("% 08"), "% 08");
    EXPECT_EQ(VXlog4cpp::portableFormat("%I64"), "%ll");
}

}  // namespace
