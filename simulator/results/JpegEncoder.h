// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrosim {

/**
 * The scene's picture as a grey JPEG file of at most mostJpegBytes(). A noisy picture at a high
 * quality would be larger: it gets the highest quality below it that fits, in steps of ten.
 * Throws std::runtime_error.
 *
 * @param quality  1 to 100.
 */
[[nodiscard]] std::vector<std::uint8_t> encodeJpeg(const Scene& scene, std::uint32_t quality);

/** The most that encodeJpeg() makes of so many pixels. */
[[nodiscard]] std::size_t mostJpegBytes(std::size_t pixels);

}  // namespace kestrosim
