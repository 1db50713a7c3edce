// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"
#include "DescriptionCheck.h"
#include "RegisterPort.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Vorda::Gige {

/** The most that a description may take, packed or not. */
inline constexpr std::size_t kLongestDescriptionBytes = 64u << 20;

/** Where in the camera's memory its GenICam description lies. */
struct DescriptionLocation {
    std::string url;  ///< as the camera has it
    std::string fileName;
    std::uint32_t address = 0;
    std::uint32_t sizeBytes = 0;
};

/**
 * Reads a URL such as "Local:camera.zip;10000;3e68" (address and size are hexadecimal). Empty, with
 * `reason` set, for any other kind of URL, and for a size of 0 or beyond the limit.
 */
[[nodiscard]] std::optional<DescriptionLocation> parseDescriptionUrl(std::string_view url,
                                                                     std::string& reason);

/** Asks a camera; empty, with the last error, when it does not have one that can be read. */
[[nodiscard]] std::optional<DescriptionLocation> locateDescription(RegisterPort& camera);

/** A camera's GenICam description as it came, and what it was made into. */
struct DescriptionFile {
    Bytes bytes;  ///< as the camera holds them, packed or not
    /** So many at their end tell these bytes from others; 0: no less than all of them do. */
    std::size_t nameplateBytes = 0;
    std::shared_ptr<const CheckedDescription> description;
};

/**
 * The description at `location`, unpacked and checked: `known`, which may be empty, when the camera
 * holds the same. Of an archive that is known only the end is read, where it has a right check sum.
 * Empty, with the last error, when the camera does not hold one that can be used.
 */
[[nodiscard]] std::shared_ptr<const DescriptionFile> readDescription(
    RegisterPort& camera, const DescriptionLocation& location,
    const std::shared_ptr<const DescriptionFile>& known);

}  // namespace Vorda::Gige
