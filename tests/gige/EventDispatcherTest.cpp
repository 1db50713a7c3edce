// SPDX-License-Identifier: Apache-2.0
#include "EventDispatcher.h"

#include "ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <future>
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
    const auto listener = std::make_shared<Listener>();
    std::promise<void> entered;
    std::promise<void> mayLeave;
    listener->hook = [&] {
        entered.set_value();
        mayLeave.get_future().wait();
    };
    auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    events.postConnection(true);
    entered.get_future().wait();
    std::atomic<bool> isGone{false};
    std::thread remover([&] {
        subscription.reset();
        isGone = true;
    });
    EXPECT_FALSE(eventually([&] { return isGone.load(); }, std::chrono::milliseconds(50)));
    mayLeave.set_value();
    remover.join();
    EXPECT_THAT(listener->seenStates(), ElementsAre(1));
}

TEST(EventDispatcher, MayBeDestroyedByItsOwnHandler) {
    auto events = std::make_unique<EventDispatcher>();
    auto subscription = events->subscribe();
    const auto listener = std::make_shared<Listener>();
    std::atomic<bool> isGone{false};
    listener->hook = [&] {
        subscription.reset();
        events.reset();
        isGone = true;
    };
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    events->postConnection(false);
    EXPECT_TRUE(eventually([&] { return isGone.load(); }));
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

TEST(EventDispatcher, DropsTheOldestUpdatesButNoConnectionEvent) {
    EventDispatcher events;
    const auto listener = std::make_shared<Listener>();
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<int> calls{0};
    listener->hook = [&] {
        if (++calls > 1) return;
        entered.set_value();
        mayLeave.get_future().wait();
    };
    const auto subscription = events.subscribe();
    ASSERT_TRUE(subscription->setEventQueueSize(2));
    EXPECT_FALSE(subscription->setEventQueueSize(0));
    ASSERT_TRUE(subscription->subscribeConnectArgs(connectBinding(listener)));
    ASSERT_TRUE(subscription->subscribeParamsUpdate(updateBinding(listener)));
    events.postConnection(true);
    entered.get_future().wait();
    for (const char* name : {"A", "B", "C"}) events.postUpdates(named(name));
    events.postConnection(false);
    mayLeave.set_value();
    ASSERT_TRUE(eventually([&] { return listener->seenStates().size() == 2; }));
    EXPECT_THAT(listener->seenNames(), ElementsAre("C"));
}

}  // namespace
}  // namespace Vorda::Gige
