// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

namespace kestrosim {

/** The kinds of codes that can be read, as results name them; in the order of their selector. */
inline constexpr std::array<std::string_view, 2> kSymbologies{"CODE128", "QR"};

}  // namespace kestrosim
