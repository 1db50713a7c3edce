// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace Vorda::Gige {

struct MacAddress {
    std::array<std::uint8_t, 6> bytes{};

    auto operator<=>(const MacAddress&) const = default;
    [[nodiscard]] bool isZero() const { return *this == MacAddress{}; }
    /** "01:23:45:67:89:ab" */
    [[nodiscard]] std::string text() const {
        constexpr char kDigits[] = "0123456789abcdef";
        std::string text;
        for (const std::uint8_t byte : bytes) {
            if (!text.empty()) text.push_back(':');
            text.push_back(kDigits[byte >> 4]);
            text.push_back(kDigits[byte & 15]);
        }
        return text;
    }
};

}  // namespace Vorda::Gige
