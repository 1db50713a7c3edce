// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"

#include <cstdint>
#include <string>
#include <vector>

namespace readerreport {

/** A Mono8 picture of one code. */
struct Crop {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/**
 * The code of these corners turned upright and square, and a tenth of its width and height more on
 * each side. Corners that are off give a picture that is cut off or askew.
 *
 * @param scale  pixels of the crop for each of the scene's.
 */
[[nodiscard]] Crop cropOf(const kestrosim::Scene& scene,
                          const std::array<kestrosim::PixelPoint, 4>& corners, double scale);

/** Writes it as a PGM file; throws when that fails. */
void write(const Crop& crop, const std::string& path);

}  // namespace readerreport
