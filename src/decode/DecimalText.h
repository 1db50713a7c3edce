// SPDX-License-Identifier: Apache-2.0
//
// Decimal texts to floating point, whatever the locale, with the two ends that from_chars leaves
// open.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

namespace kestro::decode {

/** True when a decimal number that is not zero is 1 or more in magnitude; no sign in front. */
[[nodiscard]] inline bool isOneOrMore(std::string_view text) {
    const std::size_t e = std::min(text.find_first_of("eE"), text.size());
    const std::string_view mantissa = text.substr(0, e);
    std::string_view exponentText = text.substr(std::min(e + 1, text.size()));
    if (exponentText.starts_with('+')) exponentText.remove_prefix(1);
    int exponent = 0;
    const auto read =
        std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
    if (read.ec == std::errc::result_out_of_range) return !exponentText.starts_with('-');
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t first = std::min(mantissa.find_first_of("123456789"), mantissa.size());
    // Digits in front of the point count up from 1, those behind it down from 0.
    const std::int64_t order = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first) +
                               (first < point ? 0 : 1);
    return order + exponent > 0;
}

/**
 * The value of a decimal number ("-12.5e3"): infinite when too large for T, 0 when too small, each
 * with the number's sign; 0 for a text that is none.
 */
template <typename T>
[[nodiscard]] T decimalValue(std::string_view text) {
    T value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec == std::errc()) return value;
    if (read.ec != std::errc::result_out_of_range) return 0;
    const bool isNegative = text.starts_with('-');
    if (isNegative) text.remove_prefix(1);
    const T magnitude = isOneOrMore(text) ? std::numeric_limits<T>::infinity() : T{0};
    return isNegative ? -magnitude : magnitude;
}

}  // namespace kestro::decode
