// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace kestrosim {

/** A ZIP archive that holds one file, deflated. */
[[nodiscard]] std::string zipFile(std::string_view fileName, std::string_view bytes);

}  // namespace kestrosim
