// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <optional>
#include <string>

namespace Vorda::Gige {

/** True for bytes that begin as a zip archive does. */
[[nodiscard]] bool looksZipped(ByteView bytes);

struct UnzippedFile {
    std::string text;
    bool isSumRight = false;  ///< the archive has the text's own check sum
};

/**
 * The first file of a zip archive, stored or deflated.
 *
 * Every offset and length of the archive is checked. Empty, with `reason` set, for an archive that
 * is damaged, encrypted or packed otherwise, or whose file is larger than `limitBytes`; a wrong
 * check sum is only told, for the text may be good all the same.
 */
[[nodiscard]] std::optional<UnzippedFile> unzipFirstFile(ByteView archive, std::size_t limitBytes,
                                                         std::string& reason);

/**
 * The end of an archive from its directory on. It tells the archive from others: the directory has
 * the size and the check sum of what is in a file, if that is right. Empty for an archive without
 * a directory.
 */
[[nodiscard]] ByteView zipDirectory(ByteView archive);

}  // namespace Vorda::Gige
