// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace kestrocli {

constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kMono16 = 0x01100007;
constexpr std::uint32_t kRgb8 = 0x02180014;
constexpr std::uint32_t kBgr8 = 0x02180015;

/** The name of a PFNC code, "Mono8"; "0x01080002" for one that is not well known. */
[[nodiscard]] std::string pixelFormatName(std::uint32_t code);

}  // namespace kestrocli
