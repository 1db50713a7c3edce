// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Raster.h"

#include <kestro/Frame.h>

#include <optional>
#include <string>

namespace kestrocli {

/** A frame's picture in RGB, or why there is none. */
struct DecodedPicture {
    std::optional<Raster> raster;
    std::string problem;  ///< without a picture: "a frame without a picture", "BayerRG8"
};

/** Takes Mono8, Mono16 (of which the high bytes), RGB8, BGR8 and JPEG. */
[[nodiscard]] DecodedPicture decodePicture(const kestro::Frame& frame);

}  // namespace kestrocli
