// SPDX-License-Identifier: Apache-2.0
#include "FrameImpl.h"

#include "BarcodeInfoImpl.h"
#include "BlockContainer.h"
#include "ChunkLines.h"
#include "CodeKeys.h"
#include "CodeValues.h"
#include "LogLine.h"
#include "Names.h"
#include "ResultJson.h"
#include "StreamNumbers.h"

#include <algorithm>
#include <exception>
#include <span>
#include <string>

namespace kestro {

namespace {

using Vorda::GenICam::CFrame;
using Vorda::GenICam::EPayloadType;
using Vorda::Infra::CString;
using Vorda::Infra::TVector;

constexpr std::uint32_t kMono8 = 0x01080001;

// What the chunks of a frame hold, by chunk id.
constexpr std::uint32_t kBarcodeChunk = 0x80000000;
constexpr std::uint32_t kQrChunk = 0x80000001;
constexpr std::uint32_t kPipelineChunk = 0x80000003;
constexpr std::uint32_t kImageScaleChunk = 0x80000006;

constexpr decode::ChunkKey kBarcodeTime("BarCodeDetectTime");
constexpr decode::ChunkKey kBarcodeCount("BarCodeNum");
constexpr decode::ChunkKey kQrTime("QRDetectTime");
constexpr decode::ChunkKey kQrCount("QRNum");
constexpr decode::ChunkKey kStatus("PipelineStatus");
constexpr decode::ChunkKey kTimestampHigh("PipelineTriggerTsHigh");
constexpr decode::ChunkKey kTimestampLow("PipelineTriggerTsLow");
constexpr decode::ChunkKey kScaledWidth("ImageScaleOutWidth");
constexpr decode::ChunkKey kScaledHeight("ImageScaleOutHeight");

// A chunk of a few bytes can announce four billion codes; no image holds more than this.
constexpr std::uint32_t kMostCodesInChunk = 65536;
// Nor do a frame's chunks together; there may be as many chunks as fit into the payload.
constexpr std::uint32_t kMostCodesInFrame = 4 * kMostCodesInChunk;

// Blocks may share bytes, and a table may name the same ones again and again: what is read of a
// container is bounded by its size, so that a few megabytes cannot cost hours.
constexpr std::uint64_t kMostReadingsOfContainer = 4;

std::uint32_t unsignedOf(decode::ChunkLines& lines, const decode::ChunkKey& key) {
    return decode::streamNumber<std::uint32_t>(lines.next(key));
}

std::int32_t signedOf(decode::ChunkLines& lines, const decode::ChunkKey& key) {
    return decode::streamNumber<std::int32_t>(lines.next(key));
}

decode::CodeValues codeOf(decode::ChunkLines& lines, const decode::CodeKeys& keys) {
    const auto number = [](std::string_view text) {
        return decode::streamNumber<std::int32_t>(text);
    };
    // All lines of a code in the order in which they come; the count of points is not read.
    decode::CodeValues code;
    code.typeName = lines.next(keys.codeType());
    code.data = lines.next(keys.codeData());
    lines.skip(keys.positionPointCount());
    for (std::size_t j = 0; j < code.corners.size(); ++j) {
        code.corners[j] = {number(lines.next(keys.pointX(j))), number(lines.next(keys.pointY(j)))};
    }
    code.ppm = decode::streamFloat(lines.next(keys.ppm()));
    return code;
}

bool isChunkOfResults(std::uint32_t chunkId) {
    return chunkId == kBarcodeChunk || chunkId == kQrChunk || chunkId == kPipelineChunk ||
           chunkId == kImageScaleChunk;
}

}  // namespace

Frame::~Frame() = default;

FrameImpl::FrameImpl() = default;

FrameImpl::~FrameImpl() = default;

std::shared_ptr<FrameImpl> FrameImpl::create(const CFrame& frame) {
    try {
        if (!frame.valid()) {
            KESTRO_LOG_ERROR("frame is not valid");
            return nullptr;
        }
        const std::uint32_t size = frame.getImageSize();
        if (size == 0) {
            KESTRO_LOG_ERROR("invalid image data size");
            return nullptr;
        }
        const auto* data = static_cast<const std::uint8_t*>(frame.getImage());
        if (!data) {
            KESTRO_LOG_ERROR("image data is null");
            return nullptr;
        }
        auto made = std::make_shared<FrameImpl>();
        made->blockId_ = frame.getBlockId();
        const bool isContainer = decode::BlockContainer::recognises({data, size});
        if (!(isContainer ? made->parseJsonFrame(data, size) : made->parseChunks(frame))) {
            KESTRO_LOG_ERROR("frame parse error, id: {%I64u}", frame.getBlockId());
            return nullptr;
        }
        // The device SDK's timestamp, which is not the trigger's that getTimestamp() returns.
        const std::uint64_t timestamp = frame.getImageTimeStamp();
        made->image_.own(frame);  // there may be nothing left of the device SDK's frame after this
        KESTRO_LOG_TRACE("BlockID: {%I64u}, timestamp: {%I64u}", made->blockId_, timestamp);
        return made;
    } catch (const std::exception& error) {
        KESTRO_LOG_ERROR("frame could not be created, [%s]", error.what());
    } catch (...) {
        KESTRO_LOG_ERROR("frame could not be created");
    }
    return nullptr;
}

bool FrameImpl::parseJsonFrame(const std::uint8_t* data, std::uint32_t size) {
    const decode::BlockContainer container({data, size});
    std::uint64_t bytesLeft = kMostReadingsOfContainer * size;
    for (std::int32_t i = 0; i < container.blockCount(); ++i) {
        decode::BlockEntry entry;
        const bool isUsable = container.readEntry(static_cast<std::uint32_t>(i), entry);
        if (!isUsable || (entry.isRead() && entry.size > bytesLeft)) {
            KESTRO_LOG_ERROR("invalid block data size, offset: {%u}, size: {%u}, frame size: {%u}",
                             entry.offset, entry.size, size);
            return false;
        }
        KESTRO_LOG_TRACE("block data type: {%u}, offset: {%u}, size: {%u}", entry.type,
                         entry.offset, entry.size);
        if (!entry.isRead()) continue;
        bytesLeft -= entry.size;
        const std::span<const std::uint8_t> bytes = container.blockBytes(entry);
        if (entry.type == decode::kImageBlock) {
            payloadFlag_ = entry.payloadIndicator == 1;
            width_ = entry.width;
            height_ = entry.height;
            pixelFormat_ = kMono8;  // the container does not say; a JPEG file has it, too
            timestamp_ = entry.timestamp;
            image_.add(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        } else {
            // A text that does not parse costs its results, not the frame.
            parseJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }
    }
    return true;
}

bool FrameImpl::parseJson(std::string_view text) {
    const decode::ResultJson json = decode::parseResultJson(text);
    if (!json.error.empty()) {
        KESTRO_LOG_ERROR("parse json error, [%s]", json.error.c_str());
        return false;
    }
    if (json.pipeline) {
        // Both words are signed here: a low word of 2^31 or more sets all upper bits.
        const auto high = static_cast<std::uint64_t>(std::int64_t{json.pipeline->timestampHigh});
        const auto low = static_cast<std::uint64_t>(std::int64_t{json.pipeline->timestampLow});
        timestamp_ = high << 32 | low;
    }
    if (json.scale) {
        width_ = static_cast<std::uint32_t>(json.scale->width);
        height_ = static_cast<std::uint32_t>(json.scale->height);
    }
    // The QR document writes the barcode document's status and time: where both are there, it wins.
    if (json.barcodes) takeReadings(*json.barcodes);
    if (json.qrCodes) takeReadings(*json.qrCodes);
    return true;
}

void FrameImpl::takeReadings(const decode::JsonReadings& readings) {
    status_ = decode::statusFromName(readings.status);
    barcodeDetectTime_ = static_cast<std::uint32_t>(readings.time);
    barcodes_.reserve(barcodes_.size() + readings.codes.size());
    for (const decode::CodeValues& code : readings.codes) appendCode(code);
}

bool FrameImpl::parseChunks(const CFrame& frame) {
    image_.add(frame.getImage(), frame.getImageSize());
    width_ = frame.getImageWidth();
    height_ = frame.getImageHeight();
    blockId_ = frame.getBlockId();
    pixelFormat_ = static_cast<std::uint32_t>(frame.getImagePixelFormat());
    TVector<EPayloadType> types;
    frame.getPayLoadTypes(types);
    payloadFlag_ =
        std::find(types.begin(), types.end(), Vorda::GenICam::kPayloadJpeg) != types.end();

    // Kept from frame to frame, because their memory costs as much as what is done with it.
    thread_local decode::ChunkLines lines;
    thread_local TVector<CString> texts;
    const unsigned count = frame.getChunkCount();
    for (unsigned i = 0; i < count; ++i) {
        unsigned chunkId = 0;
        texts.clear();
        // A chunk that cannot be fetched keeps id 0; one that was filled in counts all the same.
        frame.getChunkDataByIndex(i, chunkId, texts);
        if (!isChunkOfResults(chunkId)) continue;
        lines.reset(texts.size());
        for (const CString& text : texts) lines.add({text.data(), text.size()});
        parseChunk(chunkId, lines);
    }
    texts.clear();
    return true;
}

void FrameImpl::parseChunk(std::uint32_t chunkId, decode::ChunkLines& lines) {
    switch (chunkId) {
        case kBarcodeChunk:
            barcodeDetectTime_ = unsignedOf(lines, kBarcodeTime);
            appendChunkCodes(lines, decode::CodeKeyTable::barcodes(),
                             unsignedOf(lines, kBarcodeCount));
            break;
        case kQrChunk:
            qrDetectTime_ = unsignedOf(lines, kQrTime);
            appendChunkCodes(lines, decode::CodeKeyTable::qrCodes(), unsignedOf(lines, kQrCount));
            break;
        case kPipelineChunk:
            status_ = decode::statusFromName(lines.next(kStatus));
            timestamp_ = std::uint64_t{unsignedOf(lines, kTimestampHigh)} << 32 |
                         unsignedOf(lines, kTimestampLow);
            break;
        case kImageScaleChunk:
            width_ = static_cast<std::uint32_t>(signedOf(lines, kScaledWidth));
            height_ = static_cast<std::uint32_t>(signedOf(lines, kScaledHeight));
            break;
        default:
            break;
    }
}

void FrameImpl::appendChunkCodes(decode::ChunkLines& lines, decode::CodeKeyTable& table,
                                 std::uint32_t announced) {
    const auto roomLeft = kMostCodesInFrame - static_cast<std::uint32_t>(barcodes_.size());
    const std::uint32_t count = std::min({announced, kMostCodesInChunk, roomLeft});
    if (count < announced) {
        KESTRO_LOG_ERROR("too many codes in chunk, announced: {%u}, decoded: {%u}", announced,
                         count);
    }
    barcodes_.reserve(barcodes_.size() + count);
    decode::CodeKeys spare;
    for (std::uint32_t i = 0; i < count; ++i) appendCode(codeOf(lines, table.keys(i, spare)));
}

void FrameImpl::appendCode(const decode::CodeValues& code) {
    auto info = std::make_shared<BarcodeInfoImpl>();
    info->setCodeType(decode::codeTypeFromName(code.typeName), std::string(code.typeName));
    info->setCodeData(std::string(code.data));
    info->setPPM(code.ppm);
    const auto& [a, b, c, d] = code.corners;
    info->setPoints({{a.x, a.y}, {b.x, b.y}, {c.x, c.y}, {d.x, d.y}});
    barcodes_.push_back(std::move(info));
}

void FrameImpl::setImage(const void* bytes, std::uint32_t size) { image_.copy(bytes, size); }

const std::uint8_t* FrameImpl::getImageData() const { return image_.data(); }
std::uint32_t FrameImpl::getImageSize() const { return image_.size(); }
std::uint32_t FrameImpl::getWidth() const { return width_; }
std::uint32_t FrameImpl::getHeight() const { return height_; }
std::uint32_t FrameImpl::getPixelFormat() const { return pixelFormat_; }
bool FrameImpl::getPayloadFlag() const { return payloadFlag_; }
std::uint64_t FrameImpl::getBlockId() const { return blockId_; }
std::uint64_t FrameImpl::getTimestamp() const { return timestamp_; }
std::uint32_t FrameImpl::getDetectTime() const { return barcodeDetectTime_ + qrDetectTime_; }
std::uint32_t FrameImpl::getStatus() const { return status_; }

std::vector<std::shared_ptr<BarcodeInfo>> FrameImpl::getBarcodes() const { return barcodes_; }

}  // namespace kestro
