// SPDX-License-Identifier: Apache-2.0
#include "ResultDamage.h"

#include "Scene.h"

#include <algorithm>

namespace kestrosim {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kWordBytes = 4;
constexpr int kMostCorruptBytes = 8;

/** Of the word's `i`-th byte, the lowest first. */
std::size_t byteAt(const ResultPlace& place, std::size_t i) {
    return place.lengthAt + (place.isBigEndian ? kWordBytes - 1 - i : i);
}

std::uint32_t lengthIn(const Bytes& frame, const ResultPlace& place) {
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < kWordBytes; ++i) {
        length |= std::uint32_t{frame[byteAt(place, i)]} << (8 * i);
    }
    return length;
}

void setLength(Bytes& frame, const ResultPlace& place, std::uint64_t length) {
    for (std::size_t i = 0; i < kWordBytes; ++i) {
        frame[byteAt(place, i)] = static_cast<std::uint8_t>(length >> (8 * i));
    }
}

}  // namespace

ResultPlace resultsInContainer(const Bytes& container) {
    std::size_t begin = 0;
    for (std::size_t i = kWordBytes; i-- > 0;) {
        begin = begin << 8 | container[kContainerResultEntry + kEntryOffset + i];
    }
    return {begin, kContainerResultEntry + kEntryLength, false};
}

ResultPlace resultsInChunks(const Bytes& chunks, std::size_t begin) {
    return {begin, chunks.size() - std::min(chunks.size(), kWordBytes), true};
}

bool cutResults(Bytes& frame, const ResultPlace& place, SeededRandom& chance) {
    if (place.begin >= frame.size()) return false;
    const std::uint64_t how = chance.next() % 4;
    const std::uint64_t draw = chance.next();
    if (how < 2) {
        frame.resize(place.begin + draw % (frame.size() - place.begin));
    } else if (how == 2) {
        setLength(frame, place, draw % std::max(lengthIn(frame, place), 1U));
    } else {
        setLength(frame, place, draw);
    }
    return true;
}

bool corruptResults(Bytes& frame, const ResultPlace& place, SeededRandom& chance) {
    if (place.begin >= frame.size()) return false;
    for (int left = chance.between(1, kMostCorruptBytes); left > 0; --left) {
        const std::size_t at = place.begin + chance.next() % (frame.size() - place.begin);
        frame[at] = static_cast<std::uint8_t>(frame[at] + chance.between(1, 255));
    }
    return true;
}

}  // namespace kestrosim
