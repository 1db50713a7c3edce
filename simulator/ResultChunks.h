// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChunkLayout.h"
#include "Scene.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrosim {

/**
 * The scene as GenICam chunks: the picture, then the chosen ones of the result chunks, each with
 * its trailer behind it. ChunkLayout.h says where the fields lie.
 *
 * @param timestamp  the trigger's time in ticks of the camera's clock.
 */
[[nodiscard]] std::vector<std::uint8_t> encodeChunks(const Scene& scene, std::uint64_t timestamp,
                                                     const chunk::Choice& chosen);

/** The most that encodeChunks() makes of a picture of so many bytes. */
[[nodiscard]] std::size_t mostChunkBytes(std::size_t pictureBytes, const chunk::Choice& chosen);

}  // namespace kestrosim
