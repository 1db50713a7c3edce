// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IntervalHistogram.h"

#include <kestro/Frame.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kestrocli {

/**
 * Makes one running number of a stream's block ids.
 *
 * Ids are consecutive, from 1 or from where the camera's last acquisition ended. Those of a stream
 * with 16-bit ids go from 65535 to 1 again; the running number goes on, so that a long recording
 * has no two pictures of one name.
 */
class BlockCounter {
 public:
    /** Takes the next id; the running number. */
    std::uint64_t next(std::uint64_t blockId);
    /** From now on a lower id is that of a stream that begins anew, not of one that wraps. */
    void expectRestart() { mayRestart_ = true; }
    /** The next id is one of a stream that began anew: what is between does not count as missed. */
    void restart() { restarts_ = true; }
    /** Frames that did not arrive since the first, so far. */
    [[nodiscard]] std::uint64_t missed() const { return missed_; }

 private:
    std::uint64_t previousId_ = 0;
    std::uint64_t running_ = 0;
    std::uint64_t missed_ = 0;
    bool mayRestart_ = false;
    bool restarts_ = false;
};

/** Counts for the summary of a reading. */
class Tally {
 public:
    void add(const kestro::Frame& frame, std::chrono::steady_clock::time_point arrival,
             std::uint64_t missed);
    /** The camera was away: the time until its next frame is no interval between frames. */
    void addReconnect();

    [[nodiscard]] std::uint64_t frames() const { return frames_; }
    [[nodiscard]] std::uint64_t codes() const { return codes_; }
    [[nodiscard]] std::uint64_t missed() const { return missed_; }
    [[nodiscard]] std::uint64_t reconnects() const { return reconnects_; }
    /**
     * The share of frames whose reading was complete, in percent; where the camera sends no status,
     * the share with a code. Empty when no frame told anything of a reading.
     */
    [[nodiscard]] std::optional<double> readRate() const;
    /** Frames a second between the first and the last arrival; empty with fewer than two. */
    [[nodiscard]] std::optional<double> framesPerSecond() const;
    [[nodiscard]] std::optional<double> megabytesPerSecond() const;
    /**
     * "40 frames, 10.0 frames/s, 13.1 MB/s, 120 codes, read rate 100.0 %, 0 missed"; and how
     * often the camera was lost and came back, if it was.
     */
    [[nodiscard]] std::string summary() const;
    /**
     * "frame interval: p50 100.0 ms, p95 100.4 ms, p99 102.1 ms", between arrivals.
     *
     * Empty with fewer than 20 intervals; p99 appears from 100 on. With fewer, one single frame
     * would decide what they are.
     */
    [[nodiscard]] std::string intervals() const;

 private:
    std::uint64_t frames_ = 0;
    std::uint64_t bytesAfterFirst_ = 0;
    std::uint64_t codes_ = 0;
    bool toldOfReading_ = false;
    std::uint64_t complete_ = 0;
    std::uint64_t missed_ = 0;
    std::uint64_t reconnects_ = 0;
    bool wasAway_ = false;
    IntervalHistogram intervals_;
    std::chrono::steady_clock::time_point first_;
    std::chrono::steady_clock::time_point last_;
};

}  // namespace kestrocli
