// SPDX-License-Identifier: Apache-2.0
#include "ImageStamp.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kestrosim {
namespace {

constexpr std::uint32_t kPolynomial = 0x82f63b78;  // with its bits in reverse
constexpr std::size_t kSlices = 8;
constexpr std::string_view kMagic = "KSTP";

using Table = std::array<std::uint32_t, 256>;
using Tables = std::array<Table, kSlices>;

// Table i: what a byte does to the sum when i bytes follow it.
constexpr Tables makeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? kPolynomial : 0);
        tables[0][byte] = sum;
    }
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = before >> 8 ^ tables[0][before & 0xff];
        }
    }
    return tables;
}

constexpr Tables kTables = makeTables();

std::uint32_t load(const std::uint8_t* from) {
    return from[0] | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 |
           std::uint32_t{from[3]} << 24;
}

/** What four bytes do to the sum when `slice` bytes follow the first of them. */
std::uint32_t afterWord(std::size_t slice, std::uint32_t word) {
    return kTables[slice][word & 0xff] ^ kTables[slice - 1][word >> 8 & 0xff] ^
           kTables[slice - 2][word >> 16 & 0xff] ^ kTables[slice - 3][word >> 24];
}

template <typename Unsigned>
void store(std::uint8_t* to, Unsigned value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        to[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

}  // namespace

std::uint32_t crc32c(std::span<const std::uint8_t> bytes) {
    std::uint32_t sum = 0xffffffff;
    for (; bytes.size() >= kSlices; bytes = bytes.subspan(kSlices)) {
        sum = afterWord(7, sum ^ load(bytes.data())) ^ afterWord(3, load(bytes.data() + 4));
    }
    for (const std::uint8_t byte : bytes) sum = sum >> 8 ^ kTables[0][(sum ^ byte) & 0xff];
    return ~sum;
}

bool stampImage(std::span<std::uint8_t> image, std::uint64_t blockId) {
    if (image.size() < kStampBytes) return false;
    std::uint8_t* const stamp = image.data() + image.size() - kStampBytes;
    store(stamp, blockId);
    std::copy(kMagic.begin(), kMagic.end(), stamp + 8);
    store(stamp + 12, crc32c(image.first(image.size() - 4)));
    return true;
}

}  // namespace kestrosim
