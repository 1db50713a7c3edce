// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Vorda::Gige {

/** A range of missing packets of one block, to be sent again. */
struct ResendRequest {
    std::uint64_t blockId = 0;
    std::uint32_t firstPacket = 0;
    std::uint32_t lastPacket = 0;
    bool extendedIds = false;  ///< 64-bit block ids and 32-bit packet ids
};

}  // namespace Vorda::Gige
