// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrocli {

/** The number that a dotted address stands for; empty for any other text. */
[[nodiscard]] std::optional<std::uint32_t> addressFrom(const std::string& text);

/** "192.168.1.7" */
[[nodiscard]] std::string dotted(std::uint32_t address);

/** "192.168.1.7/24" */
[[nodiscard]] std::string dotted(std::uint32_t address, std::uint32_t mask);

}  // namespace kestrocli
