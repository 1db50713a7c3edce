// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>

namespace Vorda::Gige {

/**
 * True of what a connection and its streams set for themselves. Put back by a later connection it
 * would send that one's data elsewhere, or end it.
 */
[[nodiscard]] inline bool isOfConnection(std::string_view feature) {
    constexpr std::string_view kAll[] = {"TLParamsLocked", "GevCCP",  "GevHeartbeatTimeout",
                                         "GevSCPHostPort", "GevSCDA", "GevMCPHostPort",
                                         "GevMCDA"};
    return std::ranges::find(kAll, feature) != std::ranges::end(kAll);
}

}  // namespace Vorda::Gige
