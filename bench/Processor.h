// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sched.h>

#include <cstddef>
#include <stdexcept>

namespace kestro::bench {

/** Keeps this thread, and all threads that it starts from now on, on one processor; -1: on any. */
inline void stayOn(int processor) {
    if (processor < 0) return;
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<std::size_t>(processor), &processors);
    if (::sched_setaffinity(0, sizeof processors, &processors) != 0)
        throw std::runtime_error("there is no such processor");
}

}  // namespace kestro::bench
