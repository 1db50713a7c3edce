// SPDX-License-Identifier: Apache-2.0
#include "ChunkLines.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kestro::decode {

namespace {

constexpr std::string_view kMark = " Value";
constexpr std::size_t kFewestSlots = 64;

}  // namespace

void ChunkLines::reset(std::size_t lineCount) {
    firstLine_ += static_cast<std::uint32_t>(lines_.size());
    lines_.clear();
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
    const ChunkKey key = line.substr(0, colon - kMark.size());
    Slot& slot = slots_[place(key)];
    if (slot.line >= firstLine_) return;
    slot = {key.hash, firstLine_ + static_cast<std::uint32_t>(lines_.size())};
    lines_.push_back({key, line.substr(colon + 1)});
}

std::string_view ChunkLines::find(const ChunkKey& key) {
    const auto has = [&](std::size_t i) {
        return lines_[i].key.hash == key.hash && lines_[i].key.text == key.text;
    };
    if (expected_ >= lines_.size() || !has(expected_)) {
        if (slots_.empty()) return {};
        const Slot& slot = slots_[place(key)];
        if (slot.line < firstLine_) return {};
        expected_ = slot.line - firstLine_;
    }
    return lines_[expected_++].value;
}

// The slot that has the key, else the free one where it belongs. There always is a free one.
std::size_t ChunkLines::place(const ChunkKey& key) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = key.hash & mask;
    for (; slots_[at].line >= firstLine_; at = (at + 1) & mask) {
        const Slot& slot = slots_[at];
        if (slot.hash == key.hash && lines_[slot.line - firstLine_].key.text == key.text) break;
    }
    return at;
}

}  // namespace kestro::decode
