// SPDX-License-Identifier: Apache-2.0
//
// Checks the stamps that a simulated camera puts into its images (docs/simulator.md). Shares
// nothing with the code that writes them, so that a mistake there is seen here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace kestro::test {

/** CRC-32C, a bit at a time. */
inline std::uint32_t slowCrc32c(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t sum = 0xffffffff;
    for (std::size_t i = 0; i < size; ++i) {
        sum ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? sum >> 1 ^ 0x82f63b78 : sum >> 1;
    }
    return ~sum;
}

#if defined(__x86_64__)
/** CRC-32C by the processor's own instruction, which is there for it. */
__attribute__((target("sse4.2"))) inline std::uint32_t fastCrc32c(const std::uint8_t* bytes,
                                                                  std::size_t size) {
    unsigned long long sum = 0xffffffff;
    for (; size >= 8; bytes += 8, size -= 8) {
        unsigned long long word = 0;
        std::memcpy(&word, bytes, 8);
        sum = __builtin_ia32_crc32di(sum, word);
    }
    auto rest = static_cast<unsigned>(sum);
    for (; size > 0; ++bytes, --size) rest = __builtin_ia32_crc32qi(rest, *bytes);
    return ~rest;
}
#endif

inline std::uint32_t crc32cOf(const std::uint8_t* bytes, std::size_t size) {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("sse4.2") != 0) return fastCrc32c(bytes, size);
#endif
    return slowCrc32c(bytes, size);
}

inline std::uint64_t littleEndianAt(const std::uint8_t* from, unsigned bytes) {
    std::uint64_t value = 0;
    for (unsigned i = bytes; i-- > 0;) value = value << 8 | from[i];
    return value;
}

/**
 * What is wrong with an image's stamp; empty when it is whole and of that block. Ids of 16 bits
 * begin anew at 1 after 65535; `blockId` may have been counted on.
 */
inline std::string stampProblem(const std::uint8_t* image, std::size_t size,
                                std::uint64_t blockId) {
    if (image == nullptr || size < 16) return "no room for a stamp";
    const std::uint8_t* const stamp = image + size - 16;
    if (std::memcmp(stamp + 8, "KSTP", 4) != 0) return "no stamp";
    if (littleEndianAt(stamp + 12, 4) != crc32cOf(image, size - 4)) return "wrong bytes";
    const std::uint64_t stamped = littleEndianAt(stamp, 8);
    if (stamped == blockId || stamped == (blockId - 1) % 65535 + 1) return {};
    return "the image of block " + std::to_string(stamped) + " in block " + std::to_string(blockId);
}

/** Whether the image is, to the last byte, the one that the camera sent as that block. */
[[nodiscard]] inline bool checkStamp(const void* image, std::size_t size, std::uint64_t blockId) {
    return stampProblem(static_cast<const std::uint8_t*>(image), size, blockId).empty();
}

}  // namespace kestro::test
