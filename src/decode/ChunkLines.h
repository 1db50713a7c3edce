// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kestro::decode {

/**
 * The hash of keys: h = 131 h + c over the bytes, taken as signed. Four at a time, because each
 * step waits for the one before it.
 */
[[nodiscard]] constexpr std::uint32_t chunkKeyHash(std::string_view text) {
    constexpr std::uint32_t kBase = 131;
    const auto byte = [text](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<signed char>(text[i]));
    };
    std::uint32_t hash = 0;
    std::size_t i = 0;
    for (; i + 4 <= text.size(); i += 4) {
        hash = hash * (kBase * kBase * kBase * kBase) + byte(i) * (kBase * kBase * kBase) +
               byte(i + 1) * (kBase * kBase) + byte(i + 2) * kBase + byte(i + 3);
    }
    for (; i < text.size(); ++i) hash = hash * kBase + byte(i);
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
    [[nodiscard]] std::string_view find(const ChunkKey& key);

 private:
    struct Line {
        std::string_view key;
        std::string_view value;
    };
    // Open addressing with linear probing. Lines are counted on from chunk to chunk: a slot is in
    // use when its line is not one of an earlier chunk.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t line = 0;
    };

    /** The line that has the key first; `line` itself when none before it has. */
    [[nodiscard]] std::size_t enter(const ChunkKey& key, std::size_t line);
    void enterAll();
    [[nodiscard]] std::size_t place(const ChunkKey& key) const;

    std::vector<Slot> slots_;  // a power of two, at least twice as many as there may be lines
    std::vector<Line> lines_;
    std::uint32_t firstLine_ = 1;
    std::size_t entered_ = 0;  // the lines before this one are in their slots
    // Behind the line found last: keys are mostly asked for in the order of the lines. As long as
    // they are, a line is entered when it is asked for, with the hash that the asker has already.
    std::size_t expected_ = 0;
};

}  // namespace kestro::decode
