// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StreamCounters.h"

#include <cstdint>
#include <span>

namespace Vorda::Gige {

/** A feature of ours that tells what happened on a camera's stream: an integer to be read. */
struct StreamFeature {
    const char* name;
    std::uint64_t (*value)(const StreamCounters&);
};

/** The category that they are in. */
inline constexpr const char* kStreamCategory = "BufferHandlingControl";

/** In the order in which they are listed. */
[[nodiscard]] std::span<const StreamFeature> streamFeatures();

}  // namespace Vorda::Gige
