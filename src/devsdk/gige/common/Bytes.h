// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace Vorda::Gige {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/** The number that the bytes, of which there are enough, begin with. */
[[nodiscard]] inline std::uint32_t bigEndian32(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}

[[nodiscard]] inline std::uint64_t bigEndian64(const std::uint8_t* bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}

/** Reads big-endian numbers from foreign bytes; a read past the end gives 0 and clears ok(). */
class BigEndianReader {
 public:
    explicit BigEndianReader(ByteView bytes) : bytes_(bytes) {}

    [[nodiscard]] bool ok() const { return ok_; }
    [[nodiscard]] std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    [[nodiscard]] std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    [[nodiscard]] std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    [[nodiscard]] std::uint64_t u64() { return number(8); }
    void seek(std::size_t offset) { offset_ = offset; }
    /** The next `count` bytes; empty when they are not all there. */
    [[nodiscard]] ByteView take(std::size_t count) {
        if (offset_ > bytes_.size() || count > bytes_.size() - offset_) {
            ok_ = false;
            return {};
        }
        const ByteView taken = bytes_.subspan(offset_, count);
        offset_ += count;
        return taken;
    }
    /** A text field of `count` bytes: up to its first NUL, which need not be there. */
    [[nodiscard]] std::string text(std::size_t count) {
        std::string text;
        for (const std::uint8_t byte : take(count)) {
            if (byte == 0) break;
            text.push_back(static_cast<char>(byte));
        }
        return text;
    }

 private:
    std::uint64_t number(std::size_t count) {
        std::uint64_t value = 0;
        for (const std::uint8_t byte : take(count)) value = value << 8 | byte;
        return value;
    }

    ByteView bytes_;
    std::size_t offset_ = 0;
    bool ok_ = true;
};

inline void appendU16(Bytes& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

inline void appendU32(Bytes& bytes, std::uint32_t value) {
    appendU16(bytes, static_cast<std::uint16_t>(value >> 16));
    appendU16(bytes, static_cast<std::uint16_t>(value));
}

inline void appendU64(Bytes& bytes, std::uint64_t value) {
    appendU32(bytes, static_cast<std::uint32_t>(value >> 32));
    appendU32(bytes, static_cast<std::uint32_t>(value));
}

}  // namespace Vorda::Gige
