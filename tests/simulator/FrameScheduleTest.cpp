// SPDX-License-Identifier: Apache-2.0
#include "FrameSchedule.h"

#include <gtest/gtest.h>

namespace kestrosim {
namespace {

using std::chrono::milliseconds;

struct Lateness {
    milliseconds first;   ///< of the frame that is taken
    milliseconds second;  ///< when the next one is due, after the start
};

class FrameScheduleAfterALateFrame : public testing::TestWithParam<Lateness> {};

TEST_P(FrameScheduleAfterALateFrame, KeepsToTheRateWithoutExceedingIt) {
    StreamSettings settings;
    settings.framesPerSecond = 10;
    FrameSchedule schedule;
    const FrameSchedule::Clock::time_point start{milliseconds(5000)};
    schedule.start(start, 0);
    ASSERT_EQ(schedule.due(settings), start);
    schedule.begin(settings, start + GetParam().first);
    EXPECT_EQ(schedule.due(settings), start + GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(By, FrameScheduleAfterALateFrame,
                         testing::Values(Lateness{milliseconds(0), milliseconds(100)},
                                         Lateness{milliseconds(10), milliseconds(100)},
                                         Lateness{milliseconds(60), milliseconds(160)},
                                         Lateness{milliseconds(730), milliseconds(830)}));

}  // namespace
}  // namespace kestrosim
