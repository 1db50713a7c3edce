// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SeededRandom.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrosim {

/** Where an encoded frame has its results: from `begin` to the end. */
struct ResultPlace {
    std::size_t begin = 0;
    std::size_t lengthAt = 0;  ///< of the word that tells the length of a part of them
    bool isBigEndian = false;  ///< the word
};

[[nodiscard]] ResultPlace resultsInContainer(const std::vector<std::uint8_t>& container);
/** `begin` is behind the image's chunk; 0 when there is none. */
[[nodiscard]] ResultPlace resultsInChunks(const std::vector<std::uint8_t>& chunks,
                                          std::size_t begin);

/**
 * Lets the results end early, with a length that says more than there is, or a length say less or
 * anything at all. What is before them stays; false when there are none.
 */
bool cutResults(std::vector<std::uint8_t>& frame, const ResultPlace& place, SeededRandom& chance);
/** Changes one to eight bytes of them, lengths included. False when there are none. */
bool corruptResults(std::vector<std::uint8_t>& frame, const ResultPlace& place,
                    SeededRandom& chance);

}  // namespace kestrosim
