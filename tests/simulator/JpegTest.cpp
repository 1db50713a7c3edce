// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "FrameSource.h"
#include "JpegEncoder.h"
#include "Simulator.h"

namespace kestrosim {
namespace {

Scene noise(std::uint32_t width, std::uint32_t height) {
    std::minstd_rand random(7);
    Scene scene;
    scene.width = width;
    scene.height = height;
    for (std::uint32_t i = 0; i < width * height; ++i) {
        scene.pixels.push_back(static_cast<std::uint8_t>(random() >> 9));
    }
    return scene;
}

// Incompressible pictures, a single row of blocks, sizes that blocks overlap.
TEST(JpegEncoder, KeepsItsBoundWhateverThePictureIs) {
    for (const auto& [width, height] :
         {std::pair(64U, 16U), {64U, 17U}, {68U, 65U}, {640U, 481U}, {4096U, 16U}}) {
        const Scene scene = noise(width, height);
        const auto best = encodeJpeg(scene, 100);
        EXPECT_LE(best.size(), mostJpegBytes(width * height)) << width << " x " << height;
        EXPECT_LT(encodeJpeg(scene, 1).size(), best.size());
    }
}

TEST(JpegEncoder, ThrowsForWhatNoFileCanHold) {
    EXPECT_THROW(static_cast<void>(encodeJpeg(noise(70'000, 1), 90)), std::runtime_error);
}

TEST(JpegFiles, AreMadeOnceForEachPictureOfAScene) {
    JpegFiles files;
    const auto one = std::make_shared<const Scene>(noise(64, 16));
    const auto other = std::make_shared<const Scene>(noise(68, 16));
    PictureSettings settings;
    settings.compressionQuality = 90;
    const auto file = files.fileOf(one, *one, settings);
    EXPECT_NE(files.fileOf(other, *other, settings), file);
    EXPECT_EQ(files.fileOf(one, *one, settings), file);
    settings.compressionQuality = 20;
    const auto worse = files.fileOf(one, *one, settings);
    EXPECT_LT(worse->size(), file->size());
    settings.blackLevel = 1;
    EXPECT_NE(files.fileOf(one, *one, settings), worse);
}

TEST(JpegFiles, GoWithTheirScenes) {
    JpegFiles files;
    PictureSettings settings;
    settings.compressionQuality = 90;
    auto one = std::make_shared<const Scene>(noise(64, 16));
    const auto other = std::make_shared<const Scene>(noise(64, 16));
    const std::weak_ptr file = files.fileOf(one, *one, settings);
    one.reset();
    EXPECT_NE(files.fileOf(other, *other, settings), nullptr);
    EXPECT_TRUE(file.expired());
}

}  // namespace
}  // namespace kestrosim
