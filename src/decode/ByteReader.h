// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace kestro::decode {

/** Little-endian numbers out of foreign bytes; a load that does not lie inside them whole is 0. */
class ByteReader {
 public:
    explicit ByteReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] bool holds(std::uint64_t offset, std::uint64_t size) const {
        return offset <= bytes_.size() && size <= bytes_.size() - offset;
    }
    [[nodiscard]] std::uint32_t u32(std::uint64_t offset) const {
        return static_cast<std::uint32_t>(load(offset, 4));
    }
    [[nodiscard]] std::uint64_t u64(std::uint64_t offset) const { return load(offset, 8); }
    [[nodiscard]] std::int32_t i32(std::uint64_t offset) const {
        return static_cast<std::int32_t>(u32(offset));
    }

 private:
    [[nodiscard]] std::uint64_t load(std::uint64_t offset, unsigned size) const {
        if (!holds(offset, size)) return 0;
        std::uint64_t value = 0;
        for (unsigned i = 0; i < size; ++i) {
            value |= std::uint64_t{bytes_[static_cast<std::size_t>(offset) + i]} << (8 * i);
        }
        return value;
    }

    std::span<const std::uint8_t> bytes_;
};

}  // namespace kestro::decode
