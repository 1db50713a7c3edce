// SPDX-License-Identifier: Apache-2.0
#include "IntervalHistogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kestrocli {
namespace {

constexpr unsigned kClassBits = 7;
constexpr std::uint64_t kClassesPerOctave = 1U << kClassBits;
// Values below the first octave are classes of their own; it is the eighth bit that begins one.
constexpr std::size_t kClasses = (63 - kClassBits + 1) * kClassesPerOctave;

/** By how many bits the values of a class differ from the class's number in its octave. */
unsigned shiftOf(std::uint64_t value) {
    const auto bits = static_cast<unsigned>(std::bit_width(value));
    return bits > kClassBits ? bits - 1 - kClassBits : 0;
}

std::size_t classOf(std::uint64_t value) {
    const unsigned shift = shiftOf(value);
    return shift * kClassesPerOctave + (value >> shift);
}

std::uint64_t middleOf(std::size_t number) {
    const std::size_t shift = number < 2 * kClassesPerOctave ? 0 : number / kClassesPerOctave - 1;
    const std::uint64_t first = (number - shift * kClassesPerOctave) << shift;
    return first + (shift == 0 ? 0 : std::uint64_t{1} << (shift - 1));
}

}  // namespace

IntervalHistogram::IntervalHistogram() : classes_(kClasses) {}

void IntervalHistogram::add(std::chrono::nanoseconds interval) {
    const std::int64_t value = std::max<std::int64_t>(interval.count(), 0);
    ++classes_[classOf(static_cast<std::uint64_t>(value))];
    ++count_;
}

std::chrono::nanoseconds IntervalHistogram::percentile(double percent) const {
    const double rank = std::max(1.0, std::ceil(static_cast<double>(count_) * percent / 100));
    double below = 0;
    std::size_t number = 0;
    for (; number + 1 < classes_.size(); ++number) {
        below += static_cast<double>(classes_[number]);
        if (below >= rank) break;
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(middleOf(number)));
}

}  // namespace kestrocli
