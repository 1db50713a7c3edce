// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace kestrosim {

/** What the files in description/ say, as one text. */
[[nodiscard]] std::string writtenDescription();

/** A description as the camera serves it. */
struct Description {
    std::string fileName;  ///< as the camera names it to its clients
    std::string bytes;
};

/**
 * The file's bytes, whatever they are. With an empty path writtenDescription() and, of the
 * chunks, chunkDescription(), packed. Throws.
 */
[[nodiscard]] Description loadDescription(const std::string& path);

}  // namespace kestrosim
