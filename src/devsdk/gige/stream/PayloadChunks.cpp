// SPDX-License-Identifier: Apache-2.0
#include "PayloadChunks.h"

#include "JpegHeader.h"

#include <algorithm>

namespace Vorda::Gige {

namespace {

constexpr std::uint64_t kByteBits = 8;
constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kRgb8 = 0x02180014;

/** 0 when the geometry is none. PFNC codes say how many bits a pixel takes. */
std::uint64_t geometryBytes(const GvspLeader& leader, std::size_t most) {
    const std::uint64_t bits = leader.pixelFormat >> 16 & 0xff;
    const std::uint64_t pixels = std::uint64_t{leader.width} * leader.height;
    if (bits == 0 || pixels > most * kByteBits) return 0;
    return (pixels * bits + kByteBits - 1) / kByteBits;
}

ImageGeometry geometryOf(const GvspLeader& leader) {
    if (leader.type() != kGvspImage && leader.type() != kGvspImageChunks) return {};
    return {leader.width, leader.height, leader.pixelFormat};
}

ImageGeometry geometryOf(ByteView jpegFile) {
    const auto header = readJpegHeader(jpegFile);
    if (!header) return {};
    const bool isGrey = header->components == 1 && header->bits == kByteBits;
    const bool isColour = header->components == 3 && header->bits == kByteBits;
    const std::uint32_t format = isGrey ? kMono8 : isColour ? kRgb8 : ImageGeometry::kUnknownFormat;
    return {header->width, header->height, format};
}

/** How much of the payload is its image; `content` has the chunks. */
std::size_t imageBytesOf(const GvspLeader& leader, ByteView payload,
                         const PayloadContent& content) {
    if (!leader.hasChunks() || leader.type() == kGvspChunks) return payload.size();
    const std::uint64_t image = content.isBroken            ? geometryBytes(leader, payload.size())
                                : content.chunks.size() > 0 ? content.chunks[0].lengthBytes
                                                            : 0;
    const bool isPart = image != 0 && image < payload.size();
    return isPart ? static_cast<std::size_t>(image) : payload.size();
}

}  // namespace

bool PayloadChunks::find(ByteView payload) {
    size_ = ignored_ = 0;
    std::size_t found = 0;
    std::size_t end = payload.size();
    while (end != 0) {
        if (end < kTrailerBytes) return false;
        BigEndianReader trailer(payload.subspan(end - kTrailerBytes, kTrailerBytes));
        const std::uint32_t id = trailer.u32();
        const std::uint32_t length = trailer.u32();
        end -= kTrailerBytes;
        if (length > end) return false;
        end -= length;
        // From the last to the first; with more than there is room for, the first ones stay.
        ranges_[found++ % kMost] = {id, static_cast<std::uint32_t>(end), length};
    }
    size_ = std::min(found, kMost);
    ignored_ = found - size_;
    const auto first = ranges_.begin();
    const auto last = first + static_cast<std::ptrdiff_t>(size_);
    if (ignored_ != 0) std::rotate(first, first + static_cast<std::ptrdiff_t>(found % kMost), last);
    std::reverse(first, last);
    return true;
}

bool looksWhole(const GvspLeader& leader, ByteView payload) {
    constexpr std::size_t kLargestImage = std::size_t{1} << 32;
    PayloadChunks chunks;
    if (leader.hasChunks()) return chunks.find(payload);
    return leader.type() != kGvspImage || payload.size() >= geometryBytes(leader, kLargestImage);
}

void takeApart(const GvspLeader& leader, ByteView payload, PayloadContent& content) {
    content.isBroken = leader.hasChunks() && !content.chunks.find(payload);
    content.imageBytes = imageBytesOf(leader, payload, content);
    content.image = leader.type() == kGvspJpeg ? geometryOf(payload.first(content.imageBytes))
                                               : geometryOf(leader);
}

}  // namespace Vorda::Gige
