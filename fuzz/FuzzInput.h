// SPDX-License-Identifier: Apache-2.0
//
// What the targets share: how they say that something does not hold, and how they take the fuzzer's
// bytes as choices.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

/** Ends the process, so that the fuzzer keeps the input, unless the condition holds. */
#define KESTRO_EXPECT(condition)                                                                \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)

namespace kestro::fuzz {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/** The fuzzer's bytes, taken from the front. Where they are used up, every choice is the first. */
class Choices {
 public:
    Choices(const std::uint8_t* data, std::size_t size) : bytes_(data, size) {}

    [[nodiscard]] bool isEmpty() const { return bytes_.empty(); }
    [[nodiscard]] std::uint8_t byte() { return static_cast<std::uint8_t>(number(1)); }
    [[nodiscard]] bool flag() { return (byte() & 1) != 0; }
    /** Of `count` bytes, little endian. */
    [[nodiscard]] std::uint64_t number(std::size_t count) {
        std::uint64_t value = 0;
        const ByteView taken = bytes(count);
        for (std::size_t i = taken.size(); i-- > 0;) value = value << 8 | taken[i];
        return value;
    }
    /** A number below `count`, which is at most 256. */
    [[nodiscard]] std::size_t below(std::size_t count) { return byte() % count; }
    template <typename List>
    [[nodiscard]] const auto& oneOf(const List& list) {
        return std::begin(list)[below(std::size(list))];
    }
    /** `count` bytes, or as many as are left. */
    [[nodiscard]] ByteView bytes(std::size_t count) {
        const ByteView taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }
    [[nodiscard]] ByteView rest() { return bytes(bytes_.size()); }
    /** Up to 255 bytes. */
    [[nodiscard]] std::string text() {
        const ByteView taken = bytes(byte());
        return {taken.begin(), taken.end()};
    }

 private:
    ByteView bytes_;
};

/** A copy that ends where its bytes end, so that the sanitizer sees a read beyond them. */
inline Bytes exactly(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace kestro::fuzz

/** One input; the fuzzer, and RunCorpus.cpp, call it. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
