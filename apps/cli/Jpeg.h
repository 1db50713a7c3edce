// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Raster.h"

#include <cstdint>
#include <optional>
#include <span>

namespace kestrocli {

/** The picture that a JPEG file holds; empty when it cannot be decoded, or is larger than sense. */
[[nodiscard]] std::optional<Raster> decodeJpeg(std::span<const std::uint8_t> file);

}  // namespace kestrocli
