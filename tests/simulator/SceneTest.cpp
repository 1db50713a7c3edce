// SPDX-License-Identifier: Apache-2.0
#include "Scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <random>

#include "SceneParts.h"

namespace kestrosim {
namespace {

SceneOptions optionsOf(std::uint64_t seed, std::uint32_t width = 1280,
                       std::uint32_t height = 1024) {
    SceneOptions options;
    options.seed = seed;
    options.width = width;
    options.height = height;
    return options;
}

Scene drawAndRead(const SceneOptions& options, std::uint32_t number) {
    Scene scene = drawScene(options, number);
    readScene(scene);
    return scene;
}

const SceneCode* findRead(const Scene& scene, const SceneCode& drawn) {
    const auto found =
        std::find_if(scene.read.begin(), scene.read.end(), [&drawn](const SceneCode& read) {
            return read.type == drawn.type && read.text == drawn.text;
        });
    return found == scene.read.end() ? nullptr : &*found;
}

/** Scrawls over a code: salt and pepper from edge to edge. */
void spoil(Scene& scene, const SceneCode& code) {
    std::mt19937 random(1);
    for (auto y = code.corners[0].y; y < code.corners[2].y; ++y) {
        for (auto x = code.corners[0].x; x < code.corners[2].x; ++x) {
            const auto at = static_cast<std::size_t>(y) * scene.width + static_cast<std::size_t>(x);
            scene.pixels.at(at) = random() % 2 == 0 ? 20 : 230;
        }
    }
}

/** The first scene of the seed with that many codes at least, the first drawn of that type. */
Scene sceneWith(std::size_t codes, const std::string& type) {
    for (std::uint32_t number = 0; number < 100; ++number) {
        Scene scene = drawScene(optionsOf(7), number);
        if (scene.drawn.size() >= codes && scene.drawn.front().type == type) return scene;
    }
    ADD_FAILURE() << "no scene with " << codes << " codes, the first a " << type;
    return {};
}

TEST(SceneReading, FindsWhatWasDrawn) {
    std::vector<double> offsets;
    for (std::uint32_t number = 0; number < 12; ++number) {
        const Scene scene = drawAndRead(optionsOf(11), number);
        EXPECT_EQ(scene.status, ReadStatus::complete);
        EXPECT_GE(scene.readMilliseconds, 1U);
        EXPECT_EQ(scene.read.size(), scene.drawn.size());
        for (const SceneCode& drawn : scene.drawn) {
            const SceneCode* const read = findRead(scene, drawn);
            ASSERT_NE(read, nullptr) << drawn.type << ' ' << drawn.text;
            EXPECT_NEAR(read->pixelsPerModule, drawn.pixelsPerModule, drawn.pixelsPerModule / 10);
            for (std::size_t i = 0; i < 4; ++i) {
                offsets.push_back(std::hypot(read->corners[i].x - drawn.corners[i].x,
                                             read->corners[i].y - drawn.corners[i].y));
            }
        }
    }
    std::sort(offsets.begin(), offsets.end());
    EXPECT_LE(offsets[offsets.size() / 2], 3);
    EXPECT_LE(offsets.back(), 10);
}

TEST(SceneReading, IsPartialWithOneLabelSpoiltAndNoReadWithAll) {
    for (const char* const type : {"CODE128", "QR"}) {
        Scene scene = sceneWith(3, type);
        spoil(scene, scene.drawn.front());
        readScene(scene);
        EXPECT_EQ(scene.status, ReadStatus::partial);
        EXPECT_EQ(scene.read.size(), scene.drawn.size() - 1);
        EXPECT_EQ(findRead(scene, scene.drawn.front()), nullptr);

        for (const SceneCode& code : scene.drawn) spoil(scene, code);
        readScene(scene);
        EXPECT_EQ(scene.status, ReadStatus::noRead);
        EXPECT_TRUE(scene.read.empty());
    }
}

TEST(SceneReading, TakesALinearCodeWithAScratchThroughItsBarsAsOne) {
    Scene scene = sceneWith(1, "CODE128");
    SceneCode scratch = scene.drawn.front();
    const auto middle = (scratch.corners[0].y + scratch.corners[2].y) / 2;
    scratch.corners[0].y = middle - 4;
    scratch.corners[2].y = middle + 4;
    spoil(scene, scratch);
    readScene(scene);
    EXPECT_EQ(scene.read.size(), scene.drawn.size());
    const SceneCode* const read = findRead(scene, scene.drawn.front());
    ASSERT_NE(read, nullptr);
    EXPECT_NEAR(read->corners[0].y, scene.drawn.front().corners[0].y, 3);
    EXPECT_NEAR(read->corners[2].y, scene.drawn.front().corners[2].y, 3);
}

TEST(SceneReading, SurvivesEqualCodesInOnePicture) {
    Scene scene = sceneWith(2, "CODE128");
    const auto once = scene.pixels;
    scene.pixels.insert(scene.pixels.end(), once.begin(), once.end());
    scene.height *= 2;
    readScene(scene);
    EXPECT_EQ(scene.read.size(), 2 * scene.drawn.size());
    EXPECT_EQ(scene.status, ReadStatus::complete);
}

TEST(SceneReading, SurvivesPicturesOfAnySize) {
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {
        {0, 0},   {1, 1},   {64, 64},   {80, 80},   {97, 61},
        {3, 500}, {500, 3}, {333, 257}, {641, 479}, {4096, 40}};
    for (const auto& [width, height] : sizes) {
        for (std::uint32_t number = 0; number < 4; ++number) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << number);
            const Scene scene = drawAndRead(optionsOf(2, width, height), number);
            EXPECT_EQ(scene.pixels.size(), std::size_t{width} * height);
            EXPECT_EQ(scene.status,
                      scene.drawn.empty() ? ReadStatus::noRead : ReadStatus::complete);
            EXPECT_EQ(scene.drawn.empty(), width < 61 || height < 61);
        }
    }
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
