// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Wake.h"

#include <kestro/Frame.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace kestrocli {

/** A frame as it came out of the library. */
struct Delivery {
    std::size_t source = 0;  ///< which of the command's cameras
    std::shared_ptr<kestro::Frame> frame;
    std::chrono::system_clock::time_point hostTime;
    std::chrono::steady_clock::time_point arrival;
};

/**
 * Carries frames from the library's delivery threads to the main thread, which may be slow to
 * write them.
 *
 * When it is full, put() waits: the library then drops its oldest waiting frames, which shows as a
 * gap in the block ids, so that nothing is lost silently. Threads: any.
 */
class Mailbox {
 public:
    explicit Mailbox(std::size_t capacity) : capacity_(capacity) {}

    void put(Delivery delivery);
    [[nodiscard]] std::optional<Delivery> take();
    /** From now on put() waits no more; what is inside stays. */
    void stopWaiting();

    void reportLost();
    [[nodiscard]] bool lost() const;

    [[nodiscard]] const Wake& wake() const { return wake_; }

 private:
    const std::size_t capacity_;
    Wake wake_;
    mutable std::mutex mutex_;
    std::condition_variable space_;
    std::deque<Delivery> waiting_;  // guarded by mutex_
    bool mayWait_ = true;           // guarded by mutex_
    bool lost_ = false;             // guarded by mutex_
};

}  // namespace kestrocli
