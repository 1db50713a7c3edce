// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kestro::decode {

/** The hash of keys: h = 131 h + c over the bytes, taken as signed. */
[[nodiscard]] constexpr std::uint32_t chunkKeyHash(std::string_view text) {
    std::uint32_t hash = 0;
    for (const char c : text) {
        hash = hash * 131 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    }
    return hash;
}

/** A key with its hash, so that fixed keys are hashed at compile time. Looks at borrowed bytes. */
struct ChunkKey {
    constexpr ChunkKey(std::string_view keyText)  // NOLINT(google-explicit-constructor)
        : text(keyText), hash(chunkKeyHash(keyText)) {}
    constexpr ChunkKey(std::string_view keyText, std::uint32_t keyHash)
        : text(keyText), hash(keyHash) {}

    std::string_view text;
    std::uint32_t hash;
};

/**
 * The lines of one chunk, "key Value:text" each, by key. Copies no text: the lines must live as
 * long as the table is used. Made once and cleared from chunk to chunk, which costs nothing.
 */
class ChunkLines {
 public:
    /** Forgets all lines and makes room for `lineCount` of them. */
    void reset(std::size_t lineCount);
    /** Takes a line in; of several lines with one key the first counts, other lines are dropped. */
    void add(std::string_view line);
    /** What follows the colon; empty when there is no such line. */
    [[nodiscard]] std::string_view find(const ChunkKey& key) const;

 private:
    // Open addressing with linear probing; a slot is in use when it is of the present generation.
    struct Slot {
        std::uint32_t generation = 0;
        std::uint32_t hash = 0;
        std::string_view key;
        std::string_view value;
    };

    [[nodiscard]] std::size_t place(const ChunkKey& key) const;

    std::vector<Slot> slots_;  // a power of two, at least twice as many as there may be lines
    std::uint32_t generation_ = 0;
};

}  // namespace kestro::decode
