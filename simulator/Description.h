// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace kestrosim {

/** The text of CameraDescription.xml. */
[[nodiscard]] std::string_view writtenDescription();

/** A description as the camera serves it. */
struct Description {
    std::string fileName;  ///< as the camera names it to its clients
    std::string bytes;
};

/**
 * The file's bytes, whatever they are. With an empty path what CameraDescription.xml says and, of
 * the chunks, chunkDescription(), packed. Throws.
 */
[[nodiscard]] Description loadDescription(const std::string& path);

}  // namespace kestrosim
