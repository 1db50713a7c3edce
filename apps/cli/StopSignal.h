// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace kestrocli {

class Wake;

/**
 * Turns SIGINT and SIGTERM into a request that wakes the main loop; a second one kills as usual.
 *
 * One at a time; made and destroyed by the main thread.
 */
class StopSignal {
 public:
    explicit StopSignal(const Wake& wake);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /** True once a signal came, until the next StopSignal is made. */
    [[nodiscard]] static bool requested() noexcept;
};

}  // namespace kestrocli
