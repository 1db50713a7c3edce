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

/** Reads a camera's GenICam description, and knows it again. Threads: one at a time. */
class DescriptionDownload {
 public:
    /**
     * The description, unpacked and checked: the same object as before when the camera holds the
     * same bytes. Empty, with the last error, when it does not hold one that can be used.
     */
    [[nodiscard]] std::shared_ptr<const CheckedDescription> run(RegisterPort& camera);

 private:
    [[nodiscard]] std::shared_ptr<const CheckedDescription> runAt(
        RegisterPort& camera, const DescriptionLocation& location);

    Bytes file_;  ///< as the camera holds it, packed or not
    std::shared_ptr<const CheckedDescription> description_;  ///< made of that
};

}  // namespace Vorda::Gige
