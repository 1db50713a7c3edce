// SPDX-License-Identifier: Apache-2.0
#include "PayloadChunks.h"

#include <algorithm>

namespace Vorda::Gige {

namespace {

constexpr std::uint64_t kByteBits = 8;

/** 0 when the geometry is none. PFNC codes say how many bits a pixel takes. */
std::uint64_t geometryBytes(const GvspLeader& leader, std::size_t most) {
    const std::uint64_t bits = leader.pixelFormat >> 16 & 0xff;
    const std::uint64_t pixels = std::uint64_t{leader.width} * leader.height;
    if (bits == 0 || pixels > most * kByteBits) return 0;
    return (pixels * bits + kByteBits - 1) / kByteBits;
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

void takeApart(const GvspLeader& leader, ByteView payload, PayloadContent& content) {
    content.imageBytes = payload.size();
    if (!leader.hasChunks()) return;
    content.isBroken = !content.chunks.find(payload);
    if (leader.type() == kGvspChunks) return;
    const std::uint64_t image = content.isBroken            ? geometryBytes(leader, payload.size())
                                : content.chunks.size() > 0 ? content.chunks[0].lengthBytes
                                                            : 0;
    if (image != 0 && image < payload.size()) content.imageBytes = static_cast<std::size_t>(image);
}

}  // namespace Vorda::Gige
