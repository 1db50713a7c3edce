// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SameBytes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestro::decode {

/**
 * The hash of keys: h = 131 h + c over the bytes, taken as signed. Four at a time, because each
 * step waits for the one before it.
 *
 * @param hash  of what stands in front of `text`.
 */
[[nodiscard]] constexpr std::uint32_t chunkKeyHash(std::string_view text, std::uint32_t hash = 0) {
    constexpr std::uint32_t kBase = 131;
    const auto byte = [text](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<signed char>(text[i]));
    };
    std::size_t i = 0;
    for (; i + 4 <= text.size(); i += 4) {
        hash = hash * (kBase * kBase * kBase * kBase) + byte(i) * (kBase * kBase * kBase) +
               byte(i + 1) * (kBase * kBase) + byte(i + 2) * kBase + byte(i + 3);
    }
    for (; i < text.size(); ++i) hash = hash * kBase + byte(i);
    return hash;
}

/**
 * A key in two parts, the first of which many keys have in common and comes with its hash. Looks at
 * borrowed bytes.
 */
class ChunkKey {
 public:
    constexpr ChunkKey(std::string_view text)  // NOLINT(google-explicit-constructor)
        : ChunkKey(text, chunkKeyHash(text), {}) {}
    constexpr ChunkKey(std::string_view head, std::uint32_t headHash, std::string_view tail)
        : head_(head), tail_(tail), headHash_(headHash) {}

    [[nodiscard]] std::size_t size() const { return head_.size() + tail_.size(); }
    [[nodiscard]] std::uint32_t hash() const { return chunkKeyHash(tail_, headHash_); }
    [[nodiscard]] std::string text() const { return std::string(head_).append(tail_); }
    /**
     * Whether it stands at the start of a text that is not shorter. Always in line, because the
     * size of the tail, which is known there, saves half of the work.
     */
    [[nodiscard, gnu::always_inline]] bool isAt(const char* text) const {
        return areSameBytes(text, head_.data(), head_.size()) &&
               areSameBytes(text + head_.size(), tail_.data(), tail_.size());
    }

 private:
    std::string_view head_;
    std::string_view tail_;
    std::uint32_t headHash_;
};

/**
 * The lines of one chunk, "key Value:text" each, by key. Copies no text: the lines must live as
 * long as the table is used. Made once and cleared from chunk to chunk, which costs nothing.
 */
class ChunkLines {
 public:
    /** Forgets all lines and makes room for `lineCount` of them. */
    void reset(std::size_t lineCount);
    /** Takes a line in; of several lines with one key the first counts. */
    void add(std::string_view line) { lines_.push_back(line); }
    /** What follows the colon; empty when there is no such line. */
    [[nodiscard]] std::string_view find(const ChunkKey& key);
    /**
     * The same for next to nothing, where the lines come in the order in which they are asked for.
     *
     * Needs: all lines added; a key without a colon, which this has not been asked for before.
     */
    [[nodiscard, gnu::always_inline]] std::string_view next(const ChunkKey& key) {
        // No line before this one has the key: theirs have been asked for, or none is there twice.
        if (next_ < lines_.size() && beginsWith(lines_[next_], key))
            return lines_[next_++].substr(key.size() + kMark.size());
        return findAndGoOn(key);
    }
    /** Steps over the line that next() would look at first, if it has this key. Needs: as next().
     */
    void skip(const ChunkKey& key) {
        if (next_ < lines_.size() && beginsWith(lines_[next_], key)) ++next_;
    }

 private:
    static constexpr std::string_view kMark = " Value:";

    // Open addressing with linear probing. Lines are counted on from chunk to chunk: a slot is in
    // use when its line is not one of an earlier chunk.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t line = 0;
        std::uint32_t keySize = 0;
    };

    [[gnu::always_inline]] static bool beginsWith(std::string_view line, const ChunkKey& key) {
        return line.size() >= key.size() + kMark.size() && key.isAt(line.data()) &&
               areSameBytes(line.data() + key.size(), kMark.data(), kMark.size());
    }
    [[nodiscard]] std::string_view findAndGoOn(ChunkKey key);
    [[nodiscard]] const Slot* lookUp(const ChunkKey& key);
    void enterAll();
    void enter(std::string_view key, std::size_t line);
    [[nodiscard]] Slot& place(const ChunkKey& key, std::uint32_t hash);
    [[nodiscard]] std::string_view valueOf(const Slot& slot) const {
        return lines_[slot.line - firstLine_].substr(slot.keySize + kMark.size());
    }

    std::vector<std::string_view> lines_;
    std::size_t next_ = 0;     // behind the line that next() found last
    std::vector<Slot> slots_;  // a power of two, at least twice as many as there may be lines
    std::uint32_t firstLine_ = 1;
    std::size_t entered_ = 0;   // the lines before this one are in their slots
    bool hasKeyTwice_ = false;  // among these
};

}  // namespace kestro::decode
