// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace Vorda::Gige {

/**
 * Empty when `xml` is a GenICam description that can be evaluated safely; else why not.
 *
 * The node map takes a cut description for a small one, recurses without end where features refer
 * to each other in a circle, and allocates what a register says is its length. So a description
 * must be well-formed to its end, free of such circles, and its lengths must be of a size.
 */
[[nodiscard]] std::string descriptionFault(const std::string& xml);

/** Whether a register may be that long: the node map allocates its bytes. */
[[nodiscard]] bool isRegisterLength(std::int64_t bytes);

}  // namespace Vorda::Gige
