// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Output.h"

#include <functional>
#include <string>

namespace kestrocli {

/** Writes a file at this path; false when the camera or the library refuses. */
using Fetch = std::function<bool(const char* path)>;

/**
 * Puts what `fetch` writes into the file `target`, whole or not at all; "-" is standard output.
 *
 * @return false when `fetch` failed. Throws Failure when the target cannot be written.
 */
[[nodiscard]] bool fetchInto(const std::string& target, Output& output, const Fetch& fetch);

}  // namespace kestrocli
