// SPDX-License-Identifier: Apache-2.0
#include "Lettering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

using namespace kestrocli;
using testing::EndsWith;
using testing::StartsWith;

namespace {

std::string utf8(std::uint32_t codePoint) {
    if (codePoint < 0x80) return std::string(1, static_cast<char>(codePoint));
    return {static_cast<char>(0xC0U | codePoint >> 6U),
            static_cast<char>(0x80U | (codePoint & 0x3FU))};
}

std::vector<std::uint8_t> drawn(const std::string& text) {
    constexpr std::uint32_t kSide = 60;
    Raster picture(kSide, kSide, {});
    Lettering(8).draw(picture, 10, 20, text, {255, 255, 255});
    return picture.rgb();
}

TEST(Lettering, DrawsEachCharacterInItsOwnWay) {
    std::map<std::vector<std::uint8_t>, std::string> seen;
    const std::vector<std::uint8_t> box = drawn("\xE5\x8C\x97");
    int boxes = 0;
    for (std::uint32_t codePoint = ' '; codePoint < 0x200; ++codePoint) {
        const auto look = drawn(utf8(codePoint));
        boxes += look == box ? 1 : 0;
        if (look == box || codePoint == ' ') continue;
        const auto [other, isNew] = seen.emplace(look, utf8(codePoint));
        EXPECT_TRUE(isNew) << utf8(codePoint) << " looks like " << other->second;
    }
    EXPECT_GE(seen.size(), 94U + 150U) << "ASCII, and most Latin letters with marks";
    EXPECT_GT(boxes, 0x80) << "what has no glyph";
}

TEST(Lettering, CutsATextToTheWidthThatThereIs) {
    const Lettering lettering(5);
    const std::string text = "KST-1234 K\xC3\xB6ln \xE5\x8C\x97\xE4\xBA\xAC";
    const int whole = lettering.widthOf(text);
    EXPECT_EQ(lettering.cut(text, whole), text);
    for (int width = -5; width < whole; ++width) {
        const std::string cut = lettering.cut(text, width);
        EXPECT_LE(lettering.widthOf(cut), std::max(width, 0));
        if (cut.empty()) continue;
        EXPECT_THAT(cut, EndsWith("\xE2\x80\xA6"));
        EXPECT_THAT(text, StartsWith(cut.substr(0, cut.size() - 3)));
    }
    EXPECT_THAT(lettering.cut(text, whole - 1), StartsWith("KST-1234 K\xC3\xB6ln "));
}

}  // namespace
