// SPDX-License-Identifier: Apache-2.0
#include "Finding.h"

#include <array>
#include <cstddef>

namespace kestrocli {

std::string_view verdictName(Verdict verdict) {
    constexpr std::array<std::string_view, 4> kNames = {"pass", "warn", "fail", "skip"};
    return kNames.at(static_cast<std::size_t>(verdict));
}

}  // namespace kestrocli
