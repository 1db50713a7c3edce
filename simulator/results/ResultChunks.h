// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChunkLayout.h"
#include "Scene.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrosim {

/**
 * The scene as GenICam chunks: the picture, then the chosen ones of the result chunks, each with
 * its trailer behind it. ChunkLayout.h says where the fields lie.
 *
 * @param timestamp  the trigger's time in ticks of the camera's clock.
 * @param jpeg       the picture as a JPEG file; empty: its pixels are sent.
 */
[[nodiscard]] std::vector<std::uint8_t> encodeChunks(const Scene& scene, std::uint64_t timestamp,
                                                     const chunk::Choice& chosen,
                                                     std::span<const std::uint8_t> jpeg = {});

/** The most that encodeChunks() makes of a picture of so many bytes. */
[[nodiscard]] std::size_t mostChunkBytes(std::size_t pictureBytes, const chunk::Choice& chosen);

/**
 * The chosen ones of the result chunks and no picture; nor the chunk that tells a picture's size,
 * so that there may be nothing at all.
 */
[[nodiscard]] std::vector<std::uint8_t> encodeResultChunks(const Scene& scene,
                                                           std::uint64_t timestamp,
                                                           const chunk::Choice& chosen);

/** The most that encodeResultChunks() makes. */
[[nodiscard]] std::size_t mostResultChunkBytes(const chunk::Choice& chosen);

}  // namespace kestrosim
