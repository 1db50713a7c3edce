// SPDX-License-Identifier: Apache-2.0
#include "ChunkLines.h"

#include <algorithm>
#include <bit>

namespace kestro::decode {

namespace {

constexpr std::string_view kMark = " Value";
constexpr std::size_t kFewestSlots = 64;

}  // namespace

void ChunkLines::reset(std::size_t lineCount) {
    const std::size_t needed = std::bit_ceil(std::max(2 * lineCount, kFewestSlots));
    if (needed > slots_.size()) {
        slots_.assign(needed, Slot());
        generation_ = 0;
    }
    // After 2^32 chunks slots of the very first ones would seem to be in use again.
    if (++generation_ == 0) {
        std::fill(slots_.begin(), slots_.end(), Slot());
        generation_ = 1;
    }
}

void ChunkLines::add(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !line.substr(0, colon).ends_with(kMark)) return;
    const ChunkKey key = line.substr(0, colon - kMark.size());
    Slot& slot = slots_[place(key)];
    if (slot.generation == generation_) return;
    slot = {generation_, key.hash, key.text, line.substr(colon + 1)};
}

std::string_view ChunkLines::find(const ChunkKey& key) const {
    if (slots_.empty()) return {};
    const Slot& slot = slots_[place(key)];
    return slot.generation == generation_ ? slot.value : std::string_view();
}

// The slot that has the key, else the free one where it belongs. There always is a free one.
std::size_t ChunkLines::place(const ChunkKey& key) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = key.hash & mask;
    for (; slots_[at].generation == generation_; at = (at + 1) & mask) {
        if (slots_[at].hash == key.hash && slots_[at].key == key.text) break;
    }
    return at;
}

}  // namespace kestro::decode
