// SPDX-License-Identifier: Apache-2.0
//
// What saving and loading a configuration both ask of features.
#pragma once

#include "Features.h"

#include <string>
#include <vector>

namespace Vorda::Gige {

/** What decides which value `name` stands for: its selectors and theirs, the outermost first. */
[[nodiscard]] std::vector<std::string> allSelectorsOf(const Features& features,
                                                      const std::string& name);

/**
 * Sees to it that a feature has a value, by writing it only if it has another: what is read-only at
 * this moment may well have the right one. False with the last error set.
 */
[[nodiscard]] bool ensure(Features& features, const std::string& name, const std::string& value);

/** True when the last error leaves nothing more to try. */
[[nodiscard]] bool isConnectionGone();

}  // namespace Vorda::Gige
