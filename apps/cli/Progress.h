// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StatusLine.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace kestrocli {

/** Where a reading is to end; 0: nowhere. */
struct Goal {
    std::uint64_t frames = 0;
    double seconds = 0;
};

/** What a reading has got so far. */
struct Counts {
    std::uint64_t frames = 0;
    std::uint64_t codes = 0;
    std::uint64_t missed = 0;
    std::uint64_t reconnects = 0;
};

/** How a terminal wants to be written to. */
struct TerminalStyle {
    bool hasColours = false;
    bool hasUtf8 = false;
};

struct ProgressNow {
    Goal goal;
    Counts counts;
    double seconds = 0;               ///< since the start
    std::optional<double> perSecond;  ///< frames; empty before that is known
    bool isAway = false;              ///< the camera is
};

/**
 * One line about a reading, "  12 of 40 frames  [####......]  0:01  9.9 frames/s  ...", of at most
 * that many characters: the bar gets what is left, and what matters least is left out first.
 */
[[nodiscard]] std::string progressLine(const ProgressNow& now, std::size_t columns,
                                       TerminalStyle style);

/** Shows on the terminal how far a reading is, if there is one. */
class Progress {
 public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Progress(Goal goal);

    /** Shows the counts, but a few times a second only. */
    void update(const Counts& counts);
    /** While the camera is away, that is on the line. */
    void setAway(bool isAway) { isAway_ = isAway; }
    /** Keeps the time on the line running; when it wants to be called again. */
    Time update();

 private:
    void draw(Time now);
    [[nodiscard]] std::optional<double> framesPerSecond(Time now);

    struct Sample {
        Time time;
        std::uint64_t frames = 0;
    };

    Goal goal_;
    TerminalStyle style_;
    StatusLine line_;
    Counts counts_;
    bool isAway_ = false;
    Time start_;
    Time nextDraw_;
    std::deque<Sample> samples_;  // of the last seconds
};

}  // namespace kestrocli
