// SPDX-License-Identifier: Apache-2.0
#include "ChunkLines.h"

#include "CodeKeys.h"

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kestro::decode::ChunkKey;
using kestro::decode::chunkKeyHash;
using kestro::decode::ChunkLines;
using kestro::decode::CodeKeys;
using kestro::decode::CodeKeyTable;

std::string_view valueIn(std::string_view line, std::string_view key) {
    ChunkLines lines;
    lines.reset(1);
    lines.add(line);
    return lines.find(ChunkKey(key));
}

TEST(ChunkLines, HashBytesAsSignedTimes131) {
    EXPECT_EQ(chunkKeyHash(""), 0U);
    EXPECT_EQ(chunkKeyHash("ab"), 97U * 131 + 98);
    EXPECT_EQ(chunkKeyHash("\xFF"), 0xFFFFFFFFU);
}

TEST(ChunkLines, SplitAtTheFirstColon) {
    EXPECT_EQ(valueIn("BarCodeNum Value:2", "BarCodeNum"), "2");
    EXPECT_EQ(valueIn("K Value:a:b", "K"), "a:b");
    EXPECT_EQ(valueIn("K Value: EAN13\r", "K"), " EAN13\r");
    EXPECT_EQ(valueIn("K Value:", "K"), "");
    EXPECT_EQ(valueIn(" Value:5", ""), "5");
    EXPECT_EQ(valueIn("A B  Value:5", "A B "), "5");
    EXPECT_EQ(valueIn(std::string_view("a\0b Value:5", 11), std::string_view("a\0b", 3)), "5");
}

TEST(ChunkLines, DropLinesOfAnotherForm) {
    for (const char* line : {"K:5", "A:B Value:5", "K value:5", "K Value 5", "Value:5", "", ":"}) {
        for (const char* key : {"K", "A", "A:B", "B", ""})
            EXPECT_EQ(valueIn(line, key), "") << line;
    }
}

TEST(ChunkLines, KeepTheFirstOfEqualKeysInWhateverOrderTheyAreAskedFor) {
    ChunkLines lines;
    EXPECT_EQ(lines.find(ChunkKey("K")), "");
    lines.reset(7);
    for (const char* line :
         {"K Value:1", "K Value:2", "BarCode1_Point0_X Value:3", "unread Value:4",
          "BarCode1_Point0_Y Value:5", "K Value:6", "BarCode1_Point0_X Value:7"})
        lines.add(line);
    const std::pair<const char*, const char*> asked[] = {{"K", "1"},
                                                         {"K", "1"},
                                                         {"BarCode1_Point0_X", "3"},
                                                         {"BarCode1_Point0_Y", "5"},
                                                         {"BarCode1_Point0_Z", ""},
                                                         {"BarCode2_Point0_X", ""},
                                                         {"BarCode1_Point0_X", "3"},
                                                         {"unread", "4"},
                                                         {"K", "1"}};
    for (const auto& [key, value] : asked) EXPECT_EQ(lines.find(ChunkKey(key)), value) << key;
    lines.reset(1);
    EXPECT_EQ(lines.find(ChunkKey("K")), "");
}

TEST(ChunkLines, TellKeysOfOneHashApart) {
    // 66 * 131 - 128 == 65 * 131 + 3
    ASSERT_EQ(chunkKeyHash("B\x80"), chunkKeyHash("A\x03"));
    ChunkLines lines;
    lines.reset(2);
    lines.add("B\x80 Value:first");
    EXPECT_EQ(lines.find(ChunkKey("A\x03")), "");
    lines.add("A\x03 Value:second");
    EXPECT_EQ(lines.find(ChunkKey("B\x80")), "first");
    EXPECT_EQ(lines.find(ChunkKey("A\x03")), "second");
}

TEST(ChunkLines, HoldAsManyLinesAsTheChunkHas) {
    std::vector<std::string> texts;
    for (int i = 0; i < 5000; ++i)
        texts.push_back("Key" + std::to_string(i) + " Value:" + std::to_string(i));
    ChunkLines lines;
    for (const std::size_t count : {10U, 5000U, 10U}) {
        lines.reset(count);
        for (std::size_t i = 0; i < count; ++i) lines.add(texts[i]);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(lines.find(ChunkKey("Key" + std::to_string(i))), std::to_string(i));
        }
        EXPECT_EQ(lines.find(ChunkKey("Key" + std::to_string(count))), "");
    }
}

/** Chunks with some of the lines that are asked for, some twice, some out of order, some odd. */
class SpoiledChunks {
 public:
    /** True once in so many times. */
    bool oneIn(unsigned count) { return random_() % count == 0; }
    std::vector<CodeKeys> codes() {
        std::vector<CodeKeys> codes;
        for (std::uint32_t i = 0; i < 3; ++i)
            codes.emplace_back(oneIn(2) ? "BarCode" : "QR", 7 * i);
        return codes;
    }
    const ChunkKey& any(const std::vector<ChunkKey>& keys) { return keys[random_() % keys.size()]; }
    /** How many lines it takes for one to be spoiled. */
    unsigned rarity() { return oneIn(4) ? 1000 : 2 + static_cast<unsigned>(random_() % 12); }
    std::vector<std::string> lines(const std::vector<ChunkKey>& keys, unsigned rarity) {
        std::vector<std::string> lines;
        for (const ChunkKey& key : keys) {
            if (oneIn(rarity)) lines.push_back(any(keys).text() + " Value:x");
            if (oneIn(rarity)) lines.push_back("other" + std::to_string(random_() % 3) + " Value:");
            if (oneIn(rarity)) lines.push_back(key.text() + (oneIn(2) ? " value:1" : ""));
            if (!oneIn(rarity))
                lines.push_back(key.text() + " Value:" + std::to_string(lines.size()));
            if (!lines.empty() && oneIn(rarity))
                std::swap(lines[random_() % lines.size()], lines.back());
        }
        return lines;
    }

 private:
    std::mt19937 random_{20240229};
};

// Every key asked for once, with and without find() in between.
TEST(ChunkLines, GiveWhatAPlainMapGivesWhateverTheLines) {
    SpoiledChunks chunks;
    ChunkLines lines;
    for (int chunk = 0; chunk < 5000; ++chunk) {
        const std::vector<CodeKeys> codes = chunks.codes();
        std::vector<ChunkKey> asked;
        for (const CodeKeys& code : codes) {
            asked.insert(asked.end(),
                         {code.codeType(), code.pointX(0), code.pointY(3), code.ppm()});
        }
        const unsigned rarity = chunks.rarity();
        const std::vector<std::string> texts = chunks.lines(asked, rarity);
        std::map<std::string, std::string> plain;
        lines.reset(texts.size());
        for (const std::string& text : texts) {
            lines.add(text);
            const std::size_t mark = text.find(" Value:");
            if (mark != std::string::npos)
                plain.emplace(text.substr(0, mark), text.substr(mark + 7));
        }
        for (const ChunkKey& key : asked) {
            const ChunkKey& any = chunks.any(asked);
            if (chunks.oneIn(rarity)) {
                ASSERT_EQ(lines.find(any), plain[any.text()]) << testing::PrintToString(texts);
            }
            if (chunks.oneIn(rarity)) {
                lines.skip(key);
            } else {
                ASSERT_EQ(lines.next(key), plain[key.text()]) << testing::PrintToString(texts);
            }
        }
    }
}

TEST(CodeKeys, AreMadeOfPrefixAndIndex) {
    const CodeKeys keys("BarCode", 3);
    EXPECT_EQ(keys.codeType().text(), "BarCode3_CodeType");
    EXPECT_EQ(keys.codeData().text(), "BarCode3_CodeData");
    EXPECT_EQ(keys.positionPointCount().text(), "BarCode3_PosPointNum");
    EXPECT_EQ(keys.pointX(0).text(), "BarCode3_Point0_X");
    EXPECT_EQ(keys.pointY(3).text(), "BarCode3_Point3_Y");
    EXPECT_EQ(keys.ppm().text(), "BarCode3_PPM");
    EXPECT_EQ(keys.ppm().hash(), chunkKeyHash("BarCode3_PPM"));
    EXPECT_EQ(CodeKeys("BarCode", 4294967295).positionPointCount().text(),
              "BarCode4294967295_PosPointNum");
}

TEST(CodeKeyTable, DoublesUpToItsBound) {
    CodeKeyTable table("QR");
    CodeKeys spare;
    EXPECT_EQ(table.size(), 64U);
    const CodeKeys* const kept = &table.keys(63, spare);
    EXPECT_EQ(table.size(), 64U);
    for (std::uint32_t i = 0; i < 70; ++i) {
        EXPECT_EQ(table.keys(i, spare).ppm().text(), "QR" + std::to_string(i) + "_PPM");
    }
    EXPECT_EQ(table.size(), 128U);
    for (std::uint32_t i = 70; i < 1024; ++i) {
        ASSERT_EQ(table.keys(i, spare).ppm().text(), "QR" + std::to_string(i) + "_PPM");
    }
    EXPECT_EQ(table.size(), 1024U);
    EXPECT_EQ(&table.keys(63, spare), kept);  // readers may hold keys while the table grows
    EXPECT_EQ(&table.keys(1024, spare), &spare);
    EXPECT_EQ(spare.codeType().text(), "QR1024_CodeType");
    EXPECT_EQ(table.size(), 1024U);
}

TEST(CodeKeyTable, GrowsFromManyThreadsAtOnce) {
    CodeKeyTable table("BarCode");
    const auto work = [&table] {
        CodeKeys spare;
        for (std::uint32_t i = 0; i < 1024; ++i) {
            ASSERT_EQ(table.keys(i, spare).codeData().text(),
                      "BarCode" + std::to_string(i) + "_CodeData");
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(table.size(), 1024U);
}

}  // namespace
