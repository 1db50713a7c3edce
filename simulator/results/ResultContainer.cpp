// SPDX-License-Identifier: Apache-2.0
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

#include "ResultWords.h"
#include "Scene.h"

namespace kestrosim {
namespace {

// The container, little-endian:
//
//   0    4  "SMAT"
//   8    4  number of blocks
//   24      block table, 64 bytes a block: 0 type, 4 offset, 8 size, 12 width, 16 height,
//           24 timestamp (8 bytes), 32 payload indicator (0: pixels, 1: a JPEG file)
//   576     the blocks; the table has room for eight whether they are there or not
constexpr std::size_t kBlockCountOffset = 8;
constexpr std::size_t kTableOffset = kContainerResultEntry;  // the results' entry is the first
constexpr std::size_t kEntryBytes = 64;
constexpr std::size_t kHeadBytes = 576;
constexpr std::size_t kBlockAlignment = 64;
static_assert(kContainerImageOffset == kHeadBytes && kHeadBytes % kBlockAlignment == 0);
// For all but the image block: fixed, so that the largest container does not depend on what will
// be read.
constexpr std::size_t kRoomBytes = 65536;
constexpr std::size_t kTextRoomBytes = kRoomBytes - kHeadBytes - 2 * kBlockAlignment;
// Of a code's document, its texts not counted; and of all that stands behind the last code.
constexpr std::size_t kMostCodeBytes = 512;
constexpr std::size_t kTailBytes = 256;
constexpr std::size_t kMostEscapedBytes = 6;  // \u001f
constexpr std::uint32_t kImageBlock = 0;
constexpr std::uint32_t kJsonBlock = 2;
constexpr std::uint32_t kPixels = 0;
constexpr std::uint32_t kJpegFile = 1;

using Bytes = std::vector<std::uint8_t>;
using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

template <typename Unsigned>
void store(Bytes& bytes, std::size_t offset, Unsigned value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t size32(std::size_t size) { return static_cast<std::uint32_t>(size); }

/** Copies the block behind what is there; returns the offset of its table entry. */
std::size_t appendBlock(Bytes& bytes, std::size_t number, std::uint32_t type, const void* data,
                        std::size_t size) {
    const std::size_t offset =
        (bytes.size() + kBlockAlignment - 1) / kBlockAlignment * kBlockAlignment;
    bytes.resize(offset + size);
    const auto* const first = static_cast<const std::uint8_t*>(data);
    std::copy(first, first + size, bytes.begin() + static_cast<std::ptrdiff_t>(offset));

    const std::size_t entry = kTableOffset + number * kEntryBytes;
    store(bytes, entry, type);
    store(bytes, entry + kEntryOffset, size32(offset));
    store(bytes, entry + kEntryLength, size32(size));
    return entry;
}

void key(JsonWriter& json, const std::string& name) {
    json.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

void text(JsonWriter& json, const std::string& value) {
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

/** "name":{"value":...}: every datum is wrapped so. */
template <typename Write>
void wrapped(JsonWriter& json, const std::string& name, Write write) {
    key(json, name);
    json.StartObject();
    key(json, "value");
    write();
    json.EndObject();
}

void wrappedInt(JsonWriter& json, const std::string& name, std::int64_t value) {
    wrapped(json, name, [&] { json.Int64(value); });
}

void wrappedText(JsonWriter& json, const std::string& name, const std::string& value) {
    wrapped(json, name, [&] { text(json, value); });
}

template <typename Write>
void wrappedObject(JsonWriter& json, const std::string& name, Write writeMembers) {
    wrapped(json, name, [&] {
        json.StartObject();
        writeMembers();
        json.EndObject();
    });
}

void writeCode(JsonWriter& json, const SceneCode& code) {
    json.StartObject();
    wrappedText(json, "CodeType", code.type);
    wrappedText(json, "CodeData", code.text);
    wrapped(json, "PPM", [&] { json.Double(shortenedPixelsPerModule(code)); });
    for (std::size_t i = 0; i < code.corners.size(); ++i) {
        const std::string point = "Point" + std::to_string(i);
        wrappedInt(json, point + "_X", code.corners[i].x);
        wrappedInt(json, point + "_Y", code.corners[i].y);
    }
    json.EndObject();
}

/** Whether the code's document is sure to fit, with what has to follow it. */
bool hasRoom(const rapidjson::StringBuffer& buffer, const SceneCode& code) {
    const std::size_t most = kMostEscapedBytes * (code.type.size() + code.text.size());
    return buffer.GetSize() + most + kMostCodeBytes + kTailBytes <= kTextRoomBytes;
}

/** One of the two readers: its document, the list in it, and whether its codes are matrices. */
struct Reader {
    const char* document;
    const char* list;
    bool isMatrix;
};
constexpr Reader kBarReader{"ChunkBarCodeJson", "BarCode", false};
constexpr Reader kMatrixReader{"ChunkQRCodeJson", "DataCode", true};

/**
 * One reader's document. Status and time are the whole scene's in both: who takes both documents
 * in keeps only one status and one time, whichever comes last.
 */
void writeReader(JsonWriter& json, const rapidjson::StringBuffer& written, const Reader& reader,
                 const Scene& scene) {
    wrappedObject(json, reader.document, [&] {
        wrappedText(json, "Status", statusName(scene.status));
        wrappedInt(json, "Time", scene.readMilliseconds);
        wrapped(json, reader.list, [&] {
            json.StartArray();
            for (const SceneCode& code : scene.read) {
                const bool isIts = isMatrix(code) == reader.isMatrix;
                if (isIts && hasRoom(written, code)) writeCode(json, code);
            }
            json.EndArray();
        });
    });
}

/** The words are signed, as the camera's features for them are. */
std::int32_t signedWord(std::uint64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

rapidjson::StringBuffer resultDocuments(const Scene& scene, std::uint64_t timestamp) {
    rapidjson::StringBuffer buffer;
    JsonWriter json(buffer);
    json.StartObject();
    wrappedObject(json, "ChunkPipelineJson", [&] {
        wrappedInt(json, "TriggerTsHigh", signedWord(timestamp >> 32));
        wrappedInt(json, "TriggerTsLow", signedWord(timestamp));
    });
    wrappedObject(json, "ChunkImgScaleJson", [&] {
        wrappedInt(json, "OutWidth", scene.width);
        wrappedInt(json, "OutHeight", scene.height);
    });
    writeReader(json, buffer, kBarReader, scene);
    writeReader(json, buffer, kMatrixReader, scene);
    json.EndObject();
    return buffer;
}

}  // namespace

std::vector<std::uint8_t> encodeContainer(const Scene& scene, std::uint64_t timestamp,
                                          std::span<const std::uint8_t> jpeg) {
    const auto json = resultDocuments(scene, timestamp);
    const std::span<const std::uint8_t> picture = jpeg.empty() ? scene.pixels : jpeg;
    Bytes bytes;
    bytes.reserve(mostContainerBytes(picture.size()));
    bytes.resize(kHeadBytes);
    bytes[0] = 'S';
    bytes[1] = 'M';
    bytes[2] = 'A';
    bytes[3] = 'T';
    store(bytes, kBlockCountOffset, std::uint32_t{2});

    // The image's entry is the table's last: its timestamp has 64 bits, while the result text's
    // signed words cannot say a low word of 2^31 or more without spilling into the high one.
    const std::size_t image = appendBlock(bytes, 1, kImageBlock, picture.data(), picture.size());
    store(bytes, image + 12, scene.width);
    store(bytes, image + 16, scene.height);
    store(bytes, image + 24, timestamp);
    store(bytes, image + 32, jpeg.empty() ? kPixels : kJpegFile);
    appendBlock(bytes, 0, kJsonBlock, json.GetString(), json.GetSize());
    return bytes;
}

std::size_t mostContainerBytes(std::size_t imageBytes) { return imageBytes + kRoomBytes; }

}  // namespace kestrosim
