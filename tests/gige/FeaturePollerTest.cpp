// SPDX-License-Identifier: Apache-2.0
#include "FeaturePoller.h"

#include "PollSchedule.h"
#include "ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <future>
#include <map>
#include <optional>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using kestro::test::eventually;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

/** Features with values that a test sets; those without one cannot be read. */
struct Values {
    void set(const std::string& name, std::optional<std::string> value) {
        const std::lock_guard lock(mutex);
        values[name] = std::move(value);
    }
    bool read(const std::string& name, std::string& text) {
        const std::lock_guard lock(mutex);
        ++reads[name];
        if (!values[name]) return false;
        text = *values[name];
        return true;
    }
    int readsOf(const std::string& name) {
        const std::lock_guard lock(mutex);
        return reads[name];
    }
    /** Waits until a feature was read once more from its beginning. */
    void awaitRead(const std::string& name) {
        const int before = readsOf(name);
        ASSERT_TRUE(eventually([&] { return readsOf(name) >= before + 2; }));
    }
    void onChanged(const Names& names) {
        const std::lock_guard lock(mutex);
        changes.push_back(names);
    }
    std::vector<Names> seenChanges() {
        const std::lock_guard lock(mutex);
        return changes;
    }

    std::mutex mutex;
    std::map<std::string, std::optional<std::string>> values;
    std::map<std::string, int> reads;
    std::vector<Names> changes;
};

struct FeaturePollerTest : testing::Test {
    void start(std::vector<Features::Polled> features) {
        poller.start(std::move(features),
                     [kept = values](const std::string& name, std::string& text) {
                         return kept->read(name, text);
                     });
    }

    std::shared_ptr<Values> values = std::make_shared<Values>();
    FeaturePoller poller{[this](const Names& names) { values->onChanged(names); }};
};

TEST_F(FeaturePollerTest, TellsWhatMovedSinceItWasLastSeen) {
    values->set("Temperature", "20.5");
    values->set("Lines", "0");
    start({{"Temperature", 50ms}, {"Lines", 50ms}, {"Idle", 1h}});
    values->awaitRead("Lines");
    EXPECT_THAT(values->seenChanges(), IsEmpty());  // the first values are no news
    values->set("Lines", "1");
    ASSERT_TRUE(eventually([&] { return values->seenChanges().size() == 1; }));
    values->awaitRead("Lines");
    EXPECT_THAT(values->seenChanges(), ElementsAre(Names{"Lines"}));
    EXPECT_EQ(1, values->readsOf("Idle"));
}

TEST_F(FeaturePollerTest, TellsWhatMovedTogetherInOneList) {
    // Every value moves from round to round.
    poller.start({{"B", 50ms}, {"A", 50ms}},
                 [round = 0](const std::string& name, std::string& text) mutable {
                     text = std::to_string(round);
                     if (name == "A") ++round;
                     return true;
                 });
    ASSERT_TRUE(eventually([&] { return values->seenChanges().size() >= 2; }));
    EXPECT_THAT(values->seenChanges(), Each(Names{"B", "A"}));
}

TEST_F(FeaturePollerTest, LeavesAloneWhatCannotBeRead) {
    values->set("Away", "1");
    values->set("Never", std::nullopt);
    start({{"Never", 50ms}, {"Away", 50ms}});
    values->awaitRead("Away");
    values->set("Away", std::nullopt);
    values->awaitRead("Away");
    values->set("Away", "1");
    values->awaitRead("Away");
    EXPECT_THAT(values->seenChanges(), IsEmpty());
    values->set("Away", std::nullopt);
    values->awaitRead("Away");
    values->set("Away", "2");
    ASSERT_TRUE(eventually([&] { return !values->seenChanges().empty(); }));
    EXPECT_THAT(values->seenChanges(), ElementsAre(Names{"Away"}));
}

TEST_F(FeaturePollerTest, LetsGoOfTheFeaturesWhenItStops) {
    start({{"A", 1h}});
    start({{"B", 1h}});  // once is enough
    ASSERT_TRUE(eventually([&] { return values->readsOf("A") == 1; }));
    EXPECT_EQ(2, values.use_count());
    poller.requestStop();
    poller.finish();
    EXPECT_EQ(1, values.use_count());
    start({{"B", 1h}});
    poller.finish();
    EXPECT_EQ(0, values->readsOf("B"));
}

TEST_F(FeaturePollerTest, StopsInTheMiddleOfARound) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<int> reads{0};
    poller.start({{"A", 50ms}, {"B", 50ms}}, [&](const std::string&, std::string&) {
        if (++reads == 1) entered.set_value();
        mayLeave.get_future().wait();
        return false;
    });
    entered.get_future().wait();
    poller.requestStop();  // does not wait
    mayLeave.set_value();
    poller.finish();
    EXPECT_EQ(1, reads);
}

TEST(FeaturePoller, MayBeDroppedOnItsOwnThread) {
    std::unique_ptr<FeaturePoller> poller;
    std::atomic<bool> isGone{false};
    std::atomic<int> value{0};
    std::string threadName(16, '\0');
    poller = std::make_unique<FeaturePoller>([&](const Names&) {
        pthread_getname_np(pthread_self(), threadName.data(), threadName.size());
        poller.reset();
        isGone = true;
    });
    poller->start({{"A", 50ms}}, [&](const std::string&, std::string& text) {
        text = std::to_string(++value);
        return true;
    });
    EXPECT_TRUE(eventually([&] { return isGone.load(); }));
    EXPECT_STREQ("kst-poll", threadName.c_str());
}

TEST(PollSchedule, TakesTheEarliestFirstAndNothingTooOften) {
    const PollSchedule::Clock::time_point start{};
    PollSchedule schedule;
    for (const auto period : {300ms, -1ms, 100ms, 50ms}) schedule.add(period, start);
    schedule.add(std::chrono::milliseconds::max(), start);
    auto round = schedule.takeDue(start);
    EXPECT_THAT(round, ElementsAre(0, 1, 2, 3, 4));
    // The round took 10 ms.
    schedule.finish(round, start + 10ms);
    EXPECT_EQ(start + 60ms, schedule.next());
    EXPECT_THAT(schedule.takeDue(start + 59ms), IsEmpty());
    round = schedule.takeDue(start + 60ms);
    EXPECT_THAT(round, ElementsAre(1, 3));
    schedule.finish(round, start + 200ms);  // a slow one: what was missed is not made up for
    EXPECT_EQ(start + 110ms, schedule.next());
    EXPECT_THAT(schedule.takeDue(start + 320ms), ElementsAre(2, 1, 3, 0));
    EXPECT_EQ(start + 10ms + 24h, schedule.next());
}

}  // namespace
}  // namespace Vorda::Gige
