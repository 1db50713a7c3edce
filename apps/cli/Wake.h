// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace kestrocli {

/** Something that one thread waits for and others, signal handlers among them, set off. */
class Wake {
 public:
    Wake();
    ~Wake();
    Wake(const Wake&) = delete;
    Wake& operator=(const Wake&) = delete;

    /** Ends the wait that runs, or the next one. Safe in a signal handler. */
    void notify() const noexcept;
    /** Returns after a notification, at the deadline, and now and then for no reason. */
    void waitUntil(std::chrono::steady_clock::time_point deadline) const;

 private:
    int descriptor_;
};

}  // namespace kestrocli
