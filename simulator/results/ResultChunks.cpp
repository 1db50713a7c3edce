// SPDX-License-Identifier: Apache-2.0
#include "ResultChunks.h"

#include "GigeWire.h"
#include "Registers.h"
#include "ResultWords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace kestrosim {
namespace {

using Bytes = std::vector<std::uint8_t>;
using chunk::ByteOrder;

enum Chunk : std::size_t { barcodes, qrCodes, pipeline, scaling };

constexpr std::size_t kMostReaderBytes =
    chunk::kReaderHeadBytes + chunk::kCodeSlots * chunk::kRecordBytes;
constexpr std::size_t kMostBytes[] = {kMostReaderBytes, kMostReaderBytes, chunk::kPipelineBytes,
                                      chunk::kScalingBytes};

/** A chunk that is being added at the end. */
class ChunkWriter {
 public:
    ChunkWriter(Bytes& to, std::size_t bytes, ByteOrder order)
        : to_(to), start_(to.size()), order_(order) {
        to_.resize(start_ + bytes);
    }

    void word(std::size_t offset, std::uint32_t value) {
        std::uint8_t* const at = &to_[start_ + offset];
        store32(at, value);
        if (order_ == ByteOrder::little) std::reverse(at, at + 4);
    }
    void signedWord(std::size_t offset, std::int32_t value) {
        word(offset, static_cast<std::uint32_t>(value));
    }
    void text(std::size_t offset, std::size_t room, std::string_view value) {
        std::memcpy(&to_[start_ + offset], value.data(), std::min(room, value.size()));
    }
    void append(std::span<const std::uint8_t> data) {
        to_.insert(to_.end(), data.begin(), data.end());
    }
    /** Ends the chunk. */
    void close(std::uint32_t id) {
        const auto length = static_cast<std::uint32_t>(to_.size() - start_);
        to_.resize(to_.size() + chunk::kTrailerBytes);
        std::uint8_t* const trailer = &to_[to_.size() - chunk::kTrailerBytes];
        store32(trailer, id);
        store32(trailer + 4, length);
    }

 private:
    Bytes& to_;
    std::size_t start_;
    ByteOrder order_;
};

void writeCode(ChunkWriter& writer, std::size_t record, const SceneCode& code) {
    writer.text(record + chunk::kCodeType, chunk::kCodeTypeBytes, code.type);
    writer.text(record + chunk::kCodeData, chunk::kCodeDataBytes, code.text);
    std::size_t point = record + chunk::kPoints;
    for (const PixelPoint& corner : code.corners) {
        writer.signedWord(point, corner.x);
        writer.signedWord(point + 4, corner.y);
        point += chunk::kPointBytes;
    }
    const auto pixelsPerModule = static_cast<float>(shortenedPixelsPerModule(code));
    writer.word(record + chunk::kPixelsPerModule, std::bit_cast<std::uint32_t>(pixelsPerModule));
    writer.word(record + chunk::kPointCount, chunk::kPointSlots);
}

void addReader(Bytes& to, const Scene& scene, Chunk which) {
    std::vector<const SceneCode*> codes;
    for (const SceneCode& code : scene.read) {
        if (isMatrix(code) == (which == qrCodes)) codes.push_back(&code);
    }
    const std::size_t records = std::min<std::size_t>(codes.size(), chunk::kCodeSlots);
    ChunkWriter writer(to, chunk::kReaderHeadBytes + records * chunk::kRecordBytes,
                       which == qrCodes ? chunk::kQrOrder : chunk::kBarcodeOrder);
    writer.word(chunk::kDetectTime, scene.readMilliseconds);
    writer.word(chunk::kCodeCount, static_cast<std::uint32_t>(codes.size()));
    for (std::size_t i = 0; i < records; ++i) {
        writeCode(writer, chunk::kReaderHeadBytes + i * chunk::kRecordBytes, *codes[i]);
    }
    writer.close(reg::kChunkIds[which]);
}

void addPipeline(Bytes& to, const Scene& scene, std::uint64_t timestamp) {
    ChunkWriter writer(to, chunk::kPipelineBytes, chunk::kPipelineOrder);
    writer.text(chunk::kStatus, chunk::kStatusBytes, statusName(scene.status));
    writer.word(chunk::kTriggerHigh, static_cast<std::uint32_t>(timestamp >> 32));
    writer.word(chunk::kTriggerLow, static_cast<std::uint32_t>(timestamp));
    writer.close(reg::kChunkIds[pipeline]);
}

void addScaling(Bytes& to, const Scene& scene) {
    ChunkWriter writer(to, chunk::kScalingBytes, chunk::kScalingOrder);
    writer.word(chunk::kOutWidth, scene.width);
    writer.word(chunk::kOutHeight, scene.height);
    writer.close(reg::kChunkIds[scaling]);
}

void addResults(Bytes& to, const Scene& scene, std::uint64_t timestamp,
                const chunk::Choice& chosen) {
    if (chosen[barcodes]) addReader(to, scene, barcodes);
    if (chosen[qrCodes]) addReader(to, scene, qrCodes);
    if (chosen[pipeline]) addPipeline(to, scene, timestamp);
    if (chosen[scaling]) addScaling(to, scene);
}

std::size_t mostBytes(const chunk::Choice& chosen) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        if (chosen[i]) bytes += kMostBytes[i] + chunk::kTrailerBytes;
    }
    return bytes;
}

chunk::Choice withoutPicture(chunk::Choice chosen) {
    chosen[scaling] = false;
    return chosen;
}

}  // namespace

std::vector<std::uint8_t> encodeChunks(const Scene& scene, std::uint64_t timestamp,
                                       const chunk::Choice& chosen,
                                       std::span<const std::uint8_t> jpeg) {
    const std::span<const std::uint8_t> picture = jpeg.empty() ? scene.pixels : jpeg;
    Bytes bytes;
    bytes.reserve(mostChunkBytes(picture.size(), chosen));
    ChunkWriter image(bytes, 0, ByteOrder::big);
    image.append(picture);
    image.close(chunk::kImageId);
    addResults(bytes, scene, timestamp, chosen);
    return bytes;
}

std::size_t mostChunkBytes(std::size_t pictureBytes, const chunk::Choice& chosen) {
    return pictureBytes + chunk::kTrailerBytes + mostBytes(chosen);
}

std::vector<std::uint8_t> encodeResultChunks(const Scene& scene, std::uint64_t timestamp,
                                             const chunk::Choice& chosen) {
    Bytes bytes;
    addResults(bytes, scene, timestamp, withoutPicture(chosen));
    return bytes;
}

std::size_t mostResultChunkBytes(const chunk::Choice& chosen) {
    return mostBytes(withoutPicture(chosen));
}

}  // namespace kestrosim
