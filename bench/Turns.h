// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace kestro::bench {

/** How long each round of one side took. */
class Times {
 public:
    template <typename Work>
    void take(const Work& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        rounds_.push_back(std::chrono::steady_clock::now() - start);
    }
    [[nodiscard]] double microseconds(std::size_t round) const {
        return std::chrono::duration<double, std::micro>(rounds_[round]).count();
    }
    [[nodiscard]] std::size_t count() const { return rounds_.size(); }

 private:
    std::vector<std::chrono::steady_clock::duration> rounds_;
};

inline double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

inline double medianOf(const Times& times) {
    std::vector<double> values(times.count());
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = times.microseconds(i);
    return medianOf(std::move(values));
}

/** Two pieces of work, each of which takes its own time. */
struct Sides {
    Times first;
    Times second;
};

/**
 * Lets both sides take their turns in one run, so that what disturbs the machine disturbs both; who
 * goes first changes from turn to turn, because the second one finds a warmer cache.
 *
 * @param rounds  of a side in one turn: more than one keeps what the other side leaves behind, in
 *                the caches and on the heap, away from the median.
 */
template <typename First, typename Second>
Sides takeTurns(benchmark::State& state, const First& first, const Second& second, int rounds = 1) {
    Sides sides;
    bool isSecondsTurn = false;
    const auto takeSecond = [&] {
        for (int i = 0; i < rounds; ++i) second(sides.second);
    };
    for (auto _ : state) {
        if (isSecondsTurn) takeSecond();
        for (int i = 0; i < rounds; ++i) first(sides.first);
        if (!isSecondsTurn) takeSecond();
        isSecondsTurn = !isSecondsTurn;
    }
    return sides;
}

/** Ends the program, because an error of one run does not show in the lines of several. */
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/** Tells the medians of both, and how many times the second one's the first one's is. */
inline void report(benchmark::State& state, const Sides& sides, const std::string& first,
                   const std::string& second) {
    state.counters[first + "_us"] = medianOf(sides.first);
    state.counters[second + "_us"] = medianOf(sides.second);
    state.counters["ratio"] = medianOf(sides.first) / medianOf(sides.second);
}

/** Of several repetitions their median and how far they lie apart. */
inline void repeat(benchmark::internal::Benchmark* benchmark) {
    constexpr int kRepetitions = 9;
    benchmark->Repetitions(kRepetitions)->DisplayAggregatesOnly()->Unit(benchmark::kMicrosecond);
    benchmark->ComputeStatistics("min", [](const std::vector<double>& values) {
        return *std::min_element(values.begin(), values.end());
    });
    benchmark->ComputeStatistics("max", [](const std::vector<double>& values) {
        return *std::max_element(values.begin(), values.end());
    });
}

}  // namespace kestro::bench
