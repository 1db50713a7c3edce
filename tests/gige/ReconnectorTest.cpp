// SPDX-License-Identifier: Apache-2.0
#include "Reconnector.h"

#include "ScriptedCamera.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

namespace Vorda::Gige {
namespace {

using kestro::test::eventually;

TEST(Reconnector, RepeatsAnAttemptUntilItSucceeds) {
    std::atomic<int> attempts{0};
    std::atomic<int> needed{4};
    Reconnector reconnector([&] { return ++attempts >= needed; });
    ASSERT_TRUE(reconnector.begin());
    ASSERT_TRUE(eventually([&] { return attempts == 4; }));
    needed = 6;
    ASSERT_TRUE(reconnector.begin());
    ASSERT_TRUE(eventually([&] { return attempts >= 6; }));
    EXPECT_EQ(6, attempts);  // none between the success and the second order
}

TEST(Reconnector, DoesNotMissAnOrderDuringTheAttemptThatSucceeds) {
    std::atomic<int> attempts{0};
    std::promise<void> goOn;
    std::shared_future<void> mayGoOn = goOn.get_future().share();
    Reconnector reconnector([&attempts, mayGoOn] {
        ++attempts;
        mayGoOn.wait();
        return true;
    });
    ASSERT_TRUE(reconnector.begin());
    ASSERT_TRUE(eventually([&] { return attempts == 1; }));
    ASSERT_TRUE(reconnector.begin());
    goOn.set_value();
    EXPECT_TRUE(eventually([&] { return attempts == 2; }));
}

TEST(Reconnector, EndsWithAnAttemptThatWouldBeRepeated) {
    std::atomic<int> attempts{0};
    auto reconnector = std::make_unique<Reconnector>([&] {
        ++attempts;
        return false;
    });
    ASSERT_TRUE(reconnector->begin());
    ASSERT_TRUE(eventually([&] { return attempts >= 2; }));
    reconnector.reset();
    const int made = attempts;
    Reconnector other([] { return true; });
    ASSERT_TRUE(other.begin());
    EXPECT_EQ(made, attempts);
}

TEST(Reconnector, MayBeDestroyedByItsAttempt) {
    std::unique_ptr<Reconnector> reconnector;
    std::atomic<bool> isDestroyed{false};
    const auto kept = std::make_shared<int>(0);
    std::promise<void> begun;
    reconnector = std::make_unique<Reconnector>([&, kept] {
        begun.get_future().wait();  // nobody may use it any more
        reconnector.reset();
        isDestroyed = true;
        return false;
    });
    ASSERT_TRUE(reconnector->begin());
    begun.set_value();
    ASSERT_TRUE(eventually([&] { return isDestroyed.load(); }));
    EXPECT_TRUE(eventually([&] { return kept.use_count() == 1; }));
}

}  // namespace
}  // namespace Vorda::Gige
