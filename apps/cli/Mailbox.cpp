// SPDX-License-Identifier: Apache-2.0
#include "Mailbox.h"

#include <utility>

namespace kestrocli {

void Mailbox::put(Delivery delivery) {
    {
        std::unique_lock lock(mutex_);
        space_.wait(lock, [this] { return waiting_.size() < capacity_ || !mayWait_; });
        waiting_.push_back(std::move(delivery));
    }
    wake_.notify();
}

std::optional<Delivery> Mailbox::take() {
    std::optional<Delivery> delivery;
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) return delivery;
        delivery = std::move(waiting_.front());
        waiting_.pop_front();
    }
    space_.notify_one();
    return delivery;
}

void Mailbox::stopWaiting() {
    {
        const std::lock_guard lock(mutex_);
        mayWait_ = false;
    }
    space_.notify_all();
}

void Mailbox::reportLost() {
    {
        const std::lock_guard lock(mutex_);
        lost_ = true;
    }
    wake_.notify();
}

bool Mailbox::lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
}

}  // namespace kestrocli
