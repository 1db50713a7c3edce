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
 * Every offset and length of the archive is checked, and the file by its check sum. Empty, with
 * `reason` set, for an archive that is damaged, encrypted or packed otherwise, or whose file is
 * larger than `limitBytes`.
 */
[[nodiscard]] std::optional<std::string> unzipFirstFile(ByteView archive, std::size_t limitBytes,
                                                        std::string& reason);

/**
 * The end of an archive from its directory on. It tells the archive from others: the directory has
 * the size and the check sum of what is in a file. Empty for an archive without one.
 */
[[nodiscard]] ByteView zipDirectory(ByteView archive);

}  // namespace Vorda::Gige
