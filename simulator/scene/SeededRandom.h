// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>

namespace kestrosim {

/**
 * Random numbers that are the same with every standard library.
 *
 * The standard fixes what the engine yields but not what its distributions make of it.
 */
class SeededRandom {
 public:
    explicit SeededRandom(std::uint64_t seed) : engine_(seed) {}

    [[nodiscard]] std::uint64_t next() { return engine_(); }

    /** A number from 0 to 1, without 1. */
    [[nodiscard]] double share() {
        constexpr double kStep = 1.0 / (std::uint64_t{1} << 53);
        return static_cast<double>(engine_() >> 11) * kStep;
    }

    /** A number from low to high, both included; low <= high. */
    [[nodiscard]] int between(int low, int high) {
        const auto span = static_cast<std::uint64_t>(high - low) + 1;
        return low + static_cast<int>(engine_() % span);
    }

 private:
    std::mt19937_64 engine_;
};

}  // namespace kestrosim
