// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Options.h"

#include <string>

namespace kestrocli {

/** What a camera is to be given, as dotted texts. */
struct AddressPlan {
    std::string address;
    std::string mask;
    std::string gateway;
};

/** Throws Failure (usage) for what no camera can have. */
[[nodiscard]] AddressPlan planAddress(const ForceIpOptions& options);

}  // namespace kestrocli
