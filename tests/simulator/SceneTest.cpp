// SPDX-License-Identifier: Apache-2.0
#include "Scene.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "SceneParts.h"

namespace kestrosim {
namespace {

SceneOptions optionsOf(std::uint64_t seed, std::uint32_t width, std::uint32_t height) {
    SceneOptions options;
    options.seed = seed;
    options.width = width;
    options.height = height;
    return options;
}

TEST(SceneSet, HandsOutEachSceneByItsNumberInTurn) {
    SceneOptions options = optionsOf(9, 320, 240);
    options.count = 3;
    const SceneSet set(options);
    EXPECT_EQ(set.count(), 3U);
    const auto last = set.scene(2);  // waits for all three
    EXPECT_EQ(last->pixels, drawScene(options, 2).pixels);
    EXPECT_EQ(last->status, ReadStatus::complete);
    EXPECT_EQ(set.scene(3 * std::uint64_t{1'000'000'000'000} + 2), last);
    EXPECT_NE(set.scene(0), set.scene(1));
}

TEST(SceneSet, HoldsASceneEvenIfAskedForNone) {
    SceneOptions options = optionsOf(9, 100, 100);
    options.count = 0;
    const SceneSet set(options);
    EXPECT_EQ(set.scene(5), set.scene(0));
}

TEST(SceneSet, ServesSeveralWaitersAndEndsWhilePreparing) {
    using std::chrono::steady_clock;
    auto begin = steady_clock::now();
    {
        SceneOptions options = optionsOf(9, 320, 240);
        options.count = 10'000'000;  // far more than can be prepared while the test runs
        const SceneSet set(options);
        const auto ask = [&set] { return set.scene(4); };
        auto one = std::async(std::launch::async, ask);
        auto other = std::async(std::launch::async, ask);
        EXPECT_EQ(one.get(), other.get());
        begin = steady_clock::now();
    }
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(5));
}

}  // namespace
}  // namespace kestrosim
