// SPDX-License-Identifier: Apache-2.0
#include "JpegHeader.h"

#include "FrameReceiver.h"
#include "StreamPackets.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Vorda::Gige;
using kestro::test::appendBig;
using kestro::test::joined;

const Bytes kStart = {0xff, 0xd8};
const Bytes kScan = {0xff, 0xda, 0, 8, 1, 1, 0, 0, 63, 0, 0x12, 0x34};

/** A segment whose length is right, but for what is added to it. */
Bytes segment(std::uint8_t code, const Bytes& held, int lie = 0) {
    Bytes bytes = {0xff, code};
    appendBig(bytes, held.size() + 2 + static_cast<std::uint64_t>(lie), 2);
    return joined({bytes, held});
}

/** 640 x 480, 8 bits. */
Bytes frameHeader(std::uint8_t code, std::uint8_t components, int lie = 0) {
    Bytes held = {8, 0x01, 0xe0, 0x02, 0x80, components};
    held.resize(held.size() + 3U * components);
    return segment(code, held, lie);
}

struct Case {
    const char* name;
    Bytes file;
    std::uint32_t components;  ///< 0: the file tells nothing
};

class JpegHeaders : public testing::TestWithParam<Case> {};

TEST_P(JpegHeaders, AreReadOrNone) {
    // An exact copy, so that a read beyond it is seen.
    const Bytes& file = GetParam().file;
    const auto header = readJpegHeader(Bytes(file));
    ASSERT_EQ(header.has_value(), GetParam().components != 0);
    if (!header) return;
    EXPECT_EQ(header->width, 640U);
    EXPECT_EQ(header->height, 480U);
    EXPECT_EQ(header->components, GetParam().components);
    EXPECT_EQ(header->bits, 8U);
    // The frame header is the file's end here: a byte less, and it is not whole.
    for (std::size_t size = 0; size < file.size() && file.back() == 0; ++size) {
        EXPECT_FALSE(readJpegHeader(ByteView(file).first(size))) << size;
    }
}

const Bytes kThumbnail = segment(0xe1, joined({kStart, frameHeader(0xc0, 3), kScan}));
const Bytes kHuffmanTables = segment(0xc4, Bytes(17, 1));

INSTANTIATE_TEST_SUITE_P(
    Files, JpegHeaders,
    testing::Values(
        Case{"AtTheEnd", joined({kStart, frameHeader(0xc0, 1)}), 1},
        Case{"BeforeTheScan", joined({kStart, frameHeader(0xc0, 1), kScan}), 1},
        Case{"Progressive", joined({kStart, frameHeader(0xc2, 3)}), 3},
        Case{"BehindAThumbnail", joined({kStart, kThumbnail, frameHeader(0xc1, 1)}), 1},
        Case{"BehindTables", joined({kStart, kHuffmanTables, frameHeader(0xc0, 3)}), 3},
        Case{"BehindFillBytes", joined({kStart, {0xff, 0xff}, frameHeader(0xc0, 1)}), 1},
        Case{"BehindARestart", joined({kStart, {0xff, 0xd0}, frameHeader(0xc0, 1)}), 1},
        Case{"BehindTheScan", joined({kStart, kScan, frameHeader(0xc0, 1)}), 0},
        Case{"BehindTheEnd", joined({kStart, {0xff, 0xd9}, frameHeader(0xc0, 1)}), 0},
        Case{"WithoutStart", frameHeader(0xc0, 1), 0},
        Case{"WithoutMarker", joined({kStart, {0x00}, frameHeader(0xc0, 1)}), 0},
        Case{"TooShort", joined({kStart, frameHeader(0xc0, 3, -1), kScan}), 0},
        Case{"TooLong", joined({kStart, frameHeader(0xc0, 3, 1), kScan}), 0},
        Case{"LengthOfNothing", joined({kStart, {0xff, 0xe0, 0, 0}}), 0},
        Case{"LengthPastTheEnd", joined({kStart, {0xff, 0xe0, 0xff, 0xff, 1, 2}}), 0},
        Case{"HeightToldLater", joined({kStart, segment(0xc0, {8, 0, 0, 2, 128, 0})}), 0},
        Case{"NothingButFill", joined({kStart, Bytes(40, 0xff)}), 0}, Case{"Empty", {}, 0}),
    [](const auto& test) { return test.param.name; });

}  // namespace
