// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Vorda::Gige {

/**
 * Writes a file whole or not at all: under another name in the same folder first, then renamed, so
 * that nobody ever reads half of it; a device or a pipe is written into. False, with the last
 * error, when that is impossible.
 */
[[nodiscard]] bool writeFile(const std::string& path, const std::string& content);

}  // namespace Vorda::Gige
