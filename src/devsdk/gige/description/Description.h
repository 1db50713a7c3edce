// SPDX-License-Identifier: Apache-2.0
#pragma once

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

/**
 * The camera's GenICam description, unpacked and checked; empty, with the last error, when the
 * camera does not hold one that can be used.
 */
[[nodiscard]] std::shared_ptr<const CheckedDescription> downloadDescription(RegisterPort& camera);

}  // namespace Vorda::Gige
