// SPDX-License-Identifier: Apache-2.0
#include "Fakes.h"
#include "IntervalHistogram.h"
#include "PixelFormat.h"
#include "Tally.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace kestrocli;
using kestrotest::FakeFrame;
using kestrotest::frameWithCode;

namespace {

struct Ids {
    std::vector<std::uint64_t> ids;
    std::uint64_t missed;
    std::uint64_t lastNumber;
};

class BlockIds : public testing::TestWithParam<Ids> {};

TEST_P(BlockIds, AreNumberedAndGapsCounted) {
    BlockCounter counter;
    std::uint64_t number = 0;
    for (const std::uint64_t id : GetParam().ids) {
        const std::uint64_t next = counter.next(id);
        EXPECT_GT(next, number);
        number = next;
    }
    EXPECT_EQ(counter.missed(), GetParam().missed);
    EXPECT_EQ(number, GetParam().lastNumber);
}

INSTANTIATE_TEST_SUITE_P(
    , BlockIds,
    testing::Values(Ids{{1, 2, 3}, 0, 3}, Ids{{3, 4, 8}, 3, 8},
                    // 16-bit ids go from 65535 to 1; one of them may be the one that is missing
                    Ids{{65534, 65535, 1, 2}, 0, 65537}, Ids{{65534, 2}, 2, 65537},
                    Ids{{65535, 65536, 65537}, 0, 65537},
                    // a camera that starts again, or repeats itself, has lost nothing that we know
                    Ids{{1, 2, 3, 1, 2}, 0, 5}, Ids{{1, 1}, 0, 2}));

TEST(BlockCounter, BeginsAnewWithACameraThatIsBack) {
    BlockCounter counter;
    EXPECT_EQ(counter.next(65000), 65000U);
    counter.expectRestart();
    EXPECT_EQ(counter.next(65003), 65003U);  // the old stream, that lost two
    EXPECT_EQ(counter.next(1), 65004U);      // the new one, before its news
    counter.restart();
    EXPECT_EQ(counter.next(70), 65005U);
    EXPECT_EQ(counter.missed(), 2U);
    counter.next(65535);
    EXPECT_EQ(counter.next(1), 130471U) << "that is a wrap again";
}

const std::chrono::steady_clock::time_point kStart{};

std::shared_ptr<FakeFrame> frameWithStatus(std::uint32_t status) {
    auto frame = std::make_shared<FakeFrame>();
    frame->status = status;
    frame->image.resize(2'000'000);
    return frame;
}

TEST(Tally, GivesRatesBetweenTheFirstAndTheLastFrame) {
    Tally tally;
    EXPECT_FALSE(tally.framesPerSecond());
    for (int i = 0; i <= 10; ++i) {
        tally.add(*frameWithStatus(2), kStart + i * std::chrono::milliseconds(100), 0);
    }
    EXPECT_DOUBLE_EQ(tally.framesPerSecond().value(), 10.0);
    EXPECT_DOUBLE_EQ(tally.megabytesPerSecond().value(), 20.0);
    EXPECT_EQ(tally.summary(),
              "11 frames, 10.0 frames/s, 20.0 MB/s, 0 codes, read rate 100.0 %, 0 missed");
}

TEST(Tally, DoesNotTakeAnOutageForAnIntervalBetweenFrames) {
    Tally tally;
    for (int i = 0; i <= 100; ++i) {
        if (i > 0 && i % 24 == 0) tally.addReconnect();
        tally.add(*frameWithStatus(2),
                  kStart + i * std::chrono::milliseconds(8) + i / 24 * std::chrono::seconds(9), 0);
    }
    EXPECT_THAT(tally.summary(), testing::EndsWith("0 missed, 4 reconnects"));
    EXPECT_THAT(tally.intervals(), testing::MatchesRegex(".* p95 (7.9|8.0). ms"));
}

TEST(Tally, CountsCompleteReadings) {
    Tally tally;
    for (const std::uint32_t status : {2U, 7U, 3U, 4U})
        tally.add(*frameWithStatus(status), kStart, 3);
    EXPECT_DOUBLE_EQ(tally.readRate().value(), 50.0);
    EXPECT_EQ(tally.summary(), "4 frames, - frames/s, - MB/s, 0 codes, read rate 50.0 %, 3 missed");
}

TEST(Tally, CountsFramesWithCodesWhereNoStatusIsSent) {
    Tally tally;
    tally.add(*frameWithStatus(0), kStart, 0);
    EXPECT_FALSE(tally.readRate());
    const auto read = frameWithCode(2, "x");
    read->status = 0;
    tally.add(*read, kStart, 0);
    EXPECT_DOUBLE_EQ(tally.readRate().value(), 50.0);
}

TEST(PixelFormat, IsNamedOrPrinted) {
    EXPECT_EQ(pixelFormatName(0x01080001), "Mono8");
    EXPECT_EQ(pixelFormatName(0x02180014), "RGB8");
    EXPECT_EQ(pixelFormatName(0xFFFFFFFF), "0xFFFFFFFF");
    EXPECT_EQ(pixelFormatName(0x01080099), "0x01080099");
}

TEST(IntervalHistogram, GivesThePercentilesOfASortedListWithinHalfAPercent) {
    std::mt19937_64 random(1);
    for (const double width : {0.01, 1.0, 8.0}) {  // of the spread, in powers of e
        std::lognormal_distribution<double> lengths(std::log(1e8), width);
        IntervalHistogram histogram;
        std::vector<double> sorted;
        for (int i = 0; i < 10'000; ++i) {
            const std::chrono::nanoseconds interval(static_cast<std::int64_t>(lengths(random)));
            histogram.add(interval);
            sorted.push_back(static_cast<double>(interval.count()));
        }
        std::sort(sorted.begin(), sorted.end());
        for (const int percent : {1, 50, 95, 99, 100}) {
            const double exact = sorted[static_cast<std::size_t>(percent) * 100 - 1];
            EXPECT_NEAR(static_cast<double>(histogram.percentile(percent).count()), exact,
                        exact * 0.005)
                << percent;
        }
    }
}

TEST(IntervalHistogram, TakesAnyInterval) {
    using std::chrono::nanoseconds;
    for (const nanoseconds interval :
         {nanoseconds(0), nanoseconds(1), nanoseconds(255), nanoseconds(256), nanoseconds::max()}) {
        IntervalHistogram histogram;
        histogram.add(interval);
        EXPECT_NEAR(static_cast<double>(histogram.percentile(50).count()),
                    static_cast<double>(interval.count()),
                    static_cast<double>(interval.count()) * 0.005);
    }
    IntervalHistogram histogram;
    histogram.add(nanoseconds::min());
    EXPECT_EQ(histogram.percentile(50), nanoseconds(0));
}

TEST(Tally, GivesPercentilesOfTheIntervalOnceThereAreEnoughFrames) {
    Tally tally;
    const auto add = [&](int frames) {
        while (frames-- > 0) {
            tally.add(*frameWithStatus(2), kStart + tally.frames() * std::chrono::milliseconds(8),
                      0);
        }
    };
    add(20);
    EXPECT_EQ(tally.intervals(), "");
    add(1);
    EXPECT_THAT(tally.intervals(),
                testing::MatchesRegex("frame interval: p50 (7.9|8.0). ms, p95 (7.9|8.0). ms"));
    add(80);
    EXPECT_THAT(tally.intervals(), testing::MatchesRegex(".*, p99 (7.9|8.0). ms"));
}

}  // namespace
