// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Vorda::Gige {

/** An IPv4 address or mask, in host byte order. */
struct Ipv4 {
    std::uint32_t value = 0;

    constexpr auto operator<=>(const Ipv4&) const = default;
    [[nodiscard]] constexpr bool isZero() const { return value == 0; }
    [[nodiscard]] constexpr bool inSameSubnet(Ipv4 other, Ipv4 mask) const {
        return (value & mask.value) == (other.value & mask.value);
    }
    /** Dotted text. */
    [[nodiscard]] std::string text() const;
    /** Reads a dotted text, four decimal numbers; empty for anything else. */
    [[nodiscard]] static std::optional<Ipv4> parse(std::string_view text);
};

}  // namespace Vorda::Gige
