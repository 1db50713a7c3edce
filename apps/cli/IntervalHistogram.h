// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrocli {

/**
 * Counts intervals of any length in 58 kB, however many there are.
 *
 * Each power of two of nanoseconds has 128 classes; a percentile is the middle of its class, which
 * is within 0.4 % of the value that a sorted list of all intervals would give.
 */
class IntervalHistogram {
 public:
    IntervalHistogram();

    /** One below zero counts as zero. */
    void add(std::chrono::nanoseconds interval);
    [[nodiscard]] std::uint64_t count() const { return count_; }
    /** The least interval that no fewer than `percent` of all do not exceed; needs one at least. */
    [[nodiscard]] std::chrono::nanoseconds percentile(double percent) const;

 private:
    std::vector<std::uint64_t> classes_;
    std::uint64_t count_ = 0;
};

}  // namespace kestrocli
