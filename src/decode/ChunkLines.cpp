// SPDX-License-Identifier: Apache-2.0
#include "ChunkLines.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace kestro::decode {

namespace {

constexpr std::string_view kMark = " Value";
constexpr std::size_t kFewestSlots = 64;

std::uint64_t eightBytes(const char* from) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
}

/** As ==, in line: keys are short, and a call for each is a tenth of the whole decoding. */
bool isSame(std::string_view one, std::string_view other) {
    constexpr std::size_t kStep = sizeof(std::uint64_t);
    const std::size_t size = one.size();
    if (size != other.size()) return false;
    if (size < kStep) return one == other;
    for (std::size_t i = 0; i + kStep < size; i += kStep) {
        if (eightBytes(one.data() + i) != eightBytes(other.data() + i)) return false;
    }
    return eightBytes(one.data() + size - kStep) == eightBytes(other.data() + size - kStep);
}

}  // namespace

void ChunkLines::reset(std::size_t lineCount) {
    firstLine_ += static_cast<std::uint32_t>(lines_.size());
    lines_.clear();
    entered_ = 0;
    expected_ = 0;
    lines_.reserve(lineCount);
    const std::size_t needed = std::bit_ceil(std::max(2 * lineCount, kFewestSlots));
    const bool isTooSmall = needed > slots_.size();
    // After 2^32 lines slots of the very first ones would seem to be in use again.
    const bool isCountedOut = lineCount >= std::numeric_limits<std::uint32_t>::max() - firstLine_;
    if (!isTooSmall && !isCountedOut) return;
    slots_.assign(std::max(needed, slots_.size()), Slot());
    firstLine_ = 1;
}

void ChunkLines::add(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !line.substr(0, colon).ends_with(kMark)) return;
    lines_.push_back({line.substr(0, colon - kMark.size()), line.substr(colon + 1)});
}

std::string_view ChunkLines::find(const ChunkKey& key) {
    const auto has = [&](std::size_t i) {
        return i < lines_.size() && isSame(lines_[i].key, key.text);
    };
    if (entered_ == expected_) {
        // A line that nobody asks for is stepped over.
        if (!has(expected_) && has(expected_ + 1)) {
            static_cast<void>(enter(lines_[expected_].key, expected_));
            ++expected_;
        }
        if (has(expected_)) {
            entered_ = expected_ + 1;
            return lines_[enter(key, expected_++)].value;
        }
    }
    if (slots_.empty()) return {};
    enterAll();
    const Slot& slot = slots_[place(key)];
    return slot.line < firstLine_ ? std::string_view() : lines_[slot.line - firstLine_].value;
}

std::size_t ChunkLines::enter(const ChunkKey& key, std::size_t line) {
    Slot& slot = slots_[place(key)];
    if (slot.line >= firstLine_) return slot.line - firstLine_;
    slot = {key.hash, firstLine_ + static_cast<std::uint32_t>(line)};
    return line;
}

void ChunkLines::enterAll() {
    for (; entered_ < lines_.size(); ++entered_)
        static_cast<void>(enter(lines_[entered_].key, entered_));
}

// The slot that has the key, else the free one where it belongs. There always is a free one.
std::size_t ChunkLines::place(const ChunkKey& key) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = key.hash & mask;
    for (; slots_[at].line >= firstLine_; at = (at + 1) & mask) {
        const Slot& slot = slots_[at];
        if (slot.hash == key.hash && isSame(lines_[slot.line - firstLine_].key, key.text)) break;
    }
    return at;
}

}  // namespace kestro::decode
