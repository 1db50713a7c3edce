// SPDX-License-Identifier: Apache-2.0
#include "ResultChunks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <stdexcept>
#include <string>

namespace kestrosim {
namespace {

using testing::ElementsAre;
using testing::Key;

constexpr std::uint32_t kBarcodes = 0x80000000;
constexpr std::uint32_t kQrCodes = 0x80000001;
constexpr std::uint32_t kPipeline = 0x80000003;
constexpr std::uint32_t kScaling = 0x80000006;
constexpr std::uint64_t kTimestamp = 0x0000'0005'9234'5678;

using Bytes = std::vector<std::uint8_t>;

std::uint32_t big(const Bytes& from, std::size_t at) {
    return std::uint32_t{from.at(at)} << 24 | std::uint32_t{from.at(at + 1)} << 16 |
           std::uint32_t{from.at(at + 2)} << 8 | from.at(at + 3);
}

std::uint32_t little(const Bytes& from, std::size_t at) { return __builtin_bswap32(big(from, at)); }

std::string text(const Bytes& from, std::size_t at, std::size_t room) {
    const auto first = from.begin() + static_cast<std::ptrdiff_t>(at);
    const std::string field(first, first + static_cast<std::ptrdiff_t>(room));
    return field.substr(0, field.find('\0'));
}

/** Walks back from the last trailer, as a client has to. */
std::map<std::uint32_t, Bytes> chunksOf(const Bytes& payload) {
    std::map<std::uint32_t, Bytes> chunks;
    std::size_t end = payload.size();
    while (end > 0) {
        const std::size_t length = big(payload, end - 4);
        if (length + 8 > end) throw std::runtime_error("a chunk longer than what is before it");
        const auto data = payload.begin() + static_cast<std::ptrdiff_t>(end - 8 - length);
        chunks[big(payload, end - 8)] = Bytes(data, data + static_cast<std::ptrdiff_t>(length));
        end -= 8 + length;
    }
    return chunks;
}

SceneCode linearCode() {
    return {"CODE128", "KST-000123-7F", {{{10, 20}, {210, 21}, {211, 80}, {9, 79}}}, 2.5174F};
}

SceneCode matrixCode() {
    return {"QR", "Köln \"4\"\n北京", {{{-3, 4}, {60, 5}, {61, 70}, {2, 71}}}, 3.25F};
}

Scene sceneWith(std::vector<SceneCode> codes) {
    Scene scene;
    scene.width = 64;
    scene.height = 16;
    for (int i = 0; i < 64 * 16; ++i) scene.pixels.push_back(static_cast<std::uint8_t>(i * 7));
    scene.read = std::move(codes);
    scene.status = ReadStatus::partial;
    scene.readMilliseconds = 17;
    return scene;
}

using Word = std::uint32_t (*)(const Bytes&, std::size_t);

void expectCode(const Bytes& chunk, std::size_t record, Word word, const SceneCode& code) {
    EXPECT_EQ(text(chunk, record, 32), code.type);
    EXPECT_EQ(text(chunk, record + 32, 256), code.text);
    for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_EQ(static_cast<std::int32_t>(word(chunk, record + 288 + 8 * j)), code.corners[j].x);
        EXPECT_EQ(static_cast<std::int32_t>(word(chunk, record + 292 + 8 * j)), code.corners[j].y);
    }
    EXPECT_NEAR(std::bit_cast<float>(word(chunk, record + 320)), code.pixelsPerModule, 0.0006F);
    EXPECT_EQ(word(chunk, record + 324), 4U);
}

TEST(ResultChunks, HoldThePictureFirstAndTheReadersResultsInTheirOrders) {
    const Scene scene = sceneWith({matrixCode(), linearCode()});
    const Bytes payload = encodeChunks(scene, kTimestamp, {true, true, true, true});
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 64 * 16), scene.pixels);

    auto chunks = chunksOf(payload);
    ASSERT_THAT(chunks,
                ElementsAre(Key(1U), Key(kBarcodes), Key(kQrCodes), Key(kPipeline), Key(kScaling)));
    EXPECT_EQ(chunks[1], scene.pixels);
    for (const auto& [id, word, code] : {std::tuple(kBarcodes, Word{big}, linearCode()),
                                         std::tuple(kQrCodes, Word{little}, matrixCode())}) {
        const Bytes& chunk = chunks[id];
        EXPECT_EQ(word(chunk, 0), 17U);
        EXPECT_EQ(word(chunk, 4), 1U);
        ASSERT_EQ(chunk.size(), 8U + 328U);
        expectCode(chunk, 8, word, code);
    }
    EXPECT_EQ(text(chunks[kPipeline], 0, 32), "Partial");
    EXPECT_EQ(big(chunks[kPipeline], 32), 5U);
    EXPECT_EQ(big(chunks[kPipeline], 36), 0x92345678U);
    EXPECT_EQ(little(chunks[kScaling], 0), 64U);
    EXPECT_EQ(little(chunks[kScaling], 4), 16U);
}

TEST(ResultChunks, AreThoseThatWereChosen) {
    const Scene scene = sceneWith({linearCode()});
    EXPECT_THAT(chunksOf(encodeChunks(scene, 0, {})), ElementsAre(Key(1U)));
    EXPECT_THAT(chunksOf(encodeChunks(scene, 0, {false, true, false, true})),
                ElementsAre(Key(1U), Key(kQrCodes), Key(kScaling)));
}

TEST(ResultChunks, CountTheCodesThatHaveNoSlotAndNeverOutgrowTheAnnouncedSize) {
    SceneCode longCode = linearCode();
    longCode.text = std::string(300, 'x');
    const Scene scene = sceneWith(std::vector<SceneCode>(66, longCode));
    const Bytes payload = encodeChunks(scene, kTimestamp, {true, false, true, true});
    const Bytes chunk = chunksOf(payload)[kBarcodes];
    EXPECT_EQ(big(chunk, 4), 66U);
    EXPECT_EQ(chunk.size(), 8U + 64U * 328U);
    EXPECT_EQ(text(chunk, 8 + 63 * 328 + 32, 256), std::string(256, 'x'));
    EXPECT_EQ(text(chunk, 8 + 63 * 328, 32), "CODE128");
    EXPECT_EQ(payload.size(), mostChunkBytes(64 * 16, {true, false, true, true}));
}

}  // namespace
}  // namespace kestrosim
