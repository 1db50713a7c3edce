// SPDX-License-Identifier: Apache-2.0
#include <kestro/Result.h>

#include "DeviceSdkDouble.h"
#include "LogLine.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <locale>
#include <optional>
#include <type_traits>

namespace kestro::test {
namespace {

static_assert(sizeof(Result) == 4);
static_assert(std::is_trivially_destructible_v<Result>);
static_assert(std::is_convertible_v<Result, bool> && std::is_convertible_v<int, Result>);
// `int code = camera->connect();` would be 1 on success.
static_assert(!std::is_convertible_v<Result, int> && !std::is_convertible_v<Result, double> &&
              !std::is_convertible_v<Result, unsigned> && !std::is_convertible_v<Result, char>);

TEST(Result, TestsTrueOnSuccessOnly) {
    const Result success;
    EXPECT_EQ(success.getCode(), 0);
    EXPECT_TRUE(success && success.isOK() && !success.isFailure());
    for (const int code : {3, -1, INT_MIN}) {
        const Result failure(code);
        EXPECT_EQ(failure.getCode(), code);
        EXPECT_FALSE(failure || failure.isOK() || !failure.isFailure());
    }
}

TEST(Result, ComparesAndAssignsItsCode) {
    Result result(3);
    EXPECT_TRUE(result == 3 && result == Result(3) && result != 20 && result != Result(20));
    EXPECT_FALSE(result != 3 || result == Result(20));
    Result& alias = result;
    result = alias;
    EXPECT_EQ(result.getCode(), 3);
    result = Result(20);
    EXPECT_EQ(result.getCode(), 20);
    result.setCode(0);
    EXPECT_TRUE(result);
}

TEST(LogFileName, IsWhatFollowsTheLastBackslashOrElseTheLastSlash) {
    EXPECT_STREQ(logFileName("Src\\System"), "System");
    EXPECT_STREQ(logFileName("a/b\\c"), "c");
    EXPECT_STREQ(logFileName("a\\b/c"), "b/c");
    EXPECT_STREQ(logFileName("a/b/c.cpp"), "c.cpp");
    EXPECT_STREQ(logFileName("c.cpp"), "c.cpp");
    EXPECT_STREQ(logFileName("a/"), "");
    EXPECT_STREQ(logFileName(""), "");
}

struct ErrorCase {
    int number;
    std::optional<std::string> text;
    const char* expected;
};

// Groups digits by thousands, as some locales of host applications do.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(LastErrorText, HasEightDigitsTheMessageAndAFullStop) {
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const ErrorCase cases[] = {
        {0, "nothing", "code: 0x00000000."},
        {11, "timeout", "code: 0x0000000b, msg: timeout."},
        {-2, "gone", "code: 0xfffffffe, msg: gone."},
        {INT_MIN, "low", "code: 0x80000000, msg: low."},
        {0x12345678, "it ended.", "code: 0x12345678, msg: it ended.."},
        {5, std::nullopt, "code: 0x00000005, msg: <null>."},
        {5, "", "code: 0x00000005, msg: ."},
        {5, "100% %s", "code: 0x00000005, msg: 100% %s."},
    };
    for (const ErrorCase& error : cases) {
        DeviceSdkDouble::setLastError(error.number, error.text);
        EXPECT_EQ(lastErrorText(), error.expected);
    }
    std::locale::global(before);
}

}  // namespace
}  // namespace kestro::test
