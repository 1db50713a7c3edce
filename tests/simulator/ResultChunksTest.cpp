// SPDX-License-Identifier: Apache-2.0
#include "ResultChunks.h"

#include "ChunkDescription.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <stdexcept>
#include <string>

namespace kestrosim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;

constexpr std::uint32_t kBarcodes = 0x80000000;
constexpr std::uint32_t kQrCodes = 0x80000001;
constexpr std::uint32_t kPipeline = 0x80000003;
constexpr std::uint32_t kScaling = 0x80000006;
constexpr std::uint32_t kWidth = 64;
constexpr std::uint32_t kHeight = 16;
constexpr std::size_t kPixels = 1024;
constexpr std::uint64_t kTimestamp = 0x0000'0005'9234'5678;

using Bytes = std::vector<std::uint8_t>;

std::uint32_t big(const Bytes& from, std::size_t at) {
    return std::uint32_t{from.at(at)} << 24 | std::uint32_t{from.at(at + 1)} << 16 |
           std::uint32_t{from.at(at + 2)} << 8 | from.at(at + 3);
}

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
    scene.width = kWidth;
    scene.height = kHeight;
    for (std::size_t i = 0; i < kPixels; ++i)
        scene.pixels.push_back(static_cast<std::uint8_t>(i * 7));
    scene.read = std::move(codes);
    scene.status = ReadStatus::partial;
    scene.readMilliseconds = 17;
    return scene;
}

/** Reads values as a client does that knows the description and nothing else. */
class Described {
 public:
    explicit Described(const Bytes& payload) : chunks_(chunksOf(payload)) {}

    [[nodiscard]] std::string value(const std::string& feature) {
        const std::string node = nodeOf(feature);
        const std::string id = element(nodeOf(element(node, "pPort")), "ChunkID");
        const Bytes& chunk = chunks_.at(static_cast<std::uint32_t>(std::stoul(id, nullptr, 16)));
        const std::size_t address = std::stoul(element(node, "Address"));
        const std::size_t length = std::stoul(element(node, "Length"));
        if (node.rfind("<StringReg", 0) == 0) return text(chunk, address, length);
        EXPECT_EQ(length, 4U);
        std::uint32_t word = big(chunk, address);
        if (element(node, "Endianess") == "LittleEndian") word = __builtin_bswap32(word);
        if (node.rfind("<FloatReg", 0) == 0) return std::to_string(std::bit_cast<float>(word));
        const bool isSigned = element(node, "Sign") == "Signed";
        return isSigned ? std::to_string(static_cast<std::int32_t>(word)) : std::to_string(word);
    }

 private:
    static std::string nodeOf(const std::string& name) {
        static const std::string kText = chunkDescription();
        const std::size_t at = kText.find(" Name=\"" + name + "\">");
        if (at == std::string::npos) throw std::runtime_error("not described: " + name);
        const std::size_t begin = kText.rfind('<', at);
        return kText.substr(begin, kText.find('\n', at) - begin);
    }
    static std::string element(const std::string& node, const std::string& name) {
        const std::size_t begin = node.find("<" + name + ">") + name.size() + 2;
        return node.substr(begin, node.find("</" + name + ">") - begin);
    }

    std::map<std::uint32_t, Bytes> chunks_;
};

void expectCode(Described& described, const std::string& name, const SceneCode& code,
                const std::string& pixelsPerModule) {
    EXPECT_EQ(described.value(name + "_CodeType"), code.type);
    EXPECT_EQ(described.value(name + "_CodeData"), code.text);
    EXPECT_EQ(described.value(name + "_PosPointNum"), "4");
    for (std::size_t j = 0; j < 4; ++j) {
        const std::string point = name + "_Point" + std::to_string(j);
        EXPECT_EQ(described.value(point + "_X"), std::to_string(code.corners[j].x));
        EXPECT_EQ(described.value(point + "_Y"), std::to_string(code.corners[j].y));
    }
    EXPECT_EQ(described.value(name + "_PPM"), pixelsPerModule);
}

TEST(ResultChunks, AreWhereTheDescriptionSays) {
    Scene scene = sceneWith(std::vector<SceneCode>(64, matrixCode()));
    SceneCode last = matrixCode();
    last.text = "the last";
    last.corners[3] = {-70'000, -65'537};
    scene.read[63] = last;
    scene.read.push_back(linearCode());
    Described described(encodeChunks(scene, kTimestamp, {true, true, true, true}));
    EXPECT_EQ(described.value("BarCodeDetectTime"), "17");
    EXPECT_EQ(described.value("BarCodeNum"), "1");
    EXPECT_EQ(described.value("QRDetectTime"), "17");
    EXPECT_EQ(described.value("QRNum"), "64");
    expectCode(described, "BarCode0", linearCode(), "2.517000");
    expectCode(described, "QR0", matrixCode(), "3.250000");
    expectCode(described, "QR63", last, "3.250000");
    EXPECT_EQ(described.value("PipelineStatus"), "Partial");
    EXPECT_EQ(described.value("PipelineTriggerTsHigh"), "5");
    EXPECT_EQ(described.value("PipelineTriggerTsLow"), "2452903544");
    EXPECT_EQ(described.value("ImageScaleOutWidth"), "64");
    EXPECT_EQ(described.value("ImageScaleOutHeight"), "16");
}

TEST(ResultChunks, HoldThePictureFirst) {
    const Scene scene = sceneWith({matrixCode(), linearCode()});
    const Bytes payload = encodeChunks(scene, kTimestamp, {true, true, true, true});
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + kPixels), scene.pixels);
    auto chunks = chunksOf(payload);
    EXPECT_THAT(chunks,
                ElementsAre(Key(1U), Key(kBarcodes), Key(kQrCodes), Key(kPipeline), Key(kScaling)));
    EXPECT_EQ(chunks[1], scene.pixels);
}

TEST(ResultChunks, AreThoseThatWereChosen) {
    const Scene scene = sceneWith({linearCode()});
    EXPECT_THAT(chunksOf(encodeChunks(scene, 0, {})), ElementsAre(Key(1U)));
    EXPECT_THAT(chunksOf(encodeChunks(scene, 0, {false, true, false, true})),
                ElementsAre(Key(1U), Key(kQrCodes), Key(kScaling)));
}

TEST(ResultChunks, GoWithAJpegFileOrAlone) {
    const Scene scene = sceneWith({linearCode()});
    const chunk::Choice all = {true, true, true, true};
    const Bytes file = {0xff, 0xd8, 0xff, 0xd9};
    auto chunks = chunksOf(encodeChunks(scene, kTimestamp, all, file));
    EXPECT_EQ(chunks[1], file);
    EXPECT_THAT(chunks,
                ElementsAre(Key(1U), Key(kBarcodes), Key(kQrCodes), Key(kPipeline), Key(kScaling)));
    // There is no picture whose size the scaling could tell.
    EXPECT_THAT(chunksOf(encodeResultChunks(scene, kTimestamp, all)),
                ElementsAre(Key(kBarcodes), Key(kQrCodes), Key(kPipeline)));
    EXPECT_THAT(encodeResultChunks(scene, kTimestamp, {false, false, false, true}), IsEmpty());
    EXPECT_EQ(mostResultChunkBytes({false, false, true, true}),
              encodeResultChunks(scene, kTimestamp, {false, false, true, true}).size());
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
    EXPECT_EQ(payload.size(), mostChunkBytes(kPixels, {true, false, true, true}));
}

}  // namespace
}  // namespace kestrosim
