// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace kestro::decode {

struct Corner {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

/** One code as the camera sent it; the texts look at the bytes it was decoded from. */
struct CodeValues {
    std::string_view typeName;
    std::string_view data;
    float ppm = 0;
    std::array<Corner, 4> corners{};
};

}  // namespace kestro::decode
