// SPDX-License-Identifier: Apache-2.0
#include "EventDispatcher.h"

#include "EventQueue.h"
#include "ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <future>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace Vorda::Gige {
namespace {

using GenICam::ConnectBinding;
using GenICam::ParamsUpdateBinding;
using GenICam::SConnectArg;
using GenICam::SParamsUpdateArg;
using kestro::test::eventually;
using testing::ElementsAre;

/** Records what it is told; the hook, if any, runs inside the handler. */
struct Listener {
    void onConnect(const SConnectArg& argument) {
        if (hook) hook();
        pthread_getname_np(pthread_self(), threadName, sizeof threadName);
        const std::lock_guard lock(mutex);
        states.push_back(argument.state);
    }
    void onUpdate(const SParamsUpdateArg& argument) {
        const std::lock_guard lock(mutex);
        for (const auto& name : argument.names) names.emplace_back(name.c_str());
    }
    std::vector<int> seenStates() {
        const std::lock_guard lock(mutex);
        return states;
    }
    std::vector<std::string> seenNames() {
        const std::lock_guard lock(mutex);
        return names;
    }

    std::function<void()> hook;
    char threadName[16] = "";
    std::mutex mutex;
    std::vector<int> states;
    std::vector<std::string> names;
};

/** Keeps the event thread in its first call until it is let go. */
struct BusyListener : Listener {
    BusyListener() {
        hook = [this] {
            if (++calls > 1) return;
            entered.set_value();
            mayLeave.get_future().wait();
        };
    }
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<int> calls{0};
};

ConnectBinding connectBinding(const std::shared_ptr<Listener>& listener) {
    return ConnectBinding::toMember<&Listener::onConnect>(listener);
}

ParamsUpdateBinding updateBinding(const std::shared_ptr<Listener>& listener) {
    return ParamsUpdateBinding::toMember<&Listener::onUpdate>(listener);
}

Infra::TVector<Infra::CString> named(const char* name) { return {Infra::CString(name)}; }

TEST(EventDispatcher, DeliversInOrderOnItsOwnThread) {
    EventDispatcher events;
    const auto listener = std::make_shared<Listener>();
    const auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));  // once is enough
    ASSERT_TRUE(subscription->subscribeParamsUpdate(updateBinding(listener)));
    events.postConnection(false);
    events.postConnection(true);
    events.postUpdates(named("Width"));
    ASSERT_TRUE(eventually([&] { return !listener->seenNames().empty(); }));
    EXPECT_THAT(listener->seenStates(), ElementsAre(0, 1));
    EXPECT_THAT(listener->seenNames(), ElementsAre("Width"));
    EXPECT_STREQ("kst-event", listener->threadName);
}

TEST(EventDispatcher, EndsDeliveryWithTheSubscription) {
    EventDispatcher events;
    const auto first = std::make_shared<Listener>();
    const auto second = std::make_shared<Listener>();
    auto gone = events.subscribe();
    const auto kept = events.subscribe();
    ASSERT_TRUE(gone->subscribeConnectArgs(connectBinding(first)));
    ASSERT_TRUE(kept->subscribeConnectArgs(connectBinding(second)));
    ASSERT_TRUE(kept->subscribeConnectArgs(connectBinding(first)));
    EXPECT_TRUE(kept->unsubscribeConnectArgs(connectBinding(first)));
    EXPECT_TRUE(kept->unsubscribeConnectArgs(connectBinding(first)));
    gone.reset();
    events.postConnection(true);
    ASSERT_TRUE(eventually([&] { return second->seenStates().size() == 1; }));
    EXPECT_TRUE(first->seenStates().empty());
}

TEST(EventDispatcher, WaitsForARunningHandlerBeforeItLetsGo) {
    EventDispatcher events;
    const auto listener = std::make_shared<BusyListener>();
    auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    events.postConnection(true);
    listener->entered.get_future().wait();
    std::atomic<bool> isGone{false};
    std::thread remover([&] {
        subscription.reset();
        isGone = true;
    });
    EXPECT_FALSE(eventually([&] { return isGone.load(); }, std::chrono::milliseconds(50)));
    listener->mayLeave.set_value();
    remover.join();
    EXPECT_THAT(listener->seenStates(), ElementsAre(1));
}

TEST(EventDispatcher, SurvivesAHandlerThatThrows) {
    EventDispatcher events;
    const auto listener = std::make_shared<Listener>();
    std::atomic<int> calls{0};
    listener->hook = [&] {
        if (++calls == 1) throw std::runtime_error("handler");
    };
    const auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    events.postConnection(false);
    events.postConnection(true);
    EXPECT_TRUE(eventually([&] { return listener->seenStates() == std::vector<int>{1}; }));
}

TEST(EventDispatcher, GathersUpdatesBehindABusyHandler) {
    EventDispatcher events;
    const auto listener = std::make_shared<BusyListener>();
    const auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->setEventQueueSize(2));
    EXPECT_FALSE(subscription->setEventQueueSize(0));
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    ASSERT_TRUE(subscription->subscribeParamsUpdate(updateBinding(listener)));
    events.postConnection(true);
    listener->entered.get_future().wait();
    for (const char* name : {"A", "B", "B", "C", "B"}) events.postUpdates(named(name));
    events.postConnection(false);
    listener->mayLeave.set_value();
    ASSERT_TRUE(eventually([&] { return listener->seenStates().size() == 2; }));
    EXPECT_THAT(listener->seenNames(), ElementsAre("B", "C"));
}

TEST(EventDispatcher, KeepsNoUpdatesThatNobodyWants) {
    EventDispatcher events;
    const auto listener = std::make_shared<BusyListener>();
    const auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    events.postConnection(true);
    listener->entered.get_future().wait();
    const auto update = updateBinding(listener);
    events.postUpdates(named("Early"));
    ASSERT_TRUE(subscription->subscribeParamsUpdate(update));
    ASSERT_TRUE(subscription->unsubscribeParamsUpdate(update));
    events.postUpdates(named("Between"));
    ASSERT_TRUE(subscription->subscribeParamsUpdate(update));
    events.postUpdates(named("Wanted"));
    listener->mayLeave.set_value();
    ASSERT_TRUE(eventually([&] { return !listener->seenNames().empty(); }));
    EXPECT_THAT(listener->seenNames(), ElementsAre("Wanted"));
}

/** What waits, each event as a line: its names, or "online" or "offline". */
std::vector<std::string> emptied(EventQueue& queue) {
    std::vector<std::string> lines;
    while (const auto event = queue.pop()) {
        std::string line;
        if (const auto* change = std::get_if<SConnectArg>(&*event)) {
            line = change->state == 1 ? "online" : "offline";
        } else {
            for (const auto& name : std::get<SParamsUpdateArg>(*event).names)
                line += (line.empty() ? "" : " ") + std::string(name.c_str());
        }
        lines.push_back(line);
    }
    EXPECT_TRUE(queue.isEmpty());
    return lines;
}

/** Posts each line's names as one event; "online" and "offline" are connection events. */
void post(EventQueue& queue, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        if (line == "online" || line == "offline") {
            queue.pushConnection({line == "online" ? 1 : 0});
            continue;
        }
        std::istringstream words(line);
        Infra::TVector<Infra::CString> names;
        for (std::string name; words >> name;) names.emplace_back(name);
        static_cast<void>(queue.pushUpdates(std::move(names)));
    }
}

struct QueueCase {
    const char* what;
    std::size_t limit;
    std::vector<std::string> posted;
    std::vector<std::string> delivered;
};

class EventQueueTest : public testing::TestWithParam<QueueCase> {};

TEST_P(EventQueueTest, Delivers) {
    const QueueCase& each = GetParam();
    EventQueue queue;
    queue.setLimit(each.limit);
    // Emptied, it is as good as new.
    for (int round = 0; round < 2; ++round) {
        post(queue, each.posted);
        EXPECT_EQ(each.delivered, emptied(queue));
    }
}

const QueueCase kQueueCases[] = {
    {"OneListForOneEvent", 9, {"A B", "", "C"}, {"A B", "C"}},
    {"AWaitingNameOnceAtItsFirstPlace", 9, {"A", "B", "A", "C B D", "E E"}, {"A", "B", "C D", "E"}},
    {"NoUpdateAcrossAConnectionEvent",
     9,
     {"A B", "offline", "A", "online", "B A", "A"},
     {"A B", "offline", "A", "online", "B A"}},
    {"TheNewestNames", 3, {"A", "B", "C", "D"}, {"B", "C", "D"}},
    {"TheNewestNamesOfAList", 3, {"A B C", "D"}, {"B C", "D"}},
    {"TheNewestNamesOfALongList", 3, {"A", "B C D E F"}, {"D E F"}},
    {"ADroppedNameThatChangesAgain", 2, {"A", "B", "C", "A"}, {"C", "A"}},
    {"ADroppedNameThatWaitsAgainBehind", 2, {"A", "offline", "A B", "A"}, {"offline", "A B"}},
    {"ConnectionEventsBeyondTheLimit",
     1,
     {"online", "A", "offline", "A", "online", "B", "offline"},
     {"online", "offline", "online", "B", "offline"}},
};

INSTANTIATE_TEST_SUITE_P(Cases, EventQueueTest, testing::ValuesIn(kQueueCases),
                         [](const auto& tested) { return std::string(tested.param.what); });

TEST(EventQueue, ShrinksToANewLimit) {
    EventQueue queue;
    post(queue, {"A B", "C", "offline", "D"});
    queue.setLimit(2);
    EXPECT_THAT(emptied(queue), ElementsAre("C", "offline", "D"));
}

}  // namespace
}  // namespace Vorda::Gige
