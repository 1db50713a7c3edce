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
#include <utility>

namespace kestrocli {

/** A frame as it came out of the library, or, without one, a change of the connection. */
struct Delivery {
    std::size_t source = 0;  ///< which of the command's cameras
    std::shared_ptr<kestro::Frame> frame;
    std::chrono::system_clock::time_point hostTime;
    std::chrono::steady_clock::time_point arrival;
    bool online = true;  ///< without a frame: whether the camera is there from now on
};

/**
 * Carries what cameras deliver from the library's threads to the main thread, which may be slow to
 * write it.
 *
 * When it is full, put() waits: the library then drops the oldest that wait there, which shows for
 * frames as a gap in the block ids, so that nothing is lost silently. Threads: any.
 */
template <typename Item>
class MailboxOf {
 public:
    explicit MailboxOf(std::size_t capacity) : capacity_(capacity) {}

    void put(Item item) {
        {
            std::unique_lock lock(mutex_);
            space_.wait(lock, [this] { return waiting_.size() < capacity_ || !mayWait_; });
            waiting_.push_back(std::move(item));
        }
        wake_.notify();
    }
    [[nodiscard]] std::optional<Item> take() {
        std::optional<Item> item;
        {
            const std::lock_guard lock(mutex_);
            if (waiting_.empty()) return item;
            item.emplace(std::move(waiting_.front()));
            waiting_.pop_front();
        }
        space_.notify_one();
        return item;
    }
    /** From now on put() waits no more; what is inside stays. */
    void stopWaiting() {
        {
            const std::lock_guard lock(mutex_);
            mayWait_ = false;
        }
        space_.notify_all();
    }

    void reportLost() {
        {
            const std::lock_guard lock(mutex_);
            lost_ = true;
        }
        wake_.notify();
    }
    [[nodiscard]] bool lost() const {
        const std::lock_guard lock(mutex_);
        return lost_;
    }

    [[nodiscard]] const Wake& wake() const { return wake_; }

 private:
    const std::size_t capacity_;
    Wake wake_;
    mutable std::mutex mutex_;
    std::condition_variable space_;
    std::deque<Item> waiting_;  // guarded by mutex_
    bool mayWait_ = true;       // guarded by mutex_
    bool lost_ = false;         // guarded by mutex_
};

using Mailbox = MailboxOf<Delivery>;

}  // namespace kestrocli
