// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <optional>
#include <string>

namespace Vorda::Gige {

/** True for bytes that begin as a zip archive does. */
[[nodiscard]] bool looksZipped(ByteView bytes);

/**
 * The first file of a zip archive, stored or deflated.
 *
 * Every offset and length of the archive is checked. Empty, with `reason` set, for an archive that
 * is damaged, encrypted or packed otherwise, or whose file is larger than `limitBytes`.
 */
[[nodiscard]] std::optional<std::string> unzipFirstFile(ByteView archive, std::size_t limitBytes,
                                                        std::string& reason);

}  // namespace Vorda::Gige
