// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace Vorda::Gige {

/** A selector, and where it stands: a value as Features::getText() gives it. */
struct SelectorPosition {
    std::string name;
    std::string value;
};

/**
 * Why a feature is not set, and for which of its positions: from "LineMode Output: why" makes
 * "LineMode Output (LineSelector Line2): why". A reason that begins with no name gets the
 * feature's.
 */
[[nodiscard]] std::string refusalAt(const std::vector<SelectorPosition>& positions,
                                    const std::string& name, const std::string& value,
                                    const std::string& reason);

}  // namespace Vorda::Gige
