// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cctype>
#include <string_view>

namespace Vorda::Gige {

/**
 * Whether every operator of a formula has its operands and every operand its operator.
 *
 * The node map does not ask: it computes with what happens to lie on its stack, so that nothing
 * could be said of what a malformed formula divides by what.
 */
[[nodiscard]] bool isWellFormed(std::string_view formula);

/** The name of a function, in any case. */
[[nodiscard]] bool isFunction(std::string_view word);

/** Of names and numbers. */
inline bool isWordPart(char each) {
    return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '_' || each == '.';
}
inline bool isDigit(char each) { return each >= '0' && each <= '9'; }
inline bool isBlank(char each) { return std::isspace(static_cast<unsigned char>(each)) != 0; }

}  // namespace Vorda::Gige
