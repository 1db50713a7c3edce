// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace kestrosim {

/** The GenICam description of the simulated camera: the text of CameraDescription.xml. */
[[nodiscard]] std::string_view builtInDescription();

/** A description as the camera serves it. */
struct Description {
    std::string fileName;  ///< as the camera names it to its clients
    std::string bytes;
};

/** The file's bytes, whatever they are, or the built-in text when the path is empty. Throws. */
[[nodiscard]] Description loadDescription(const std::string& path);

}  // namespace kestrosim
