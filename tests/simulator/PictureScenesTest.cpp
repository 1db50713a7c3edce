// SPDX-License-Identifier: Apache-2.0
#include "PictureFolder.h"
#include "Scene.h"
#include "SceneParts.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>

namespace kestrosim {
namespace {

using testing::AllOf;
using testing::HasSubstr;

std::string pgm(std::uint32_t width, std::uint32_t height, const std::string& pixels) {
    return "P5 " + std::to_string(width) + ' ' + std::to_string(height) + " 255\n" + pixels;
}

std::string pgmOf(const Scene& scene) {
    return pgm(scene.width, scene.height, {scene.pixels.begin(), scene.pixels.end()});
}

std::vector<std::string> textsOf(const Scene& scene) {
    std::vector<std::string> texts;
    for (const SceneCode& code : scene.read) texts.push_back(code.text);
    return texts;
}

SceneOptions showing(const TemporaryFolder& folder) {
    SceneOptions options;
    options.imageFolder = folder.path("");
    options.width = 0;
    options.height = 0;
    return options;
}

std::string reasonOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(PictureFolder, HoldsPicturesInOrderOfBytesAndNothingElse) {
    const TemporaryFolder folder;
    for (const char* name : {"b.pgm", "9.pgm", "B.PGM", "10.pgm", ".hidden.pgm", "notes.txt"}) {
        folder.write(name, pgm(1, 1, "x"));
    }
    std::filesystem::create_directory(folder.path("folder.pgm"));
    const PictureFolder pictures(folder.path(""), {});
    std::vector<std::string> names;
    for (std::size_t i = 0; i < pictures.count(); ++i) names.push_back(pictures.name(i));
    EXPECT_THAT(names, testing::ElementsAre("10.pgm", "9.pgm", "B.PGM", "b.pgm"));
}

TEST(PictureFolder, TakesTheSensorThatAllFitInAndPutsThemInItsMiddle) {
    const TemporaryFolder folder;
    folder.write("a.pgm", pgm(65, 2, std::string(130, '\xff')));
    folder.write("b.pgm", pgm(2, 18, std::string(36, '\0')));
    const PictureFolder pictures(folder.path(""), {});
    EXPECT_EQ(pictures.sensor().width, 68U);
    EXPECT_EQ(pictures.sensor().height, 18U);
    const auto pixels = pictures.pixels(0);
    ASSERT_EQ(pixels.size(), 68U * 18);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::size_t x = i % 68;
        const std::size_t y = i / 68;
        const bool isInside = x >= 1 && x < 66 && y >= 8 && y < 10;
        ASSERT_EQ(pixels[i], isInside ? 255 : 128) << x << ' ' << y;
    }
    const PictureFolder wider(folder.path(""), {100, 0});
    EXPECT_EQ(wider.sensor().width, 100U);
    EXPECT_EQ(wider.sensor().height, 18U);
}

TEST(PictureFolder, RefusesWhatNoCameraCanShow) {
    const TemporaryFolder folder;
    const auto open = [&folder](PictureSize sensor = {}) {
        return reasonOf([&] { PictureFolder pictures(folder.path(""), sensor); });
    };
    EXPECT_THAT(open(), AllOf(HasSubstr("no picture"), HasSubstr(folder.path(""))));
    folder.write("a.pgm", pgm(80, 20, ""));
    EXPECT_THAT(open({76, 20}),
                AllOf(HasSubstr("a.pgm"), HasSubstr("80 x 20"), HasSubstr("76 x 20")));
    EXPECT_NE(open({80, 19}), "");
    EXPECT_EQ(open({80, 20}), "");
    folder.write("b.png", "nonsense");
    EXPECT_THAT(open(), AllOf(HasSubstr("b.png"), HasSubstr("neither")));
    EXPECT_THAT(reasonOf([&] { PictureFolder none(folder.path("none"), {}); }),
                HasSubstr("none: No such file"));
}

TEST(PictureScenes, AreReadAsDrawnOnesAre) {
    SceneOptions drawn;
    drawn.count = 2;
    const SceneSet set(drawn);
    const TemporaryFolder folder;
    folder.write("a.pgm", pgmOf(*set.scene(0)));
    folder.write("b\xff.pgm", pgmOf(*set.scene(1)));
    const SceneSet pictures(showing(folder));
    ASSERT_EQ(pictures.count(), 2U);
    for (std::uint64_t i = 0; i < 2; ++i) {
        const auto scene = pictures.scene(2 + i);
        EXPECT_EQ(scene->pixels, set.scene(i)->pixels);
        EXPECT_EQ(textsOf(*scene), textsOf(*set.scene(i)));
        ASSERT_FALSE(scene->read.empty());
        EXPECT_EQ(scene->status, ReadStatus::complete);
        EXPECT_TRUE(scene->drawn.empty());
    }
    // A name that is no UTF-8 must not spoil the line.
    EXPECT_EQ(
        truthLine("S", 1, *pictures.scene(1)),
        R"({"camera":"S","scene":1,"width":1280,"height":1024,"image":"b?.pgm","codes":null})");
}

TEST(PictureScenes, ShowGreyForADamagedFileAndTellOnce) {
    const TemporaryFolder folder;
    folder.write("a.pgm", pgm(64, 16, "too few"));
    for (const char* name : {"b.pgm", "c.pgm", "d.pgm", "e.pgm", "f.pgm"}) {
        folder.write(name, pgm(64, 16, std::string(1024, '\1')));
    }
    SceneOptions options = showing(folder);
    std::vector<std::string> told;
    options.report = [&told](const std::string& text) { told.push_back(text); };
    {
        const auto pictures = showPictures(options, 0);  // so few are kept that all come again
        for (std::size_t i = 0; i < 13; ++i) {
            const auto scene = pictures->scene(i % 6);
            EXPECT_EQ(scene->pixels, std::vector<std::uint8_t>(1024, i % 6 == 0 ? 128 : 1));
            EXPECT_EQ(scene->status, ReadStatus::noRead);
        }
    }
    EXPECT_THAT(told, testing::ElementsAre(AllOf(HasSubstr("a.pgm"), HasSubstr("cut off"))));
}

TEST(PictureScenes, HaveNoCodesWhileTheirFileIsDamaged) {
    SceneOptions drawn;
    drawn.count = 1;
    const SceneSet set(drawn);
    const std::string whole = pgmOf(*set.scene(0));
    const std::string damaged = whole.substr(0, whole.size() / 2);
    const TemporaryFolder folder;
    folder.write("a.pgm", damaged);
    // So many that the first one is let go of before it is prepared anew.
    for (char name = 'b'; name < 'j'; ++name) {
        folder.write(std::string(1, name) + ".pgm", pgm(1, 1, "x"));
    }
    const auto pictures = showPictures(showing(folder), 0);
    const auto first = [&](const std::string& next) {
        const auto texts = textsOf(*pictures->scene(0));
        folder.write("a.pgm", next);
        for (std::size_t i = 1; i < pictures->count(); ++i) static_cast<void>(pictures->scene(i));
        return texts;
    };
    EXPECT_THAT(first(whole), testing::IsEmpty());
    EXPECT_EQ(first(damaged), textsOf(*set.scene(0)));
    EXPECT_THAT(first(damaged), testing::IsEmpty());
}

class LargePictureFolder : public testing::Test {
 protected:
    static constexpr std::size_t kCount = 12;

    LargePictureFolder() {
        for (std::size_t i = 0; i < kCount; ++i) {
            folder_.write(std::string(1, static_cast<char>('a' + i)) + ".pgm",
                          pgm(64, 16, std::string(1024, static_cast<char>(i))));
        }
        pictures_ = showPictures(showing(folder_), 5 * 1024);
    }

    const TemporaryFolder folder_;
    std::unique_ptr<SceneSource> pictures_;
};

TEST_F(LargePictureFolder, KeepsThePixelsOfTheNextPicturesOnly) {
    std::vector<std::weak_ptr<const Scene>> shown;
    for (std::size_t i = 0; i < kCount; ++i) shown.emplace_back(pictures_->scene(i));
    // Back among those that are gone.
    EXPECT_EQ(pictures_->scene(3)->pixels.front(), 3);
    std::size_t kept = 0;
    for (const auto& scene : shown) kept += scene.expired() ? 0 : 1;
    EXPECT_LE(kept, 5U);
}

TEST_F(LargePictureFolder, LetsNobodyWaitOnceItIsStopped) {
    static_cast<void>(pictures_->scene(0));
    pictures_->stop();
    EXPECT_THROW(static_cast<void>(pictures_->scene(kCount - 1)), std::runtime_error);
}

TEST_F(LargePictureFolder, ServesThoseWhoLookAtDifferentEndsOfIt) {
    std::barrier together(2);
    const auto look = [&](std::size_t first) {
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < 40 * kCount; ++i) {
            const std::size_t index = (first + i) % kCount;
            together.arrive_and_wait();
            wrong += pictures_->scene(index)->pixels.front() == index ? 0 : 1;
        }
        return wrong;
    };
    auto other = std::async(std::launch::async, look, kCount / 2);
    EXPECT_EQ(look(0), 0U);
    EXPECT_EQ(other.get(), 0U);
}

}  // namespace
}  // namespace kestrosim
