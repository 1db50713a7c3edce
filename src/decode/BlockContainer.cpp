// SPDX-License-Identifier: Apache-2.0
#include "BlockContainer.h"

#include "ByteReader.h"

namespace {

// Container                          Table entry
//   0   4  magic "SMAT"                0   4  type
//   4   4  -                           4   4  offset of the block's bytes
//   8   4  block count, signed         8   4  size of the block's bytes
//  12  12  -                          12   4  image width          (images only, as all below)
//  24   .  table                      16   4  image height
//                                     20   4  -
//                                     24   8  timestamp
//                                     32   4  payload indicator
//                                     36  28  -
constexpr std::uint32_t kMagic = 0x54414D53;
constexpr std::size_t kSmallestContainer = 576;
constexpr std::uint32_t kCountAt = 8;
constexpr std::uint32_t kTableAt = 24;
constexpr std::uint32_t kEntrySize = 64;

constexpr std::uint32_t kTypeAt = 0;
constexpr std::uint32_t kOffsetAt = 4;
constexpr std::uint32_t kSizeAt = 8;
constexpr std::uint32_t kWidthAt = 12;
constexpr std::uint32_t kHeightAt = 16;
constexpr std::uint32_t kTimestampAt = 24;
constexpr std::uint32_t kPayloadIndicatorAt = 32;
// How far an entry is read: only these bytes of the last one need to be there.
constexpr std::uint32_t kReadOfAnyEntry = 12;
constexpr std::uint32_t kReadOfImageEntry = 36;

}  // namespace

namespace kestro::decode {

bool BlockContainer::recognises(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= kSmallestContainer && ByteReader(bytes).u32(0) == kMagic;
}

std::int32_t BlockContainer::blockCount() const { return ByteReader(bytes_).i32(kCountAt); }

bool BlockContainer::readEntry(std::uint32_t index, BlockEntry& entry) const {
    const ByteReader reader(bytes_);
    const std::uint64_t at = kTableAt + std::uint64_t{index} * kEntrySize;
    const BlockEntry unreadable = {.offset = static_cast<std::uint32_t>(at), .size = kEntrySize};
    entry = unreadable;
    if (!reader.holds(at, kReadOfAnyEntry)) return false;

    entry.type = reader.u32(at + kTypeAt);
    entry.offset = reader.u32(at + kOffsetAt);
    entry.size = reader.u32(at + kSizeAt);
    // The sum wraps at 32 bits: blocks that nobody reads are let pass that way.
    const std::uint32_t end = entry.offset + entry.size;
    if (end > bytes_.size()) return false;
    if (entry.type == kImageBlock) {
        if (!reader.holds(at, kReadOfImageEntry)) {
            entry = unreadable;
            return false;
        }
        entry.width = reader.u32(at + kWidthAt);
        entry.height = reader.u32(at + kHeightAt);
        entry.timestamp = reader.u64(at + kTimestampAt);
        entry.payloadIndicator = reader.u32(at + kPayloadIndicatorAt);
    }
    return !entry.isRead() || reader.holds(entry.offset, entry.size);
}

std::span<const std::uint8_t> BlockContainer::blockBytes(const BlockEntry& entry) const {
    if (!ByteReader(bytes_).holds(entry.offset, entry.size)) return {};
    return bytes_.subspan(entry.offset, entry.size);
}

}  // namespace kestro::decode
