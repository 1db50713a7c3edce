// SPDX-License-Identifier: Apache-2.0
#include "Fakes.h"
#include "LabelPlacement.h"
#include "Overlay.h"
#include "OverlayFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using namespace kestrocli;
using kestrotest::FakeCode;
using kestrotest::FakeFrame;
using kestrotest::frameWithCode;
using kestrotest::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr int kLowest = std::numeric_limits<std::int32_t>::min();
constexpr int kHighest = std::numeric_limits<std::int32_t>::max();

Raster greyPicture(std::uint32_t width, std::uint32_t height) {
    return {width, height, std::vector<std::uint8_t>(std::size_t{width} * height * 3, 90)};
}

std::size_t changedPixels(const Raster& picture, const Rect& within) {
    std::size_t count = 0;
    for (std::size_t y = 0; y < picture.height(); ++y) {
        for (std::size_t x = 0; x < picture.width(); ++x) {
            const auto column = static_cast<double>(x);
            const auto row = static_cast<double>(y);
            const bool inside = column >= within.left && column < within.right &&
                                row >= within.top && row < within.bottom;
            if (inside && picture.rgb()[(y * picture.width() + x) * 3] != 90) ++count;
        }
    }
    return count;
}

Codes oneCode(std::vector<kestro::Point> points, const std::string& text) {
    auto code = std::make_shared<FakeCode>(text);
    code->points = std::move(points);
    return {code};
}

TEST(Overlay, OutlinesTheCodeAndLeavesTheRestOfThePictureAlone) {
    Raster picture = greyPicture(640, 480);
    drawOverlay(picture, oneCode({{200, 100}, {400, 100}, {400, 200}, {200, 200}}, "text"));
    for (const auto& [x, y] : {std::pair{300, 100}, {400, 150}, {300, 200}, {200, 150}}) {
        EXPECT_EQ(changedPixels(picture, {x + 0.0, y + 0.0, x + 1.0, y + 1.0}), 1U)
            << x << "," << y;
    }
    EXPECT_EQ(changedPixels(picture, {215, 115, 385, 190}), 0U) << "inside the code";
    EXPECT_EQ(changedPixels(picture, {0, 0, 640, 85}), 0U);
    EXPECT_EQ(changedPixels(picture, {0, 300, 640, 480}), 0U);
    // the first point alone has a dot
    EXPECT_GT(changedPixels(picture, {195, 95, 206, 106}),
              changedPixels(picture, {395, 95, 406, 106}) + 20);
}

class HostileCodes : public testing::TestWithParam<std::vector<kestro::Point>> {};

INSTANTIATE_TEST_SUITE_P(
    , HostileCodes,
    testing::Values(
        std::vector<kestro::Point>{
            {kLowest, kLowest}, {kHighest, kLowest}, {kHighest, kHighest}, {kLowest, kHighest}},
        std::vector<kestro::Point>{
            {kLowest, 0}, {kHighest, 47}, {kHighest, kLowest}, {kLowest, kHighest}},
        std::vector<kestro::Point>{
            {kHighest, kHighest}, {kHighest, kHighest}, {kHighest, kHighest}, {kHighest, kHighest}},
        std::vector<kestro::Point>{{0, 0}, {0, 0}, {0, 0}, {0, 0}},
        std::vector<kestro::Point>{{-5, 3}}, std::vector<kestro::Point>{},
        std::vector<kestro::Point>(100000, kestro::Point{7, kLowest})));

TEST_P(HostileCodes, AreDrawnAsFarAsTheyAreInThePicture) {
    const std::string text(10000, '\xFF');
    for (const auto& [width, height] : {std::pair{1U, 1U}, {64U, 9U}, {9U, 64U}, {320U, 240U}}) {
        Raster picture = greyPicture(width, height);
        Codes codes = oneCode(GetParam(), text);
        codes.resize(300, codes.front());
        drawOverlay(picture, codes);
        EXPECT_EQ(picture.rgb().size(), std::size_t{width} * height * 3);
    }
}

TEST(Overlay, CutsALineToWhatThePictureShowsOfIt) {
    Raster picture = greyPicture(100, 100);
    picture.line({-2e9, 50.5}, {2e9, 50.5}, 1, {255, 255, 255});
    picture.line({50.5, -2e9}, {50.5, -2e3}, 1, {255, 255, 255});
    EXPECT_EQ(changedPixels(picture, {0, 0, 100, 100}), 100U);
    EXPECT_EQ(changedPixels(picture, {0, 50, 100, 51}), 100U);
}

TEST(LabelPlacement, KeepsLabelsInsideAndOffCodesAndEachOther) {
    const Rect room{4, 4, 316, 236};
    std::vector<Outline> codes;
    for (const double x : {0.0, 110.0, 220.0}) {
        for (const double y : {0.0, 180.0}) {  // at the very edges, and one turned
            codes.push_back({{x, y}, {x + 80, y}, {x + 80, y + 60}, {x, y + 60}});
        }
    }
    codes.push_back({{160, 90}, {190, 120}, {160, 150}, {130, 120}});
    const std::vector<Rect> labels =
        placeLabels(room, codes, std::vector<LabelSize>(codes.size(), {70, 19}));
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const Rect& label = labels[i];
        EXPECT_DOUBLE_EQ(label.width(), 70);
        EXPECT_DOUBLE_EQ(label.height(), 19);
        EXPECT_GE(label.left, room.left);
        EXPECT_GE(label.top, room.top);
        EXPECT_LE(label.right, room.right);
        EXPECT_LE(label.bottom, room.bottom);
        for (const Outline& code : codes) EXPECT_FALSE(overlap(label, code)) << i;
        for (std::size_t j = 0; j < i; ++j) {
            const Rect& other = labels[j];
            EXPECT_FALSE(overlap(label, Outline{{other.left, other.top},
                                                {other.right, other.top},
                                                {other.right, other.bottom},
                                                {other.left, other.bottom}}));
        }
    }
}

TEST(LabelPlacement, LeavesNoDoubtWhoseLabelItIs) {
    // Below the first, where a label would be otherwise, the second is nearer.
    const std::vector<Outline> codes = {{{100, 100}, {300, 100}, {300, 140}, {100, 140}},
                                        {{100, 170}, {300, 170}, {300, 210}, {100, 210}}};
    const std::vector<Rect> labels =
        placeLabels({0, 0, 400, 300}, codes, std::vector<LabelSize>(2, {90, 20}));
    EXPECT_LE(labels[0].bottom, 100);
    EXPECT_GE(labels[1].top, 210);
}

FakeFrame picture(std::uint32_t format, std::vector<std::uint8_t> image) {
    FakeFrame frame;
    frame.width = frame.height = 2;
    frame.pixelFormat = format;
    frame.image = std::move(image);
    return frame;
}

TEST(OverlayFolder, SaysOnceWhatCannotBeDrawnOn) {
    const TemporaryFolder parent;
    OverlayFolder folder(parent.path() + "/new");
    FakeFrame jpeg = picture(0x01080001, {0xFF, 0xD8, 0xFF, 0xD9});
    jpeg.jpeg = true;
    testing::internal::CaptureStderr();
    for (int i = 0; i < 2; ++i) {
        folder.save(picture(0x01080009, {1, 2, 3, 4}), "S", 1);
        folder.save(picture(0x01080001, {1, 2, 3}), "S", 2);
        folder.save(*frameWithCode(3, "results alone"), "S", 3);
        folder.save(jpeg, "S", 4);
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("BayerRG8"));
    EXPECT_THAT(said, HasSubstr("JPEG"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 4);
    folder.save(picture(0x01080001, {1, 2, 3, 4}), "S/1", 42);
    EXPECT_TRUE(std::filesystem::exists(parent.path() + "/new/S_1-00000042.png"));
    EXPECT_THAT(parent.names(), ElementsAre("new"));
}

}  // namespace
