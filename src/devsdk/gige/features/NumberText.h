// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace Vorda::Gige {

/** Plain digits as long as people can count them: 1000000, not 1e+06. */
inline std::chars_format readableFormat(double value) {
    constexpr double kSmallest = 1e-5;
    constexpr double kLargest = 1e15;
    const double size = std::fabs(value);
    const bool isPlain = size == 0 || (size >= kSmallest && size < kLargest);
    return isPlain ? std::chars_format::fixed : std::chars_format::general;
}

/** Decimal; of a float the fewest digits that read back the same. Not after the locale. */
template <typename T>
[[nodiscard]] std::string numberText(T value) {
    char text[64];
    std::to_chars_result result{};
    if constexpr (std::is_integral_v<T>)
        result = std::to_chars(text, text + sizeof text, value);
    else
        result = std::to_chars(text, text + sizeof text, value, readableFormat(value));
    return {text, result.ptr};
}

/** The reverse, of a whole text; integers also hexadecimal with 0x. */
template <typename T>
[[nodiscard]] std::optional<T> parseNumber(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    T value{};
    std::from_chars_result result{};
    if constexpr (std::is_integral_v<T>) {
        const bool isHex = text.starts_with("0x") || text.starts_with("0X");
        if (isHex) text.remove_prefix(2);
        result = std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    } else {
        result = std::from_chars(text.data(), text.data() + text.size(), value);
    }
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace Vorda::Gige
