// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kestrosim {

inline constexpr std::size_t kStampBytes = 16;

/** CRC-32C (Castagnoli). */
[[nodiscard]] std::uint32_t crc32c(std::span<const std::uint8_t> bytes);

/**
 * Writes the stamp over the image's last kStampBytes, little endian: 0 the block id (8 bytes),
 * 8 "KSTP", 12 the CRC-32C of all the image's bytes before it, block id and letters included.
 * False when the image is too small.
 */
bool stampImage(std::span<std::uint8_t> image, std::uint64_t blockId);

}  // namespace kestrosim
