// SPDX-License-Identifier: Apache-2.0
#include "ChunkLines.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kestro::decode {

namespace {

constexpr std::size_t kFewestSlots = 64;

}  // namespace

void ChunkLines::reset(std::size_t lineCount) {
    firstLine_ += static_cast<std::uint32_t>(entered_);
    lines_.clear();
    lines_.reserve(lineCount);
    next_ = 0;
    entered_ = 0;
    hasKeyTwice_ = false;
}

std::string_view ChunkLines::find(const ChunkKey& key) {
    const Slot* slot = lookUp(key);
    return slot ? valueOf(*slot) : std::string_view();
}

std::string_view ChunkLines::findAndGoOn(ChunkKey key) {
    const Slot* slot = lookUp(key);
    if (!slot) return {};
    // Lines that are stepped over may hold keys that are yet to be asked for.
    if (!hasKeyTwice_) next_ = slot->line - firstLine_ + 1;
    return valueOf(*slot);
}

/** Null when no line has the key. */
const ChunkLines::Slot* ChunkLines::lookUp(const ChunkKey& key) {
    if (lines_.empty()) return nullptr;
    enterAll();
    const Slot& slot = place(key, key.hash());
    return slot.line < firstLine_ ? nullptr : &slot;
}

void ChunkLines::enterAll() {
    const std::size_t needed = std::bit_ceil(std::max(2 * lines_.size(), kFewestSlots));
    // After 2^32 lines slots of the very first ones would seem to be in use again.
    const bool isCountedOut =
        lines_.size() >= std::numeric_limits<std::uint32_t>::max() - firstLine_;
    if (needed > slots_.size() || isCountedOut) {
        slots_.assign(std::max(needed, slots_.size()), Slot());
        firstLine_ = 1;
        entered_ = 0;
        hasKeyTwice_ = false;
    }
    for (; entered_ < lines_.size(); ++entered_) {
        const std::string_view line = lines_[entered_];
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view withMark = line.substr(0, colon + 1);
        if (withMark.ends_with(kMark))
            enter(withMark.substr(0, withMark.size() - kMark.size()), entered_);
    }
}

void ChunkLines::enter(std::string_view key, std::size_t line) {
    const ChunkKey entered(key);
    Slot& slot = place(entered, entered.hash());
    if (slot.line >= firstLine_) {
        hasKeyTwice_ = true;
        return;
    }
    slot = {entered.hash(), firstLine_ + static_cast<std::uint32_t>(line),
            static_cast<std::uint32_t>(key.size())};
}

// The slot that has the key, else the free one where it belongs. There always is a free one.
ChunkLines::Slot& ChunkLines::place(const ChunkKey& key, std::uint32_t hash) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    for (; slots_[at].line >= firstLine_; at = (at + 1) & mask) {
        const Slot& slot = slots_[at];
        if (slot.hash == hash && slot.keySize == key.size() &&
            key.isAt(lines_[slot.line - firstLine_].data()))
            break;
    }
    return slots_[at];
}

}  // namespace kestro::decode
