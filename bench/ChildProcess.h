// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Turns.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace kestro::bench {

/**
 * The so many numbers that a process of its own writes, of this program with these words. Throws
 * when it fails or writes fewer.
 */
inline std::vector<double> numbersFrom(const std::string& program, const std::string& words,
                                       std::size_t count) {
    FILE* const output = ::popen(("'" + program + "' " + words).c_str(), "r");
    require(output != nullptr, "no process can be started");
    std::vector<double> numbers(count);
    std::size_t read = 0;
    while (read < count && std::fscanf(output, "%lf", &numbers[read]) == 1) ++read;
    require(::pclose(output) == 0 && read == count, "a process has failed");
    return numbers;
}

}  // namespace kestro::bench
