// SPDX-License-Identifier: Apache-2.0
#include "Descriptions.h"
#include "FrameReceiver.h"
#include "LastError.h"
#include "PayloadLayout.h"
#include "RecordingLogger.h"
#include "StreamPackets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Vorda::Gige;
using kestro::test::Bytes;
using kestro::test::checked;
using kestro::test::chunk;
using kestro::test::content;
using kestro::test::FrameReceiver;
using kestro::test::joined;
using kestro::test::RecordingLogger;
using testing::ElementsAre;
using testing::IsEmpty;
using Vorda::GenICam::CFrame;
using Vorda::GenICam::TVector;

// The writer's leader says Mono8, 40 x 30.
constexpr std::size_t kImageBytes = 1200;
constexpr std::uint16_t kImageWithChunks = 0x4001;
constexpr std::uint16_t kOnlyChunks = 4;

Bytes imageOf(const CFrame& frame) {
    const auto* data = static_cast<const std::uint8_t*>(frame.getImage());
    return {data, data + frame.getImageSize()};
}

std::vector<std::uint32_t> chunkIds(const CFrame& frame) {
    std::vector<std::uint32_t> ids;
    for (unsigned i = 0; i < frame.getChunkCount(); ++i) {
        unsigned id = 0;
        TVector<Vorda::Infra::CString> lines;
        EXPECT_TRUE(frame.getChunkDataByIndex(i, id, lines));
        ids.push_back(id);
    }
    return ids;
}

std::vector<unsigned> payloadTypes(const CFrame& frame) {
    TVector<CFrame::EPayloadType> types;
    EXPECT_TRUE(frame.getPayLoadTypes(types));
    return {types.begin(), types.end()};
}

TEST(ChunkedFrame, HasTheFirstChunkForItsImage) {
    FrameReceiver receiver;
    const Bytes image = content(kImageBytes, 1);
    const CFrame frame = receiver.receive(
        kImageWithChunks,
        joined({chunk(1, image), chunk(0x80000000, content(40, 2)), chunk(7, {})}));
    EXPECT_EQ(imageOf(frame), image);
    EXPECT_EQ(frame.getImageWidth(), 40u);
    EXPECT_THAT(chunkIds(frame), ElementsAre(1u, 0x80000000u, 7u));
    EXPECT_THAT(payloadTypes(frame), ElementsAre(1u, 4u));
    EXPECT_EQ(receiver.counters.brokenChunks.get(), 0u);
}

TEST(ChunkedFrame, CountsAsAWholeWhenNoImageIsToldApart) {
    FrameReceiver receiver;
    const Bytes chunks = joined({chunk(0x80000000, content(40, 2)), chunk(5, content(4, 3))});
    const CFrame frame = receiver.receive(kOnlyChunks, chunks);
    EXPECT_EQ(imageOf(frame), chunks);
    EXPECT_EQ(frame.getImageWidth(), 0u);
    EXPECT_THAT(chunkIds(frame), ElementsAre(0x80000000u, 5u));
    EXPECT_THAT(payloadTypes(frame), ElementsAre(4u));

    const Bytes emptyImage = joined({chunk(1, {}), chunk(0x80000000, content(40, 2))});
    EXPECT_EQ(imageOf(receiver.receive(kImageWithChunks, emptyImage)), emptyImage);
}

TEST(ChunkedFrame, HasNoChunksWithoutTheirPayloadType) {
    FrameReceiver receiver;
    const Bytes payload = joined({chunk(1, content(kImageBytes, 1)), chunk(2, content(4, 2))});
    for (const auto type : std::initializer_list<std::uint16_t>{1, 2, 6}) {
        const CFrame frame = receiver.receive(type, payload);
        EXPECT_EQ(imageOf(frame), payload);
        EXPECT_EQ(frame.getChunkCount(), 0u);
        EXPECT_THAT(payloadTypes(frame), ElementsAre(type));
    }
}

TEST(ChunkedFrame, OfAnyTypeHasItsOwnImageFirst) {
    FrameReceiver receiver;
    const Bytes image = content(kImageBytes, 1);
    for (const std::uint32_t type : {1U, 2U, 6U}) {
        const CFrame frame = receiver.receive(static_cast<std::uint16_t>(0x4000 | type),
                                              joined({chunk(1, image), chunk(2, content(4, 2))}));
        EXPECT_EQ(imageOf(frame), image);
        EXPECT_THAT(payloadTypes(frame), ElementsAre(type, 4U));
    }
}

struct Told {
    std::uint32_t width, height, pixelFormat;
};

Told toldBy(const CFrame& frame) {
    return {frame.getImageWidth(), frame.getImageHeight(),
            static_cast<std::uint32_t>(frame.getImagePixelFormat())};
}

void expectTold(const Told& told, const Told& expected) {
    EXPECT_EQ(told.width, expected.width);
    EXPECT_EQ(told.height, expected.height);
    EXPECT_EQ(told.pixelFormat, expected.pixelFormat);
}

/** A JPEG file's first bytes, for 300 x 200 pixels. */
Bytes jpegFile(std::uint8_t bits, std::uint8_t components) {
    Bytes file = {0xff, 0xd8, 0xff, 0xc0, 0, static_cast<std::uint8_t>(8 + 3 * components)};
    for (const int byte : {int{bits}, 0, 200, 1, 44, int{components}}) {
        file.push_back(static_cast<std::uint8_t>(byte));
    }
    file.resize(file.size() + 3U * components);
    return file;
}

TEST(JpegFrame, TakesItsGeometryFromTheFile) {
    constexpr std::uint32_t kUnknown = 0xffffffff;
    FrameReceiver receiver;
    expectTold(toldBy(receiver.receive(6, jpegFile(8, 1))), {300, 200, 0x01080001});
    expectTold(toldBy(receiver.receive(6, jpegFile(8, 3))), {300, 200, 0x02180014});
    expectTold(toldBy(receiver.receive(6, jpegFile(8, 4))), {300, 200, kUnknown});
    expectTold(toldBy(receiver.receive(6, jpegFile(12, 1))), {300, 200, kUnknown});
    const Bytes chunks = joined({chunk(1, jpegFile(8, 1)), chunk(2, {})});
    expectTold(toldBy(receiver.receive(0x4006, chunks)), {300, 200, 0x01080001});
    // A frame that the file's own chunk is too short for must not look into the next one.
    const Bytes split = joined({chunk(1, {0xff, 0xd8}), chunk(2, jpegFile(8, 1))});
    expectTold(toldBy(receiver.receive(0x4006, split)), {0, 0, kUnknown});
    expectTold(toldBy(receiver.receive(6, content(100, 1))), {0, 0, kUnknown});
    expectTold(toldBy(receiver.receive(2, jpegFile(8, 1))), {0, 0, kUnknown});
    expectTold(toldBy(receiver.receive(1, jpegFile(8, 1))), {40, 30, 0x01080001});
}

struct BrokenCase {
    const char* name;
    Bytes payload;
    std::size_t imageBytes;
};

class BrokenChunks : public testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenChunks, CostOneFramesResults) {
    RecordingLogger::instance().reset();
    FrameReceiver receiver;
    for (const std::uint64_t count : {1u, 2u}) {
        const CFrame frame = receiver.receive(kImageWithChunks, GetParam().payload);
        ASSERT_TRUE(frame.valid());
        EXPECT_EQ(frame.getChunkCount(), 0u);
        EXPECT_EQ(frame.getImageSize(), GetParam().imageBytes);
        EXPECT_THAT(payloadTypes(frame), ElementsAre(1u));
        EXPECT_EQ(receiver.counters.brokenChunks.get(), count);
    }
    const Bytes image = content(kImageBytes, 1);
    EXPECT_EQ(imageOf(receiver.receive(kImageWithChunks, chunk(1, image))), image);
    const auto warnings = RecordingLogger::instance().lines(400, 400);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], testing::HasSubstr("block 1 "));
}

/** A payload whose last chunk says that it has `length` bytes. */
Bytes withLastLength(std::uint32_t length) {
    Bytes bytes = joined({chunk(1, content(kImageBytes, 1)), chunk(2, content(12, 2))});
    bytes.resize(bytes.size() - 4);
    kestro::test::appendBig(bytes, length, 4);
    return bytes;
}

Bytes withoutEnd(Bytes bytes, std::size_t count) {
    bytes.resize(bytes.size() - count);
    return bytes;
}

INSTANTIATE_TEST_SUITE_P(
    ChunkedFrame, BrokenChunks,
    testing::Values(BrokenCase{"Huge", withLastLength(0xffffffff), kImageBytes},
                    BrokenCase{"WrapsRound", withLastLength(0xfffffff8), kImageBytes},
                    BrokenCase{"OneTooMany", withLastLength(13), kImageBytes},
                    BrokenCase{"BeyondTheStart", withLastLength(1221), kImageBytes},
                    BrokenCase{"LeavesBytesOver", withLastLength(1216), kImageBytes},
                    BrokenCase{"CutShort", withoutEnd(withLastLength(12), 3), kImageBytes},
                    BrokenCase{"PlainImage", content(kImageBytes, 9), kImageBytes},
                    BrokenCase{"LessThanAnImage", content(1199, 9), 1199},
                    BrokenCase{"LessThanATrailer", Bytes(7), 7}),
    [](const auto& test) { return test.param.name; });

TEST(ChunkedFrame, KeepsTheFirstOfTooManyChunks) {
    FrameReceiver receiver;
    std::vector<Bytes> parts{chunk(1000, content(kImageBytes, 1))};
    for (std::uint32_t i = 1; i < 200; ++i) parts.push_back(chunk(1000 + i, Bytes(i % 3)));
    for (const std::size_t count : {63u, 64u, 65u, 128u, 200u}) {
        const CFrame frame = receiver.receive(
            kImageWithChunks,
            joined({parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(count)}));
        EXPECT_EQ(frame.getImageSize(), kImageBytes);
        const auto ids = chunkIds(frame);
        ASSERT_EQ(ids.size(), std::min<std::size_t>(count, 64));
        for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(ids[i], 1000 + i);
    }
}

TEST(ChunkedFrame, GivesTheLinesOfItsChunks) {
    const auto layout = std::make_shared<PayloadLayout>(checked(
        R"(<RegisterDescription SchemaMajorVersion="1" SchemaMinorVersion="1"
             SchemaSubMinorVersion="0" ModelName="M" VendorName="V">
           <Category Name="Root"/>
           <IntReg Name="QRNum"><Address>0</Address><Length>4</Length><pPort>P</pPort>
             <Endianess>BigEndian</Endianess></IntReg>
           <Port Name="P"><ChunkID>80000001</ChunkID></Port></RegisterDescription>)"));
    FrameReceiver receiver(layout);
    const CFrame frame = receiver.receive(
        kImageWithChunks, joined({chunk(1, content(kImageBytes, 1)), chunk(2, content(4, 1)),
                                  chunk(0x80000001, {0, 0, 0, 3}), chunk(0x80000001, {0, 0, 0})}));
    unsigned id = 99;
    TVector<Vorda::Infra::CString> lines;
    lines.emplace_back("old");
    EXPECT_TRUE(frame.getChunkDataByIndex(1, id, lines));
    EXPECT_EQ(id, 2u);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_TRUE(frame.getChunkDataByIndex(2, id, lines));
    EXPECT_EQ(id, 0x80000001u);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_STREQ(lines[0].c_str(), "QRNum Value:3");
    EXPECT_TRUE(frame.getChunkDataByIndex(3, id, lines));
    EXPECT_THAT(lines, IsEmpty());
    for (const CFrame& none : {frame, CFrame()}) {
        lines.emplace_back("old");
        EXPECT_FALSE(none.getChunkDataByIndex(4, id, lines));
        EXPECT_EQ(id, 0u);
        EXPECT_THAT(lines, IsEmpty());
        EXPECT_EQ(lastErrorMessage(), "the frame has no chunk 4");
    }
}

}  // namespace
