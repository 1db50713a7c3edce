// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "FlatJson.h"
#include "Scene.h"

namespace kestrosim {
namespace {

using testing::Contains;
using testing::Key;
using testing::Not;
using testing::Pair;

constexpr std::uint64_t kTimestamp = 0x0000'0005'1234'5678;

SceneCode linearCode() {
    return {"CODE128", "KST-000123-7F", {{{10, 20}, {210, 21}, {211, 80}, {9, 79}}}, 2.517F};
}

SceneCode matrixCode() {
    return {"QR", "Köln \"4\"\n北京", {{{-3, 4}, {60, 5}, {61, 70}, {2, 71}}}, 3.25F};
}

Scene sceneOf(std::uint32_t width, std::uint32_t height) {
    Scene scene;
    scene.width = width;
    scene.height = height;
    for (std::uint32_t i = 0; i < width * height; ++i) {
        scene.pixels.push_back(static_cast<std::uint8_t>(i * 7));
    }
    scene.status = ReadStatus::partial;
    scene.readMilliseconds = 17;
    return scene;
}

std::uint64_t load(const std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value |= std::uint64_t{bytes.at(offset + i)} << (8 * i);
    }
    return value;
}

std::string blockText(const std::vector<std::uint8_t>& bytes, std::size_t entry) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(load(bytes, entry + 4, 4));
    return {first, first + static_cast<std::ptrdiff_t>(load(bytes, entry + 8, 4))};
}

FlatJson::Leaves documentsOf(const Scene& scene, std::uint64_t timestamp = kTimestamp) {
    const auto leaves = FlatJson::parse(blockText(encodeContainer(scene, timestamp), 24));
    EXPECT_TRUE(leaves);
    return leaves.value_or(FlatJson::Leaves{});
}

TEST(ResultContainer, LaysTheBlocksOutAsItsTableSays) {
    const Scene scene = sceneOf(67, 31);
    const auto bytes = encodeContainer(scene, kTimestamp);

    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "SMAT");
    ASSERT_EQ(load(bytes, 8, 4), 2U);
    const std::size_t image = 24 + 64;
    EXPECT_EQ(load(bytes, image, 4), 0U);
    EXPECT_EQ(load(bytes, image + 8, 4), 67U * 31U);
    EXPECT_EQ(load(bytes, image + 12, 4), 67U);
    EXPECT_EQ(load(bytes, image + 16, 4), 31U);
    EXPECT_EQ(load(bytes, image + 24, 8), kTimestamp);
    EXPECT_EQ(load(bytes, image + 32, 4), 0U);
    EXPECT_EQ(blockText(bytes, image), std::string(scene.pixels.begin(), scene.pixels.end()));

    const std::size_t json = 24;
    EXPECT_EQ(load(bytes, json, 4), 2U);
    EXPECT_GE(load(bytes, image + 4, 4), 24U + 2 * 64U);
    EXPECT_GE(load(bytes, json + 4, 4), load(bytes, image + 4, 4) + 67U * 31U);
    EXPECT_EQ(load(bytes, json + 4, 4) + load(bytes, json + 8, 4), bytes.size());
    EXPECT_EQ(load(bytes, image + 4, 4) % 8, 0U);
    EXPECT_EQ(load(bytes, json + 4, 4) % 8, 0U);
}

TEST(ResultContainer, TakesAJpegFileForThePicture) {
    const std::vector<std::uint8_t> file = {0xff, 0xd8, 1, 2, 3, 0xff, 0xd9};
    const auto bytes = encodeContainer(sceneOf(67, 31), kTimestamp, file);
    const std::size_t image = 24 + 64;
    EXPECT_EQ(blockText(bytes, image), std::string(file.begin(), file.end()));
    EXPECT_EQ(load(bytes, image + 12, 4), 67U);
    EXPECT_EQ(load(bytes, image + 16, 4), 31U);
    EXPECT_EQ(load(bytes, image + 32, 4), 1U);
}

TEST(ResultContainer, LeavesOutCodesRatherThanOutgrowTheAnnouncedSize) {
    Scene scene = sceneOf(40, 30);
    SceneCode code = matrixCode();
    code.text = std::string(2000, '\x01');  // six bytes each in JSON
    scene.read = {code, code, code, code, code, code, code, linearCode()};
    EXPECT_LE(encodeContainer(scene, kTimestamp).size(), mostContainerBytes(40 * 30));
    const auto leaves = documentsOf(scene);
    EXPECT_EQ(leaves.at("ChunkQRCodeJson/value/DataCode/value/4/CodeType/value"), "QR");
    EXPECT_EQ(leaves.count("ChunkQRCodeJson/value/DataCode/value/5/CodeType/value"), 0U);
    EXPECT_EQ(leaves.at("ChunkBarCodeJson/value/BarCode/value/0/CodeType/value"), "CODE128");
}

TEST(ResultContainer, IsLongEnoughToBeRecognisedWithoutAPicture) {
    EXPECT_GE(encodeContainer(Scene{}, 0).size(), 576U);
}

TEST(ResultContainer, PutsLinearCodesAndMatrixCodesIntoTheirOwnDocuments) {
    Scene scene = sceneOf(40, 30);
    scene.read = {matrixCode(), linearCode()};
    const auto leaves = documentsOf(scene);

    const std::string linear = "ChunkBarCodeJson/value/BarCode/value/0/";
    EXPECT_EQ(leaves.at(linear + "CodeType/value"), "CODE128");
    EXPECT_EQ(leaves.at(linear + "CodeData/value"), "KST-000123-7F");
    EXPECT_EQ(leaves.at(linear + "PPM/value"), "2.517");
    const std::string matrix = "ChunkQRCodeJson/value/DataCode/value/0/";
    EXPECT_EQ(leaves.at(matrix + "CodeType/value"), "QR");
    EXPECT_EQ(leaves.at(matrix + "CodeData/value"), "Köln \"4\"\n北京");
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string point = "Point" + std::to_string(i);
        const PixelPoint corner = matrixCode().corners[i];
        EXPECT_EQ(leaves.at(matrix + point + "_X/value"), std::to_string(corner.x));
        EXPECT_EQ(leaves.at(matrix + point + "_Y/value"), std::to_string(corner.y));
    }
    EXPECT_THAT(leaves, Not(Contains(Key("ChunkBarCodeJson/value/BarCode/value/1/PPM/value"))));
    EXPECT_THAT(leaves, Not(Contains(Key("ChunkQRCodeJson/value/DataCode/value/1/PPM/value"))));
}

TEST(ResultContainer, SaysStatusTimeAndSizeForTheWholeScene) {
    const std::pair<ReadStatus, const char*> names[] = {{ReadStatus::complete, "Complete"},
                                                        {ReadStatus::partial, "Partial"},
                                                        {ReadStatus::noRead, "NoRead"}};
    for (const auto& [status, name] : names) {
        Scene scene = sceneOf(40, 30);
        scene.status = status;
        const auto leaves = documentsOf(scene);
        for (const std::string document : {"ChunkBarCodeJson", "ChunkQRCodeJson"}) {
            EXPECT_THAT(leaves, Contains(Pair(document + "/value/Status/value", name)));
            EXPECT_THAT(leaves, Contains(Pair(document + "/value/Time/value", "17")));
        }
        EXPECT_THAT(leaves, Contains(Pair("ChunkImgScaleJson/value/OutWidth/value", "40")));
        EXPECT_THAT(leaves, Contains(Pair("ChunkImgScaleJson/value/OutHeight/value", "30")));
        EXPECT_THAT(leaves, Contains(Pair("ChunkBarCodeJson/value/BarCode/value", "[]")));
    }
}

TEST(ResultContainer, SplitsTheTimestampIntoSignedWords) {
    const auto words = [](std::uint64_t timestamp) {
        const auto leaves = documentsOf(sceneOf(8, 8), timestamp);
        return std::pair{leaves.at("ChunkPipelineJson/value/TriggerTsHigh/value"),
                         leaves.at("ChunkPipelineJson/value/TriggerTsLow/value")};
    };
    EXPECT_EQ(words(kTimestamp), (std::pair<std::string, std::string>{"5", "305419896"}));
    EXPECT_EQ(words(0x1'B2D0'5E00), (std::pair<std::string, std::string>{"1", "-1294967296"}));
    EXPECT_EQ(words(~std::uint64_t{0}), (std::pair<std::string, std::string>{"-1", "-1"}));
}

TEST(Truth, TellsWhatWasDrawnInOneLine) {
    Scene scene = sceneOf(40, 30);
    scene.drawn = {linearCode(), matrixCode()};
    const std::string line = truthLine("SIM\"1", 3, scene);
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const auto leaves = FlatJson::parse(line);
    ASSERT_TRUE(leaves);
    EXPECT_EQ(leaves->at("camera"), "SIM\"1");
    EXPECT_EQ(leaves->at("scene"), "3");
    EXPECT_EQ(leaves->at("width"), "40");
    EXPECT_EQ(leaves->at("height"), "30");
    EXPECT_EQ(leaves->at("codes/0/type"), "CODE128");
    EXPECT_EQ(leaves->at("codes/1/text"), "Köln \"4\"\n北京");
    EXPECT_EQ(leaves->at("codes/1/points/0/0"), "-3");
    EXPECT_EQ(leaves->at("codes/1/points/3/1"), "71");
    EXPECT_FLOAT_EQ(std::strtof(leaves->at("codes/0/ppm").c_str(), nullptr), 2.517F);
    EXPECT_THAT(*leaves, Not(Contains(Key("codes/2/type"))));
}

}  // namespace
}  // namespace kestrosim
