// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <cstdio>
#include <cstdlib>

/**
 * What a trial says, one line each, with the seconds of the monotonic clock, which all programs of
 * a machine share: "streaming", "lost", "closing", "closed" and in the end "frames GOOD BAD".
 */
namespace trial {

inline double now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

inline void say(const char* what) {
    std::printf("%s %.4f\n", what, now());
    std::fflush(stdout);
}

[[noreturn]] inline void giveUp(const char* why) {
    std::fprintf(stderr, "%s\n", why);
    std::exit(2);
}

}  // namespace trial
