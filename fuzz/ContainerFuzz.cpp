// SPDX-License-Identifier: Apache-2.0
//
// Image data with a table of blocks, as a camera may send it.
#include "BlockContainer.h"
#include "FuzzInput.h"

#include <cstring>
#include <initializer_list>

namespace {

using namespace kestro::fuzz;
using kestro::decode::BlockContainer;
using kestro::decode::BlockEntry;

constexpr std::uint64_t kTableAt = 24;
constexpr std::uint64_t kEntryBytes = 64;

std::uint32_t littleAt(ByteView bytes, std::uint64_t at) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i) value |= std::uint32_t{bytes[at + i]} << (8 * i);
    return value;
}

/** Whether the block's own bytes, all of them, lie in the container. */
bool isInside(ByteView bytes, const BlockEntry& entry) {
    return std::uint64_t{entry.offset} + entry.size <= bytes.size();
}

void checkUsable(ByteView bytes, const BlockContainer& container, std::uint64_t at,
                 const BlockEntry& entry) {
    KESTRO_EXPECT(at + 12 <= bytes.size());
    KESTRO_EXPECT(entry.type == littleAt(bytes, at));
    KESTRO_EXPECT(entry.offset == littleAt(bytes, at + 4));
    KESTRO_EXPECT(entry.size == littleAt(bytes, at + 8));
    KESTRO_EXPECT(static_cast<std::uint32_t>(entry.offset + entry.size) <= bytes.size());
    if (!entry.isRead()) return;
    KESTRO_EXPECT(isInside(bytes, entry));
    const ByteView block = container.blockBytes(entry);
    KESTRO_EXPECT(block.size() == entry.size);
    KESTRO_EXPECT(block.data() == bytes.data() + entry.offset);
    if (entry.type != kestro::decode::kImageBlock) return;
    KESTRO_EXPECT(at + 36 <= bytes.size());
    KESTRO_EXPECT(entry.width == littleAt(bytes, at + 12));
    KESTRO_EXPECT(entry.height == littleAt(bytes, at + 16));
    KESTRO_EXPECT(static_cast<std::uint32_t>(entry.timestamp >> 32) == littleAt(bytes, at + 28));
    KESTRO_EXPECT(entry.payloadIndicator == littleAt(bytes, at + 32));
}

/** What is refused is at fault: neither entry nor block lies inside. */
void checkRefused(ByteView bytes, const BlockContainer& container, std::uint64_t at,
                  const BlockEntry& entry) {
    const bool isTableAtFault = entry.offset == static_cast<std::uint32_t>(at) &&
                                entry.size == kEntryBytes && at + 36 > bytes.size();
    KESTRO_EXPECT(isTableAtFault || !isInside(bytes, entry));
    KESTRO_EXPECT(isInside(bytes, entry) || container.blockBytes(entry).empty());
}

void check(ByteView bytes, const BlockContainer& container, std::uint32_t index) {
    const std::uint64_t at = kTableAt + index * kEntryBytes;
    BlockEntry entry;
    if (container.readEntry(index, entry)) {
        checkUsable(bytes, container, at, entry);
    } else {
        checkRefused(bytes, container, at, entry);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(data, size);
    const bool hasMagic = size >= 4 && std::memcmp(data, "SMAT", 4) == 0;
    KESTRO_EXPECT(BlockContainer::recognises(bytes) == (hasMagic && size >= 576));
    const BlockContainer container(bytes);
    const std::int32_t count = container.blockCount();
    KESTRO_EXPECT(count == (size >= 12 ? static_cast<std::int32_t>(littleAt(bytes, 8)) : 0));
    for (std::int32_t i = 0; i < std::min(count, 12); ++i)
        check(bytes, container, static_cast<std::uint32_t>(i));
    // Those whose place is beyond 32 bits, and one that the table can hardly have.
    for (const std::uint32_t index : {0x03ffffffU, 0x04000000U, 0xffffffffU, 200U})
        check(bytes, container, index);
    return 0;
}
