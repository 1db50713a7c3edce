// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kestro::decode {

/**
 * Whether both places hold the same bytes. Always in line, for texts as short as keys and names:
 * a call of memcmp for each would be a good part of the decoding.
 */
[[nodiscard, gnu::always_inline]] inline bool areSameBytes(const char* one, const char* other,
                                                           std::size_t size) {
    const auto areSame = [&]<typename Word>(Word, std::size_t at) {
        Word a;
        Word b;
        std::memcpy(&a, one + at, sizeof a);
        std::memcpy(&b, other + at, sizeof b);
        return a == b;
    };
    // The last word may hold some bytes of the one before it.
    if (size >= 8) {
        for (std::size_t i = 0; i + 8 < size; i += 8) {
            if (!areSame(std::uint64_t{}, i)) return false;
        }
        return areSame(std::uint64_t{}, size - 8);
    }
    if (size >= 4) return areSame(std::uint32_t{}, 0) && areSame(std::uint32_t{}, size - 4);
    for (std::size_t i = 0; i < size; ++i) {
        if (one[i] != other[i]) return false;
    }
    return true;
}

}  // namespace kestro::decode
