// SPDX-License-Identifier: Apache-2.0
//
// Frames as a camera may send them: image data with a table of blocks, and chunks with lines. The
// first byte chooses how much of a frame is there already, so that the fuzzer reaches the inside.
#include "FrameDouble.h"
#include "FrameImpl.h"
#include "FuzzInput.h"
#include "RecordingLogger.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace kestro::fuzz;
using kestro::FrameImpl;
using kestro::test::ChunkContent;
using kestro::test::FrameContent;

constexpr std::size_t kSmallestContainer = 576;

void setLittle(Bytes& bytes, std::size_t at, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

Bytes rawContainer(Choices& choices) {
    const ByteView rest = choices.rest();
    Bytes image(std::max(rest.size() + 4, kSmallestContainer));
    std::memcpy(image.data(), "SMAT", 4);
    std::copy(rest.begin(), rest.end(), image.begin() + 4);
    return image;
}

/** A frame's content, and its image where that is known. */
struct Made {
    FrameContent content;
    std::optional<Bytes> image;
};

/** A table of a few blocks, mostly as a camera has it; what follows is texts and images. */
Made containerOfBlocks(Choices& choices) {
    static constexpr std::uint32_t kTypes[] = {0, 1, 2, 2, 3, 0xffffffff};
    const std::size_t blocks = choices.below(5);
    Made made;
    made.image.emplace();
    bool isPlain = true;
    Bytes image(24 + 64 * blocks);
    std::memcpy(image.data(), "SMAT", 4);
    setLittle(image, 8, blocks, 4);
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::size_t entry = 24 + 64 * i;
        const std::uint32_t type = choices.oneOf(kTypes);
        setLittle(image, entry, type, 4);
        const bool isOdd = choices.below(8) == 0;
        isPlain = isPlain && !isOdd;
        const ByteView bytes = choices.bytes(choices.byte());
        setLittle(image, entry + 4, isOdd ? choices.number(4) : image.size(), 4);
        setLittle(image, entry + 8, isOdd ? choices.number(4) : bytes.size(), 4);
        setLittle(image, entry + 12, i + 1, 4);
        setLittle(image, entry + 32, choices.byte() & 1, 4);
        image.insert(image.end(), bytes.begin(), bytes.end());
        // Of several images the last one counts, in a buffer of the largest so far.
        if (type == 0 && bytes.size() >= made.image->size()) made.image = exactly(bytes);
    }
    image.resize(std::max(image.size(), kSmallestContainer));
    if (!isPlain) made.image.reset();
    made.content.image = std::move(image);
    return made;
}

/** One line, with a key that a chunk has; counts stay small, for every code takes its time. */
std::string line(Choices& choices) {
    static constexpr const char* kCounts[] = {"BarCodeNum", "QRNum"};
    static constexpr const char* kKeys[] = {
        "BarCodeDetectTime",     "QRDetectTime",       "PipelineStatus",
        "PipelineTriggerTsHigh", "ImageScaleOutWidth", "ImageScaleOutHeight",
        "PipelineTriggerTsLow",  "BarCode0_CodeType",  "BarCode0_CodeData",
        "BarCode1_Point0_X",     "QR0_CodeData",       "QR1_Point3_Y",
        "BarCode1_PPM",          "QR0_PosPointNum",    "?"};
    static constexpr const char* kValues[] = {"0",   "1",        "-1",    "4294967296",
                                              "1e9", "Complete", "EAN13", "QR"};
    if (choices.below(5) == 0)
        return choices.oneOf(kCounts) + (" Value:" + std::to_string(choices.below(80)));
    const std::string begin = choices.oneOf(kKeys) + std::string(" Value:");
    return begin + (choices.flag() ? choices.oneOf(kValues) : choices.text());
}

void addChunks(Choices& choices, FrameContent& content) {
    static constexpr std::uint32_t kIds[] = {0,          0x80000000, 0x80000001,
                                             0x80000003, 0x80000006, 0x80000002};
    for (std::size_t left = choices.below(6); left-- > 0;) {
        ChunkContent chunk;
        chunk.id = choices.oneOf(kIds);
        chunk.answer = static_cast<ChunkContent::Answer>(choices.below(3));
        for (std::size_t lines = choices.below(16); lines-- > 0;)
            chunk.lines.push_back(line(choices));
        content.chunks.push_back(std::move(chunk));
    }
}

Made frameOf(Choices& choices) {
    Made made;
    FrameContent& content = made.content;
    const std::uint8_t choice = choices.byte();
    switch (choice & 3) {
        case 0:
            content.image = rawContainer(choices);
            break;
        case 1:
            made = containerOfBlocks(choices);
            break;
        default:
            content.image.resize(choices.byte(), choice);
            made.image = content.image;
            content.payloadTypes = {choice & 4U ? 6U : 1U};
            addChunks(choices, content);
            break;
    }
    switch (choice >> 3) {
        case 1:
            content.isValid = false;
            break;
        case 2:
            content.hasNullImage = true;
            break;
        case 3:
            content.beforeChunk = [] { throw std::runtime_error("no memory"); };
            break;
        case 4:
            content.beforeChunk = [] { throw 7; };
            break;
        default:
            break;
    }
    return made;
}

void checkRecords(const FrameImpl& frame) {
    for (const auto& code : frame.getBarcodes()) {
        KESTRO_EXPECT(code && code->getPoints().size() == 4);
        KESTRO_EXPECT(code->getCodeType() >= -1 && code->getCodeType() <= 104);
    }
    KESTRO_EXPECT(frame.getStatus() <= 10);
}

std::string codesOf(const FrameImpl& frame) {
    std::string text;
    for (const auto& code : frame.getBarcodes())
        text += code->getCodeTypeName() + "=" + code->getCodeData() + ";";
    return text;
}

/** Every byte of the image must be there to be read. */
void checkImage(const FrameImpl& frame, const Made& made) {
    const std::uint8_t* const image = frame.getImageData();
    const std::size_t size = frame.getImageSize();
    KESTRO_EXPECT(size <= made.content.image.size());
    if (made.image) KESTRO_EXPECT(size == made.image->size());
    if (size == 0 || !image) return;
    volatile std::uint8_t sum = 0;
    for (std::size_t i = 0; i < size; ++i) sum = sum ^ image[i];
}

bool haveEqualImages(const FrameImpl& one, const FrameImpl& other) {
    const std::uint8_t* const image = one.getImageData();
    const std::uint8_t* const its = other.getImageData();
    return std::equal(image, image + one.getImageSize(), its, its + other.getImageSize());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kestro::test::RecordingLogger::instance().reset();
    Choices choices(data, size);
    const Made made = frameOf(choices);
    const FrameContent& content = made.content;
    const bool isPossible = content.isValid && !content.hasNullImage && !content.image.empty();
    const auto frame = FrameImpl::create(kestro::test::makeFrame(content));
    if (!frame) {
        // Why there is none must be in the log.
        KESTRO_EXPECT(!kestro::test::RecordingLogger::instance().lines(300, 300).empty());
        return 0;
    }
    KESTRO_EXPECT(isPossible);
    checkRecords(*frame);
    checkImage(*frame, made);
    FrameContent giving = content;
    giving.gives = true;
    const auto again = FrameImpl::create(kestro::test::makeFrame(std::move(giving)));
    KESTRO_EXPECT(again && codesOf(*frame) == codesOf(*again));
    KESTRO_EXPECT(frame->getTimestamp() == again->getTimestamp());
    KESTRO_EXPECT(haveEqualImages(*frame, *again));
    return 0;
}
