// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace kestro::decode {

inline constexpr std::uint32_t kImageBlock = 0;
inline constexpr std::uint32_t kJsonBlock = 2;

struct BlockEntry {
    std::uint32_t type = 0;
    std::uint32_t offset = 0;  ///< of the block's bytes, from the container's first byte
    std::uint32_t size = 0;
    // Only image blocks carry these.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t timestamp = 0;
    std::uint32_t payloadIndicator = 0;

    /** Whether a block of this type is looked at; others are skipped. */
    [[nodiscard]] bool isRead() const { return type == kImageBlock || type == kJsonBlock; }
};

/** Image data that holds a table of blocks: images and result texts. Looks at borrowed bytes. */
class BlockContainer {
 public:
    explicit BlockContainer(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    /** True for bytes that begin with the container's magic and are long enough for a container. */
    [[nodiscard]] static bool recognises(std::span<const std::uint8_t> bytes);

    /** What the container says; may be negative, and more than the table can hold. */
    [[nodiscard]] std::int32_t blockCount() const;

    /**
     * Reads entry `index` and checks that its block may be used.
     *
     * @return false when it may not: `entry` then has the offset and size that are at fault, those
     *         of the table entry itself where that does not lie inside the container.
     */
    [[nodiscard]] bool readEntry(std::uint32_t index, BlockEntry& entry) const;

    /** The bytes of an entry that readEntry() accepted, of type image or JSON. */
    [[nodiscard]] std::span<const std::uint8_t> blockBytes(const BlockEntry& entry) const;

 private:
    std::span<const std::uint8_t> bytes_;
};

}  // namespace kestro::decode
