// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Features.h"

#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * Writes the camera's configuration to a file, as GenICam feature-persistence text: a header, then
 * "Name<TAB>Value" lines, with the lines of selectors before what they select. `device` is named in
 * a comment. The file is there whole or not at all. False with the last error set.
 */
[[nodiscard]] bool saveConfiguration(Features& features, const std::string& device,
                                     const std::string& path);

/**
 * Applies such a file, in an order that satisfies selectors and dependent ranges, as far as the
 * camera takes it. `refusals` gets a sentence for each feature that it did not take.
 *
 * @return false, with the last error set, when the file cannot be read or anything was refused.
 */
[[nodiscard]] bool loadConfiguration(Features& features, const std::string& path,
                                     std::vector<std::string>& refusals);

}  // namespace Vorda::Gige
