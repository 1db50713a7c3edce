// SPDX-License-Identifier: Apache-2.0
#include "Scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <random>
#include <set>
#include <string_view>

#include "SceneParts.h"
#include "Symbologies.h"

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

double cornerError(const SceneCode& read, const SceneCode& drawn) {
    double worst = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        worst = std::max(worst, std::hypot(read.corners[i].x - drawn.corners[i].x,
                                           read.corners[i].y - drawn.corners[i].y));
    }
    return worst;
}

/** The code as read; of equal labels the one that lies there. */
const SceneCode* findRead(const Scene& scene, const SceneCode& drawn) {
    const SceneCode* nearest = nullptr;
    for (const SceneCode& read : scene.read) {
        if (read.type != drawn.type || read.text != drawn.text) continue;
        if (!nearest || cornerError(read, drawn) < cornerError(*nearest, drawn)) nearest = &read;
    }
    return nearest;
}

/** Whether the pixel lies between two parallels to the code's upper edge, as shares of its height.
 */
bool liesOn(const SceneCode& code, double x, double y, double from, double to) {
    const auto [origin, across, below, down] = code.corners;
    const double rightX = across.x - origin.x;
    const double rightY = across.y - origin.y;
    const double downX = down.x - origin.x;
    const double downY = down.y - origin.y;
    const double size = rightX * downY - rightY * downX;
    const double u = ((x - origin.x) * downY - (y - origin.y) * downX) / size;
    const double v = ((y - origin.y) * rightX - (x - origin.x) * rightY) / size;
    return u >= 0 && u <= 1 && v >= from && v <= to;
}

/** Scrawls over a code, or over a strip of it from edge to edge: salt and pepper. */
void spoil(Scene& scene, const SceneCode& code, double from = 0, double to = 1) {
    std::mt19937 random(1);
    for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
        const auto x = static_cast<double>(i % scene.width);
        const auto y = static_cast<double>(i / scene.width);
        if (liesOn(code, x, y, from, to)) scene.pixels[i] = random() % 2 == 0 ? 20 : 230;
    }
}

/** The first scene of the seed with that many codes at least, the first drawn of that type. */
Scene sceneWith(std::size_t codes, std::string_view type) {
    for (std::uint32_t number = 0; number < 100; ++number) {
        Scene scene = drawScene(optionsOf(7), number);
        if (scene.drawn.size() >= codes && scene.drawn.front().type.starts_with(type)) {
            return scene;
        }
    }
    ADD_FAILURE() << "no scene with " << codes << " codes, the first a " << type;
    return {};
}

TEST(SceneReading, FindsWhatWasDrawn) {
    std::set<std::size_t> symbologies;
    for (std::uint32_t number = 0; number < 12; ++number) {
        const Scene scene = drawAndRead(optionsOf(11), number);
        SCOPED_TRACE(number);
        EXPECT_EQ(scene.status, ReadStatus::complete);
        EXPECT_GE(scene.readMilliseconds, 1U);
        EXPECT_EQ(scene.read.size(), scene.drawn.size());
        for (const SceneCode& drawn : scene.drawn) {
            const SceneCode* const read = findRead(scene, drawn);
            ASSERT_NE(read, nullptr) << drawn.type << ' ' << drawn.text;
            symbologies.insert(symbologyOf(read->type));
            EXPECT_NEAR(read->pixelsPerModule, drawn.pixelsPerModule, drawn.pixelsPerModule / 20);
            EXPECT_LE(cornerError(*read, drawn), 6) << drawn.type << ' ' << drawn.text;
        }
    }
    EXPECT_EQ(symbologies.size(), kSymbologies.size());
}

TEST(SceneReading, IsPartialWithOneLabelSpoiltAndNoReadWithAll) {
    for (const Symbology& symbology : kSymbologies) {
        SCOPED_TRACE(symbology.name);
        Scene scene = sceneWith(3, symbology.name);
        spoil(scene, scene.drawn.front());
        readScene(scene);
        EXPECT_EQ(scene.status, ReadStatus::partial);
        EXPECT_EQ(scene.read.size(), scene.drawn.size() - 1);
    }
    Scene scene = sceneWith(3, "CODE128");
    for (const SceneCode& code : scene.drawn) spoil(scene, code);
    readScene(scene);
    EXPECT_EQ(scene.status, ReadStatus::noRead);
    EXPECT_TRUE(scene.read.empty());
}

TEST(SceneReading, TakesALinearCodeWithAScratchThroughItsBarsAsOne) {
    Scene scene = sceneWith(1, "CODE128");
    spoil(scene, scene.drawn.front(), 0.46, 0.54);
    readScene(scene);
    EXPECT_EQ(scene.read.size(), scene.drawn.size());
    const SceneCode* const read = findRead(scene, scene.drawn.front());
    ASSERT_NE(read, nullptr);
    EXPECT_LE(cornerError(*read, scene.drawn.front()), 4);
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
