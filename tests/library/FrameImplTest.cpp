// SPDX-License-Identifier: Apache-2.0
#include "FrameImpl.h"

#include "BarcodeInfoImpl.h"
#include "CodeKeys.h"
#include "FrameDouble.h"
#include "ImageBufferPool.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kestro::FrameImpl;
using kestro::test::ChunkContent;
using kestro::test::FrameContent;
using kestro::test::makeFrame;
using kestro::test::RecordingLogger;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kCountAt = 8;
constexpr std::size_t kEntry0 = 24;
constexpr std::size_t kEntry1 = 88;
constexpr std::size_t kEntry2 = 152;

const std::string kResultText =
    R"({"ChunkPipelineJson":{"value":{"TriggerTsHigh":{"value":1},"TriggerTsLow":{"value":7}}}})";

// clang-format off
const Bytes kHeader = {
    0x53, 0x4D, 0x41, 0x54,                          //  0 magic: "SMAT"
    0xEE, 0xEE, 0xEE, 0xEE,                          //  4 reserved
    0x01, 0x00, 0x00, 0x00,                          //  8 block count: 1
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,              // 12 reserved, 12 bytes
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,
};

const Bytes kImageEntry = {
    0x00, 0x00, 0x00, 0x00,                          //  0 type: image
    0x40, 0x02, 0x00, 0x00,                          //  4 offset: 576
    0x06, 0x00, 0x00, 0x00,                          //  8 size: 6
    0x03, 0x00, 0x00, 0x00,                          // 12 width: 3
    0x02, 0x00, 0x00, 0x00,                          // 16 height: 2
    0xEE, 0xEE, 0xEE, 0xEE,                          // 20 reserved
    0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // 24 timestamp: 0x1122334455667788
    0x01, 0x00, 0x00, 0x00,                          // 32 payload indicator: JPEG
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,        // 36 reserved, 28 bytes
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,
    0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE,
};
// clang-format on

void put32(Bytes& bytes, std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes.at(at++) = static_cast<std::uint8_t>(value >> (8 * i));
}

void append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

void setEntry(Bytes& bytes, std::size_t entryAt, std::uint32_t type, std::size_t offset,
              std::size_t size) {
    put32(bytes, entryAt, type);
    put32(bytes, entryAt + 4, static_cast<std::uint32_t>(offset));
    put32(bytes, entryAt + 8, static_cast<std::uint32_t>(size));
}

// A container with one image block: six bytes right behind the 576 that a container has at least.
Bytes imageContainer() {
    Bytes bytes = kHeader;
    bytes.insert(bytes.end(), kImageEntry.begin(), kImageEntry.end());
    bytes.resize(576, 0xEE);
    append(bytes, "pixels");
    return bytes;
}

// The same with a second entry, a result text behind the image.
Bytes imageAndTextContainer(const std::string& text) {
    Bytes bytes = imageContainer();
    put32(bytes, kCountAt, 2);
    setEntry(bytes, kEntry1, 2, bytes.size(), text.size());
    append(bytes, text);
    return bytes;
}

// 582 bytes of the image container cut or extended to `size`, with nine entries that are there
// whole (24 + 64 * 9 = 600) and `count` announced; all but the first are of a type that is skipped.
Bytes fullTable(std::size_t size, std::uint32_t count) {
    Bytes bytes = imageContainer();
    bytes.resize(std::max<std::size_t>(size, 600));
    for (std::size_t i = 1; i < 9; ++i) setEntry(bytes, kEntry0 + 64 * i, 5, 0, 0);
    put32(bytes, kCountAt, count);
    bytes.resize(size);
    return bytes;
}

std::string imageOf(const FrameImpl& frame) {
    return {reinterpret_cast<const char*>(frame.getImageData()), frame.getImageSize()};
}

std::vector<std::string> loggedErrors() { return RecordingLogger::instance().lines(0, 700); }

std::shared_ptr<FrameImpl> createFromImage(Bytes image) {
    FrameContent content;
    content.blockId = 9;
    content.image = std::move(image);
    content.timestamp = 4321;
    return FrameImpl::create(makeFrame(std::move(content)));
}

std::shared_ptr<FrameImpl> createFromChunks(std::vector<ChunkContent> chunks) {
    FrameContent content;
    content.image = {1, 2, 3};
    content.chunks = std::move(chunks);
    return FrameImpl::create(makeFrame(std::move(content)));
}

class FrameTest : public ::testing::Test {
 protected:
    void SetUp() override { RecordingLogger::instance().reset(); }
};

class FrameCreate : public FrameTest {};
class GivenFrame : public FrameTest {};
class BlockFrame : public FrameTest {};
class ChunkFrame : public FrameTest {};
class JsonFrame : public FrameTest {
 protected:
    FrameImpl frame_;
};

TEST_F(FrameCreate, RefusesAFrameThatIsNotValid) {
    FrameContent content;
    content.isValid = false;
    content.image = {1};
    EXPECT_EQ(FrameImpl::create(makeFrame(content)), nullptr);
    EXPECT_EQ(FrameImpl::create(Vorda::GenICam::CFrame()), nullptr);
    const std::string line = "300 create: frame is not valid";
    EXPECT_THAT(loggedErrors(), ElementsAre(line, line));
}

TEST_F(FrameCreate, RefusesAnEmptyImageBeforeItLooksAtThePointer) {
    FrameContent content;
    content.hasNullImage = true;
    content.chunks = {{0x80000000, {"BarCodeNum Value:1"}}};
    EXPECT_EQ(FrameImpl::create(makeFrame(content)), nullptr);
    EXPECT_THAT(loggedErrors(), ElementsAre("300 create: invalid image data size"));
}

TEST_F(FrameCreate, RefusesAnImageThatIsNull) {
    FrameContent content;
    content.hasNullImage = true;
    content.announcedSize = 1000;
    EXPECT_EQ(FrameImpl::create(makeFrame(content)), nullptr);
    EXPECT_THAT(loggedErrors(), ElementsAre("300 create: image data is null"));
    EXPECT_EQ(RecordingLogger::instance().records().at(0).file, "FrameImpl.cpp");
}

TEST_F(FrameCreate, TakesShortOrOtherDataAsAPlainImage) {
    const Bytes container = imageContainer();
    const Bytes tooShort(container.begin(), container.begin() + 575);
    Bytes other = container;
    other[3] = 't';
    for (const Bytes& image : {tooShort, other}) {
        const auto frame = createFromImage(image);
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(imageOf(*frame), std::string(image.begin(), image.end()));
    }
}

TEST_F(FrameCreate, TakesTheShortestContainerAsOne) {
    Bytes bytes = imageContainer();
    setEntry(bytes, kEntry0, 0, 570, 6);
    bytes.resize(576);
    ASSERT_EQ(createFromImage(bytes)->getImageSize(), 6U);
}

TEST_F(FrameCreate, TracesTheDeviceTimestampWhenTracesAreOn) {
    ASSERT_NE(createFromImage({1}), nullptr);
    EXPECT_THAT(RecordingLogger::instance().lines(), IsEmpty());

    RecordingLogger::instance().reset();
    RecordingLogger::instance().setEnabledLevel(800);
    EXPECT_EQ(createFromImage({1})->getTimestamp(), 0U);
    EXPECT_EQ(RecordingLogger::instance().questions(), 2);
    EXPECT_THAT(RecordingLogger::instance().lines(),
                ElementsAre("800 create: BlockID: {9}, timestamp: {4321}"));
}

TEST_F(FrameCreate, FetchesTheLogCategoryAnewForEachQuestionAndLine) {
    RecordingLogger::instance().setEnabledLevel(800);
    ASSERT_NE(createFromImage({1}), nullptr);
    ASSERT_NE(createFromImage({1}), nullptr);
    EXPECT_EQ(RecordingLogger::instance().categoryFetches(), 2 * (2 + 1));
}

TEST_F(FrameCreate, PrintsWholeSixtyFourBitNumbers) {
    RecordingLogger::instance().setEnabledLevel(800);
    FrameContent content;
    content.image = {1};
    content.blockId = 0xFFFFFFFFFFFFFFFF;
    content.timestamp = 0x8000000000000000;
    ASSERT_NE(FrameImpl::create(makeFrame(content)), nullptr);
    EXPECT_THAT(RecordingLogger::instance().lines(),
                ElementsAre("800 create: BlockID: {18446744073709551615}, "
                            "timestamp: {9223372036854775808}"));
}

TEST_F(FrameCreate, TurnsAnExceptionIntoALine) {
    const std::size_t inUse = kestro::ImageBufferPool::instance().inUseCount();
    FrameContent content;
    content.image = {1, 2, 3};
    content.chunks = {{0x80000003, {}}};
    content.beforeChunk = [] { throw std::bad_alloc(); };
    EXPECT_EQ(FrameImpl::create(makeFrame(content)), nullptr);
    content.beforeChunk = [] { throw 5; };
    EXPECT_EQ(FrameImpl::create(makeFrame(content)), nullptr);
    EXPECT_THAT(loggedErrors(),
                ElementsAre("300 create: frame could not be created, [std::bad_alloc]",
                            "300 create: frame could not be created"));
    EXPECT_EQ(kestro::ImageBufferPool::instance().inUseCount(), inUse);
}

TEST_F(FrameCreate, CopiesTheImageAndGivesTheBufferBackAtTheEnd) {
    kestro::ImageBufferPool& pool = kestro::ImageBufferPool::instance();
    const std::size_t inUse = pool.inUseCount();
    auto frame = createFromImage({7, 8, 9});
    EXPECT_EQ(pool.inUseCount(), inUse + 1);
    EXPECT_EQ(imageOf(*frame), "\x07\x08\x09");
    frame.reset();
    EXPECT_EQ(pool.inUseCount(), inUse);
}

TEST_F(FrameCreate, AFreshFrameAndAFreshCodeAreEmpty) {
    const FrameImpl frame;
    EXPECT_EQ(frame.getImageData(), nullptr);
    EXPECT_EQ(frame.getImageSize(), 0U);
    EXPECT_EQ(frame.getPixelFormat(), 0xFFFFFFFFU);
    EXPECT_FALSE(frame.getPayloadFlag());
    EXPECT_EQ(frame.getStatus(), 0U);
    EXPECT_THAT(frame.getBarcodes(), IsEmpty());
    const kestro::BarcodeInfoImpl code;
    EXPECT_EQ(code.getCodeType(), -1);
    EXPECT_EQ(code.getPPM(), 0.0F);
    EXPECT_THAT(code.getPoints(), IsEmpty());
}

TEST_F(FrameCreate, AnImageOfNoBytesIsStillThere) {
    FrameImpl frame;
    frame.setImage("", 0);
    EXPECT_NE(frame.getImageData(), nullptr);
    EXPECT_EQ(frame.getImageSize(), 0U);
}

struct GivenCase {
    const char* name;
    FrameContent content;
    bool isTaken;  ///< the image is not copied
};

FrameContent inContainer(Bytes image) {
    FrameContent content;
    content.image = std::move(image);
    return content;
}

std::vector<GivenCase> givenCases() {
    Bytes twice = imageContainer();
    put32(twice, kCountAt, 2);
    std::copy(kImageEntry.begin(), kImageEntry.end(), twice.begin() + kEntry1);
    setEntry(twice, kEntry1, 0, 576, 2);
    Bytes unaligned = imageContainer();
    setEntry(unaligned, kEntry0, 0, 577, 5);
    Bytes none = imageContainer();
    put32(none, kCountAt, 0);
    Bytes empty = imageContainer();
    setEntry(empty, kEntry0, 0, 576, 0);
    FrameContent chunks;
    chunks.image = {1, 2, 3};
    chunks.width = 3;
    chunks.payloadTypes = {6, 4};
    chunks.chunks = {
        {0x80000001, {"QRDetectTime Value:30", "QRNum Value:1", "QR0_CodeData Value:Q"}}};
    const std::string code =
        R"({"ChunkBarCodeJson":{"value":{"BarCode":{"value":[{"CodeData":{"value":"A"}}]}}}})";
    return {{"container", inContainer(imageAndTextContainer(code)), true},
            {"chunks", chunks, true},
            {"an empty image", inContainer(empty), true},  // how little is used, others judge
            {"two images", inContainer(twice), false},
            {"an unaligned image", inContainer(unaligned), false},
            {"no image", inContainer(none), false}};
}

std::string told(const FrameImpl& frame) {
    std::string text = imageOf(frame);
    for (const std::uint64_t number :
         {std::uint64_t{frame.getWidth()}, std::uint64_t{frame.getHeight()},
          std::uint64_t{frame.getPixelFormat()}, std::uint64_t{frame.getPayloadFlag()},
          frame.getBlockId(), frame.getTimestamp(), std::uint64_t{frame.getDetectTime()}}) {
        text += ' ' + std::to_string(number);
    }
    for (const auto& code : frame.getBarcodes()) text += ' ' + code->getCodeData();
    for (const std::string& line : RecordingLogger::instance().lines()) text += '\n' + line;
    return text;
}

TEST_F(GivenFrame, IsWhatACopiedOneIs) {
    kestro::ImageBufferPool& pool = kestro::ImageBufferPool::instance();
    const std::size_t inUse = pool.inUseCount();
    for (GivenCase& known : givenCases()) {
        SCOPED_TRACE(known.name);
        RecordingLogger::instance().reset();
        RecordingLogger::instance().setEnabledLevel(800);
        const std::string copied = told(*FrameImpl::create(makeFrame(known.content)));

        RecordingLogger::instance().reset();
        RecordingLogger::instance().setEnabledLevel(800);
        known.content.gives = true;
        const auto received = makeFrame(known.content);
        const auto frame = FrameImpl::create(received);
        EXPECT_EQ(told(*frame), copied);
        EXPECT_EQ(received.valid(), !known.isTaken);
        const bool isCopied = !known.isTaken && frame->getImageData() != nullptr;
        EXPECT_EQ(pool.inUseCount(), inUse + (isCopied ? 1 : 0));
    }
}

TEST_F(GivenFrame, IsNotAskedForWhenItCannotBeDecoded) {
    Bytes broken = imageAndTextContainer("{}");
    setEntry(broken, kEntry1, 2, broken.size(), 1);
    FrameContent content = inContainer(broken);
    content.gives = true;
    const auto received = makeFrame(content);
    EXPECT_EQ(FrameImpl::create(received), nullptr);
    EXPECT_TRUE(received.valid());
    EXPECT_EQ(loggedErrors().back(), "300 create: frame parse error, id: {1}");
}

TEST_F(BlockFrame, ReadsAnImageBlock) {
    const auto frame = createFromImage(imageContainer());
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(imageOf(*frame), "pixels");
    EXPECT_EQ(frame->getWidth(), 3U);
    EXPECT_EQ(frame->getHeight(), 2U);
    EXPECT_EQ(frame->getTimestamp(), 0x1122334455667788U);
    EXPECT_EQ(frame->getPixelFormat(), 0x01080001U);
    EXPECT_TRUE(frame->getPayloadFlag());
    EXPECT_EQ(frame->getBlockId(), 9U);
}

TEST_F(BlockFrame, OnlyIndicatorOneSetsThePayloadFlag) {
    for (const std::uint32_t indicator : {0U, 2U, 0x101U, 0xFFFFFFFFU}) {
        Bytes bytes = imageContainer();
        put32(bytes, kEntry0 + 32, indicator);
        EXPECT_FALSE(createFromImage(bytes)->getPayloadFlag()) << indicator;
    }
}

TEST_F(BlockFrame, HasNoImageWhenTheTableIsEmpty) {
    for (const std::uint32_t count : {0U, 0xFFFFFFFFU, 0x80000000U}) {
        Bytes bytes = imageContainer();
        put32(bytes, kCountAt, count);
        const auto frame = createFromImage(bytes);
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->getImageData(), nullptr);
        EXPECT_EQ(frame->getImageSize(), 0U);
        EXPECT_EQ(frame->getPixelFormat(), 0xFFFFFFFFU);
    }
    EXPECT_THAT(loggedErrors(), IsEmpty());
}

TEST_F(BlockFrame, TracesEveryEntryInTableOrder) {
    RecordingLogger::instance().setEnabledLevel(800);
    Bytes bytes = imageAndTextContainer("{]}");
    put32(bytes, kCountAt, 3);
    setEntry(bytes, kEntry2, 1, 0, 5);
    ASSERT_NE(createFromImage(bytes), nullptr);
    EXPECT_THAT(RecordingLogger::instance().lines(),
                ElementsAre("800 parseJsonFrame: block data type: {0}, offset: {576}, size: {6}",
                            "800 parseJsonFrame: block data type: {2}, offset: {582}, size: {3}",
                            StartsWith("300 parseJson: parse json error, ["),
                            "800 parseJsonFrame: block data type: {1}, offset: {0}, size: {5}",
                            "800 create: BlockID: {9}, timestamp: {4321}"));
}

TEST_F(BlockFrame, LaterEntriesOverrideEarlierOnes) {
    Bytes bytes = imageAndTextContainer(kResultText);
    EXPECT_EQ(createFromImage(bytes)->getTimestamp(), 0x100000007U);

    std::swap_ranges(bytes.begin() + kEntry0, bytes.begin() + kEntry1, bytes.begin() + kEntry1);
    EXPECT_EQ(createFromImage(bytes)->getTimestamp(), 0x1122334455667788U);
}

TEST_F(BlockFrame, ASmallerSecondImageKeepsTheBufferAndItsSize) {
    Bytes bytes = imageContainer();
    put32(bytes, kCountAt, 2);
    std::copy(kImageEntry.begin(), kImageEntry.end(), bytes.begin() + kEntry1);
    setEntry(bytes, kEntry1, 0, bytes.size(), 2);
    put32(bytes, kEntry1 + 12, 11);  // width
    put32(bytes, kEntry1 + 32, 0);   // payload indicator
    append(bytes, "PI");
    const auto frame = createFromImage(bytes);
    EXPECT_EQ(imageOf(*frame), "PIxels");
    EXPECT_EQ(frame->getWidth(), 11U);
    EXPECT_FALSE(frame->getPayloadFlag());

    setEntry(bytes, kEntry1, 0, 576, 8);  // a larger one takes a larger buffer
    EXPECT_EQ(imageOf(*createFromImage(bytes)), "pixelsPI");
}

TEST_F(BlockFrame, ATextThatDoesNotParseCostsOnlyItsResults) {
    for (const std::string& text : {std::string(), std::string("{"), "{}" + std::string(1, '\0')}) {
        RecordingLogger::instance().reset();
        const auto frame = createFromImage(imageAndTextContainer(text));
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(imageOf(*frame), "pixels");
        EXPECT_THAT(loggedErrors(), ElementsAre(StartsWith("300 parseJson: parse json error, [")));
    }
}

TEST_F(BlockFrame, RefusesABlockPastTheEnd) {
    struct Block {
        std::uint32_t type;
        std::uint32_t offset;
        std::uint32_t size;
    };
    const Block blocks[] = {
        {0, 577, 6},            // one byte
        {2, 583, 0},            // no bytes, but behind the end
        {7, 576, 7},            // also of a type that nobody reads
        {0, 0xFFFFFFF0, 0x20},  // the 32-bit sum is 16, the bytes lie past the end all the same
        {2, 0xFFFFFFF0, 0x20}, {2, 0x20, 0xFFFFFFF0},
    };
    for (const Block& block : blocks) {
        RecordingLogger::instance().reset();
        Bytes bytes = imageContainer();
        setEntry(bytes, kEntry0, block.type, block.offset, block.size);
        EXPECT_EQ(createFromImage(bytes), nullptr);
        const std::string line = "300 parseJsonFrame: invalid block data size, offset: {" +
                                 std::to_string(block.offset) + "}, size: {" +
                                 std::to_string(block.size) + "}, frame size: {582}";
        EXPECT_THAT(loggedErrors(), ElementsAre(line, "300 create: frame parse error, id: {9}"));
    }
}

TEST_F(BlockFrame, LetsABlockThatIsNotReadWrapAround) {
    Bytes bytes = imageContainer();
    setEntry(bytes, kEntry0, 1, 0xFFFFFFF0, 0x20);
    EXPECT_NE(createFromImage(bytes), nullptr);
    EXPECT_THAT(loggedErrors(), IsEmpty());
}

TEST_F(BlockFrame, StopsWhereTheTableLeavesTheData) {
    EXPECT_EQ(createFromImage(fullTable(605, 0x7FFFFFFF)), nullptr);
    EXPECT_THAT(loggedErrors(),
                ElementsAre("300 parseJsonFrame: invalid block data size, offset: {600}, "
                            "size: {64}, frame size: {605}",
                            "300 create: frame parse error, id: {9}"));
}

TEST_F(BlockFrame, NeedsOfTheLastEntryOnlyTheBytesThatItReads) {
    struct Case {
        std::uint32_t type;
        std::size_t needed;
    };
    for (const Case& last : {Case{5, 12}, Case{2, 12}, Case{0, 36}}) {
        Bytes bytes = fullTable(600 + 64, 10);
        setEntry(bytes, 600, last.type, 0, 0);
        bytes.resize(600 + last.needed);
        EXPECT_NE(createFromImage(bytes), nullptr) << last.type;
        bytes.pop_back();
        RecordingLogger::instance().reset();
        EXPECT_EQ(createFromImage(bytes), nullptr) << last.type;
        EXPECT_EQ(loggedErrors().at(0),
                  "300 parseJsonFrame: invalid block data size, offset: {600}, size: {64}, "
                  "frame size: {" +
                      std::to_string(bytes.size()) + "}");
    }
}

TEST_F(BlockFrame, ReadsTheBlockCountAgainOnEachPass) {
    Bytes bytes = imageContainer();
    put32(bytes, kCountAt, 2);
    setEntry(bytes, kEntry1, 1, 999, 999);
    RecordingLogger::instance().setEnabledLevel(800);
    RecordingLogger::instance().onLine(
        [&bytes](const kestro::test::LogRecord&) { put32(bytes, kCountAt, 1); });
    FrameImpl frame;
    EXPECT_TRUE(frame.parseJsonFrame(bytes.data(), static_cast<std::uint32_t>(bytes.size())));
    RecordingLogger::instance().onLine(nullptr);
}

TEST_F(BlockFrame, CutAnywhereGivesALineAndNoFrame) {
    const Bytes whole = imageAndTextContainer(kResultText);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        FrameImpl frame;
        RecordingLogger::instance().reset();
        // Without a count there are no blocks; with one, a block is missing at every length.
        const bool hasCount = length >= kCountAt + 4;
        EXPECT_EQ(frame.parseJsonFrame(cut.data(), static_cast<std::uint32_t>(length)), !hasCount);
        EXPECT_EQ(loggedErrors().size(), hasCount ? 1U : 0U) << length;
    }
}

TEST_F(ChunkFrame, ReadsCodesOfBothReadersInChunkOrder) {
    const auto frame = createFromChunks(
        {{0x80000001, {"QRDetectTime Value:30", "QRNum Value:1", "QR0_CodeType Value:QR"}},
         {0x80000000,
          {"BarCodeDetectTime Value:12", "BarCodeNum Value:2", "BarCode0_CodeType Value:EAN13",
           "BarCode0_CodeData Value:40:06", "BarCode0_PosPointNum Value:4",
           "BarCode0_Point0_X Value:1", "BarCode0_Point0_Y Value:-2", "BarCode0_Point1_X Value:3",
           "BarCode0_Point1_Y Value:4", "BarCode0_Point2_X Value:5", "BarCode0_Point2_Y Value:6",
           "BarCode0_Point3_X Value:7", "BarCode0_Point3_Y Value:8", "BarCode0_PPM Value:2.5",
           "BarCode1_CodeType Value: EAN13"}}});
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->getDetectTime(), 42U);
    const auto codes = frame->getBarcodes();
    ASSERT_EQ(codes.size(), 3U);
    EXPECT_EQ(codes[0]->getCodeType(), 100);
    EXPECT_EQ(codes[1]->getCodeType(), 1);
    EXPECT_EQ(codes[1]->getCodeTypeName(), "EAN13");
    EXPECT_EQ(codes[1]->getCodeData(), "40:06");
    EXPECT_EQ(codes[1]->getPPM(), 2.5F);
    std::vector<std::int32_t> coordinates;
    for (const kestro::Point& point : codes[1]->getPoints()) {
        coordinates.push_back(point.x);
        coordinates.push_back(point.y);
    }
    EXPECT_THAT(coordinates, ElementsAre(1, -2, 3, 4, 5, 6, 7, 8));
    // Announced, but all there is of it is a name with a blank in front, which is no known name.
    EXPECT_EQ(codes[2]->getCodeType(), -1);
    EXPECT_EQ(codes[2]->getCodeTypeName(), " EAN13");
    EXPECT_EQ(codes[2]->getPoints().size(), 4U);
    EXPECT_EQ(frame->getBarcodes()[0], codes[0]);
}

TEST_F(ChunkFrame, TakesTheImageFromTheDeviceSdk) {
    FrameContent content;
    content.image = {5, 6};
    content.width = 20;
    content.height = 10;
    content.pixelFormat = 0x01100007;
    content.blockId = 77;
    content.payloadTypes = {1, 4, 6};
    const auto frame = FrameImpl::create(makeFrame(content));
    EXPECT_EQ(imageOf(*frame), "\x05\x06");
    EXPECT_EQ(frame->getWidth(), 20U);
    EXPECT_EQ(frame->getHeight(), 10U);
    EXPECT_EQ(frame->getPixelFormat(), 0x01100007U);
    EXPECT_EQ(frame->getBlockId(), 77U);
    EXPECT_TRUE(frame->getPayloadFlag());

    content.payloadTypes = {1, 4};
    EXPECT_FALSE(FrameImpl::create(makeFrame(content))->getPayloadFlag());
}

TEST_F(ChunkFrame, CombinesTheTimestampUnsigned) {
    const auto frame =
        createFromChunks({{0x80000003,
                           {"PipelineStatus Value:PhaseFail", "PipelineTriggerTsHigh Value:3",
                            "PipelineTriggerTsLow Value:4294967295"}}});
    EXPECT_EQ(frame->getStatus(), 10U);
    EXPECT_EQ(frame->getTimestamp(), 0x3FFFFFFFFU);
}

TEST_F(ChunkFrame, AChunkSetsItsFieldsEvenWhenItLacksThem) {
    FrameContent content;
    content.image = {1};
    content.width = 20;
    content.height = 10;
    content.chunks = {{0x80000003, {"PipelineStatus Value:NA", "PipelineTriggerTsLow Value:5"}},
                      {0x80000003, {}},
                      {0x80000006, {"ImageScaleOutWidth Value:-1"}},
                      {0x80000002, {"ImageScaleOutHeight Value:5", "BarCodeNum Value:3"}}};
    const auto frame = FrameImpl::create(makeFrame(content));
    EXPECT_EQ(frame->getStatus(), 0U);
    EXPECT_EQ(frame->getTimestamp(), 0U);
    EXPECT_EQ(frame->getWidth(), 0xFFFFFFFFU);
    EXPECT_EQ(frame->getHeight(), 0U);
    EXPECT_THAT(frame->getBarcodes(), IsEmpty());
}

TEST_F(ChunkFrame, DetectTimesAddUpWithWrapAround) {
    const auto frame = createFromChunks({{0x80000000, {"BarCodeDetectTime Value:4294967295"}},
                                         {0x80000001, {"QRDetectTime Value:1"}}});
    EXPECT_EQ(frame->getDetectTime(), 0U);
}

TEST_F(BlockFrame, BoundsWhatATableMakesItRead) {
    for (const std::uint32_t type : {0U, 2U}) {
        Bytes bytes = fullTable(600, 4);
        for (std::size_t i = 0; i < 9; ++i) setEntry(bytes, kEntry0 + 64 * i, type, 0, 600);
        EXPECT_NE(createFromImage(bytes), nullptr) << type;
        RecordingLogger::instance().reset();
        put32(bytes, kCountAt, 5);
        EXPECT_EQ(createFromImage(bytes), nullptr) << type;
        EXPECT_THAT(loggedErrors(), Contains("300 parseJsonFrame: invalid block data size, offset: "
                                             "{0}, size: {600}, frame size: {600}"));
    }
}

TEST_F(ChunkFrame, CountsAFilledChunkWhateverTheAnswer) {
    using Answer = ChunkContent::Answer;
    const std::vector<std::string> one = {"BarCodeNum Value:1"};
    const auto frame = createFromChunks({{0x80000000, one, Answer::kTrue},
                                         {0x80000000, one, Answer::kFalseAndUntouched},
                                         {0x80000000, one, Answer::kFalseButFilled}});
    EXPECT_EQ(frame->getBarcodes().size(), 2U);
}

TEST_F(ChunkFrame, CutsAHugeCountWithOneLine) {
    const auto frame =
        createFromChunks({{0x80000000,
                           {"BarCodeNum Value:-1", "BarCode1024_CodeData Value:spare",
                            "BarCode65535_CodeData Value:last"}}});
    ASSERT_NE(frame, nullptr);
    const auto codes = frame->getBarcodes();
    ASSERT_EQ(codes.size(), 65536U);
    EXPECT_EQ(codes[1024]->getCodeData(), "spare");
    EXPECT_EQ(codes[65535]->getCodeData(), "last");
    EXPECT_EQ(kestro::decode::CodeKeyTable::barcodes().size(), 1024U);
    EXPECT_THAT(loggedErrors(), ElementsAre("300 appendChunkCodes: too many codes in chunk, "
                                            "announced: {4294967295}, decoded: {65536}"));
}

TEST_F(ChunkFrame, CutsTheCountsOfManyChunksTogether) {
    const std::vector<ChunkContent> chunks(6, {0x80000001, {"QRNum Value:60000"}});
    const auto frame = createFromChunks(chunks);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->getBarcodes().size(), 4U * 65536U);
    EXPECT_THAT(loggedErrors(), ElementsAre("300 appendChunkCodes: too many codes in chunk, "
                                            "announced: {60000}, decoded: {22144}",
                                            "300 appendChunkCodes: too many codes in chunk, "
                                            "announced: {60000}, decoded: {0}"));
}

TEST_F(ChunkFrame, ManyThreadsDecodeAtOnce) {
    const auto work = [] {
        for (int i = 0; i < 20; ++i) {
            const auto frame =
                createFromChunks({{0x80000001, {"QRNum Value:900", "QR899_CodeData Value:end"}}});
            ASSERT_EQ(frame->getBarcodes().at(899)->getCodeData(), "end");
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
}

TEST_F(JsonFrame, DocumentsThatAreNoObjectsChangeNothing) {
    for (const char* text :
         {"{}", "[]", "5", "null", R"({"ChunkPipelineJson":5})",
          R"({"ChunkPipelineJson":{"value":5}})", R"({"ChunkBarCodeJson":{"value":[{}]}})"}) {
        EXPECT_TRUE(frame_.parseJson(text)) << text;
    }
    EXPECT_EQ(frame_.getTimestamp(), 0U);
    EXPECT_THAT(frame_.getBarcodes(), IsEmpty());
    EXPECT_THAT(loggedErrors(), IsEmpty());
}

TEST_F(JsonFrame, ExtendsTheSignOfBothTimestampWords) {
    struct Case {
        std::string high;
        std::string low;
        std::uint64_t timestamp;
    };
    const Case cases[] = {{"1", "7", 0x100000007},
                          {"1", "-1", 0xFFFFFFFFFFFFFFFF},
                          {"1", "3000000000", 0xFFFFFFFFB2D05E00},
                          {"-1", "5", 0xFFFFFFFF00000005},
                          {"4294967295", "0", 0xFFFFFFFF00000000}};
    for (const Case& c : cases) {
        EXPECT_TRUE(frame_.parseJson(R"({"ChunkPipelineJson":{"value":{"TriggerTsHigh":{"value":)" +
                                     c.high + R"(},"TriggerTsLow":{"value":)" + c.low + "}}}}"));
        EXPECT_EQ(frame_.getTimestamp(), c.timestamp) << c.high << " " << c.low;
    }
}

TEST_F(JsonFrame, TheQrDocumentWinsWhateverTheOrder) {
    EXPECT_TRUE(frame_.parseJson(
        R"({"ChunkQRCodeJson":{"value":{"Status":{"value":"Complete"},"Time":{"value":5},
            "DataCode":{"value":[{"CodeType":{"value":"QR"}}]}}},
            "ChunkBarCodeJson":{"value":{"Status":{"value":"Fail"},"Time":{"value":9},
            "BarCode":{"value":[{"CodeType":{"value":"CODE39"}}]}}}})"));
    EXPECT_EQ(frame_.getStatus(), 2U);
    EXPECT_EQ(frame_.getDetectTime(), 5U);
    ASSERT_EQ(frame_.getBarcodes().size(), 2U);
    EXPECT_EQ(frame_.getBarcodes()[0]->getCodeType(), 2);
    EXPECT_EQ(frame_.getBarcodes()[1]->getCodeType(), 100);
    // A document without the members sets them to 0.
    EXPECT_TRUE(frame_.parseJson(R"({"ChunkQRCodeJson":{"value":{}}})"));
    EXPECT_EQ(frame_.getStatus(), 0U);
    EXPECT_EQ(frame_.getDetectTime(), 0U);
}

TEST_F(JsonFrame, ScalesTheImage) {
    EXPECT_TRUE(
        frame_.parseJson(R"({"ChunkImgScaleJson":{"value":{"OutWidth":{"value":640.9}}}})"));
    EXPECT_EQ(frame_.getWidth(), 640U);
    EXPECT_EQ(frame_.getHeight(), 0U);
}

TEST_F(JsonFrame, AppendsAHundredCodes) {
    std::string text = R"({"ChunkBarCodeJson":{"value":{"BarCode":{"value":[0)";
    for (int i = 1; i < 100; ++i) text += R"(,{"CodeData":{"value":")" + std::to_string(i) + "\"}}";
    EXPECT_TRUE(frame_.parseJson(text + "]}}}}"));
    const auto codes = frame_.getBarcodes();
    ASSERT_EQ(codes.size(), 100U);
    EXPECT_EQ(codes[0]->getCodeType(), -1);
    EXPECT_EQ(codes[0]->getPoints().size(), 4U);
    EXPECT_EQ(codes[99]->getCodeData(), "99");
}

TEST_F(JsonFrame, SaysWhatIsWrongWithATextAndWhere) {
    EXPECT_FALSE(frame_.parseJson("{\"a\":1,}"));
    ASSERT_EQ(loggedErrors().size(), 1U);
    EXPECT_THAT(loggedErrors()[0], ::testing::MatchesRegex(
                                       "300 parseJson: parse json error, \\[.+ \\(offset 7\\)\\]"));
}

}  // namespace
