// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <set>
#include <stdexcept>
#include <stop_token>
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

/** Each code as often as it was drawn, where it was drawn, and nothing else. */
void expectAllRead(const Scene& scene) {
    EXPECT_EQ(scene.status, ReadStatus::complete);
    EXPECT_EQ(scene.read.size(), scene.drawn.size());
    for (const SceneCode& drawn : scene.drawn) {
        const SceneCode* const read = findRead(scene, drawn);
        ASSERT_NE(read, nullptr) << drawn.type << ' ' << drawn.text;
        EXPECT_NEAR(read->pixelsPerModule, drawn.pixelsPerModule, drawn.pixelsPerModule / 20);
        EXPECT_LE(cornerError(*read, drawn), 6) << drawn.type << ' ' << drawn.text;
    }
}

TEST(SceneReading, FindsWhatWasDrawn) {
    std::set<std::size_t> symbologies;
    for (std::uint32_t number = 0; number < 12; ++number) {
        const Scene scene = drawAndRead(optionsOf(11), number);
        SCOPED_TRACE(number);
        EXPECT_GE(scene.readMilliseconds, 1U);
        expectAllRead(scene);
        for (const SceneCode& read : scene.read) symbologies.insert(symbologyOf(read.type));
    }
    EXPECT_EQ(symbologies.size(), kSymbologies.size());
}

TEST(SceneReading, IsPartialWithOneLabelSpoiltAndNoReadWithAll) {
    for (std::uint32_t number = 0; number < 3; ++number) {
        Scene scene = drawScene(optionsOf(11), number);
        SCOPED_TRACE(scene.drawn.front().type);
        spoil(scene, scene.drawn.front());
        readScene(scene);
        EXPECT_EQ(scene.read.size(), scene.drawn.size() - 1);
        EXPECT_EQ(scene.status, scene.read.empty() ? ReadStatus::noRead : ReadStatus::partial);
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

/** The scene as a camera sees it that is turned by a quarter, anticlockwise. */
Scene turnedClockwise(const Scene& scene) {
    Scene turned;
    turned.width = scene.height;
    turned.height = scene.width;
    turned.pixels.resize(scene.pixels.size());
    for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
        const std::size_t x = turned.width - 1 - i / scene.width;
        turned.pixels[i % scene.width * turned.width + x] = scene.pixels[i];
    }
    turned.drawn = scene.drawn;
    for (SceneCode& code : turned.drawn) {
        for (PixelPoint& corner : code.corners) {
            corner = {static_cast<std::int32_t>(turned.width) - corner.y, corner.x};
        }
    }
    return turned;
}

TEST(SceneReading, KeepsACodesOwnUpperLeftWhicheverWayItLies) {
    for (std::uint32_t number = 0; number < 2; ++number) {
        Scene scene = drawScene(optionsOf(12, 900, 700), number);
        for (int quarters = 1; quarters <= 3; ++quarters) {
            SCOPED_TRACE(testing::Message() << number << " turned by " << quarters);
            scene = turnedClockwise(scene);
            readScene(scene);
            expectAllRead(scene);
        }
    }
}

TEST(SceneReading, FindsLargeModulesAsWell) {
    const Scene small = drawScene(optionsOf(13, 480, 400), 1);
    Scene large;
    constexpr std::uint32_t kTimes = 5;
    large.width = small.width * kTimes;
    large.height = small.height * kTimes;
    for (std::uint32_t y = 0; y < large.height; ++y) {
        for (std::uint32_t x = 0; x < large.width; ++x) {
            const std::size_t at = std::size_t{y / kTimes} * small.width + x / kTimes;
            large.pixels.push_back(small.pixels[at]);
        }
    }
    readScene(large);
    ASSERT_FALSE(small.drawn.empty());
    EXPECT_EQ(large.read.size(), small.drawn.size());
    EXPECT_EQ(large.status, ReadStatus::complete) << "of a picture of which nothing else is known";
    for (const SceneCode& drawn : small.drawn) {
        const SceneCode* const read = findRead(large, drawn);
        ASSERT_NE(read, nullptr) << drawn.type << ' ' << drawn.text;
        EXPECT_NEAR(read->pixelsPerModule, drawn.pixelsPerModule * kTimes,
                    drawn.pixelsPerModule * kTimes / 20);
    }
}

TEST(SceneReading, LeavesOutACodeThatThePictureCutsThrough) {
    for (std::uint32_t number = 0; number < 2; ++number) {
        Scene scene = drawScene(optionsOf(11), number);
        const SceneCode cut = scene.drawn.front();
        const int middle = (cut.corners[0].x + cut.corners[2].x) / 2;
        for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
            if (static_cast<int>(i % scene.width) < middle) scene.pixels[i] = 0;
        }
        readScene(scene);
        for (const SceneCode& read : scene.read) {
            EXPECT_GT(cornerError(read, cut), 20) << read.type << ' ' << read.text;
            const auto isDrawn = [&read](const SceneCode& drawn) {
                return read.type == drawn.type && read.text == drawn.text;
            };
            EXPECT_TRUE(std::any_of(scene.drawn.begin(), scene.drawn.end(), isDrawn)) << read.text;
        }
    }
}

TEST(SceneReading, LeavesThePictureWhenItIsAskedToStop) {
    Scene scene = drawScene(optionsOf(7), 0);
    std::stop_source stop;
    stop.request_stop();
    readScene(scene, stop.get_token());
    EXPECT_TRUE(scene.read.empty());
    SceneOptions many = optionsOf(7);
    many.count = 1000;
    const SceneSet set(many);
    set.stop();
    EXPECT_THROW(static_cast<void>(set.scene(999)), std::runtime_error);
}

/** The piece of the scene that just holds the code, and nothing of what is around it. */
Scene cutTightly(const Scene& scene, const SceneCode& code) {
    const auto& corners = code.corners;
    const auto [left, right] =
        std::minmax({corners[0].x, corners[1].x, corners[2].x, corners[3].x});
    const auto [top, bottom] =
        std::minmax({corners[0].y, corners[1].y, corners[2].y, corners[3].y});
    Scene piece;
    piece.width = static_cast<std::uint32_t>(right - left);
    piece.height = static_cast<std::uint32_t>(bottom - top);
    for (int y = top; y < bottom; ++y) {
        const auto row = scene.pixels.begin() + std::ptrdiff_t{y} * scene.width;
        piece.pixels.insert(piece.pixels.end(), row + left, row + right);
    }
    return piece;
}

TEST(SceneReading, PutsNoCornerBesideThePicture) {
    std::size_t read = 0;
    for (std::uint32_t number = 0; number < 8; ++number) {
        const Scene scene = drawScene(optionsOf(21), number);
        for (const SceneCode& drawn : scene.drawn) {
            Scene piece = cutTightly(scene, drawn);
            readScene(piece);
            read += piece.read.size();
            for (const SceneCode& code : piece.read) {
                for (const PixelPoint& corner : code.corners) {
                    EXPECT_TRUE(corner.x >= 0 && corner.x <= static_cast<int>(piece.width))
                        << code.type << ' ' << corner.x << " of " << piece.width;
                    EXPECT_TRUE(corner.y >= 0 && corner.y <= static_cast<int>(piece.height))
                        << code.type << ' ' << corner.y << " of " << piece.height;
                }
            }
        }
    }
    EXPECT_GT(read, 0U);
}

TEST(SceneReading, ReadsNothingInNoiseStripesAndChequers) {
    std::mt19937 random(3);
    const auto noise = [&random](int, int) { return random() % 2 == 0; };
    const auto stripes = [](int x, int y) { return (x + y / 3) / 4 % 2 == 0; };
    const auto chequers = [](int x, int y) { return (x / 5 + y / 5) % 2 == 0; };
    for (const std::function<bool(int, int)>& isDark :
         {std::function<bool(int, int)>(noise), std::function<bool(int, int)>(stripes),
          std::function<bool(int, int)>(chequers)}) {
        Scene scene;
        scene.width = 800;
        scene.height = 600;
        for (int y = 0; y < 600; ++y) {
            for (int x = 0; x < 800; ++x) scene.pixels.push_back(isDark(x, y) ? 20 : 230);
        }
        readScene(scene);
        EXPECT_TRUE(scene.read.empty());
        EXPECT_EQ(scene.status, ReadStatus::noRead);
    }
}

TEST(SceneReading, NeverMakesUpATextHoweverHardThePicture) {
    for (const std::uint32_t difficulty : {5U, 8U, 10U}) {
        SceneOptions options = optionsOf(14);
        options.difficulty = difficulty;
        for (std::uint32_t number = 0; number < 2; ++number) {
            const Scene scene = drawAndRead(options, number);
            EXPECT_LE(scene.read.size(), scene.drawn.size());
            for (const SceneCode& read : scene.read) {
                const auto isIt = [&read](const SceneCode& drawn) {
                    return read.type == drawn.type && read.text == drawn.text;
                };
                EXPECT_TRUE(std::any_of(scene.drawn.begin(), scene.drawn.end(), isIt)) << read.text;
            }
        }
    }
}

}  // namespace
}  // namespace kestrosim
