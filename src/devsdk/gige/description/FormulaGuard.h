// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Vorda::Gige {

/**
 * A formula of a description with the same value, whatever its variables are, that never divides
 * the least integer by -1: the node map would, and the processor ends the process for it.
 *
 * `isInteger`: it is evaluated in integers. Empty for one that is malformed, or too deep.
 */
[[nodiscard]] std::optional<std::string> guardedFormula(std::string_view formula, bool isInteger);

}  // namespace Vorda::Gige
