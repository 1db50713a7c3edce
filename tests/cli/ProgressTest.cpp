// SPDX-License-Identifier: Apache-2.0
#include "Progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kestrocli;
using testing::HasSubstr;
using testing::Not;

namespace {

ProgressNow halfWay() { return {{40, 0}, {20, 57, 3}, 65.4, 9.94}; }

TEST(ProgressLine, SaysHowFarTheReadingIs) {
    EXPECT_EQ(progressLine(halfWay(), 79, {}),
              "  20 of 40 frames  ##########..........  1:05  9.9 frames/s  57 codes  3 missed");
    EXPECT_EQ(progressLine({{}, {1, 1, 0}, 7200, {}}, 79, {}),
              "  1 frame  2:00:00  1 code  0 missed");
    EXPECT_THAT(progressLine({{0, 10}, {3, 0, 0}, 5, 1.0}, 79, {}), HasSubstr("0:05 of 0:10"));
    EXPECT_EQ(progressLine({{}, {}, 3, {}}, 79, {}), "  waiting for the first frame  0:03");
}

TEST(ProgressLine, SaysThatTheCameraIsAway) {
    ProgressNow now = halfWay();
    now.isAway = true;
    now.counts.reconnects = 2;
    const std::string line = progressLine(now, 100, {});
    EXPECT_THAT(line, testing::EndsWith("  1:05  camera away  57 codes  3 missed  2 reconnects"));
    EXPECT_THAT(progressLine(now, 40, {}), HasSubstr("camera away"));
    EXPECT_EQ(progressLine({{}, {}, 3, {}, true}, 79, {}), "  waiting for the camera  0:03");
}

TEST(ProgressLine, FitsAnyTerminal) {
    for (std::size_t columns = 2; columns < 200; ++columns) {
        for (const ProgressNow& now : {halfWay(), ProgressNow{{}, {}, 1, {}},
                                       ProgressNow{{0, 1e8}, {~0ULL, ~0ULL, ~0ULL}, 1e8, 1e9}}) {
            EXPECT_LE(progressLine(now, columns, {}).size(), columns);
        }
    }
    const std::string narrow = progressLine(halfWay(), 40, {});
    EXPECT_THAT(narrow, HasSubstr("20 of 40 frames"));
    EXPECT_THAT(narrow, HasSubstr("3 missed")) << "what matters most stays";
    EXPECT_THAT(narrow, Not(HasSubstr("codes")));
}

TEST(ProgressLine, HasAFullBarAtTheEndAndNoMoreThanThatAfterIt) {
    for (const std::uint64_t frames : {40U, 400U}) {
        ProgressNow now = halfWay();
        now.counts.frames = frames;
        EXPECT_THAT(progressLine(now, 79, {}), HasSubstr("  #################"));
        EXPECT_THAT(progressLine(now, 79, {}), Not(HasSubstr("#.")));
    }
}

TEST(ProgressLine, IsPlainForATerminalThatWantsNoColours) {
    EXPECT_THAT(progressLine(halfWay(), 79, {false, true}), Not(HasSubstr("\033")));
    EXPECT_THAT(progressLine(halfWay(), 79, {true, true}), HasSubstr("\033[33m3 missed\033[0m"));
}

}  // namespace
