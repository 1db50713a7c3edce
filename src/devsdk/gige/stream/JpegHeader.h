// SPDX-License-Identifier: Apache-2.0
//
// What a JPEG file says of its picture. Pure; nothing outside the file is read.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <optional>

namespace Vorda::Gige {

struct JpegHeader {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t components = 0;  ///< 1: grey, 3: colour
    std::uint32_t bits = 0;        ///< of a component
};

/**
 * Reads a file's frame header (baseline, progressive or any other), which stands before the picture
 * itself, behind segments of any number.
 *
 * Empty when there is none, when it does not lie in the file whole, or when it names no size: a
 * file may leave its height to be told behind the picture.
 */
[[nodiscard]] std::optional<JpegHeader> readJpegHeader(ByteView file);

}  // namespace Vorda::Gige
