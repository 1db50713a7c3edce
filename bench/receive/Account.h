// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "HandOvers.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kestro::bench {

/** What a receiver has counted of all its streams since they began. */
struct Received {
    std::uint64_t frames = 0;  ///< whole
    std::uint64_t badFrames = 0;
    std::uint64_t missingPackets = 0;
    std::uint64_t resendRequests = 0;
    std::uint64_t resentPackets = 0;
    std::uint64_t packets = 0;  ///< 0: not counted
    std::uint64_t bytes = 0;    ///< 0: not counted
};

/**
 * Says that the streams are there, in a JSON object with `details` ("\"name\":value"), and then
 * does what lines of standard input say, until it ends:
 *
 *     begin      notes what was counted and used until now
 *     end FILE   tells, in a JSON object, what was since; FILE gets a line "camera block time" for
 *                each frame that was handed over since
 */
void giveAccount(const std::function<Received()>& received, const std::vector<HandOvers>& handOvers,
                 const std::string& details);

}  // namespace kestro::bench
