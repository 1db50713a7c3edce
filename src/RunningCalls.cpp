// SPDX-License-Identifier: Apache-2.0
#include "RunningCalls.h"

#include <algorithm>

namespace kestro {

std::uint64_t RunningCalls::begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    running_.push_back({std::this_thread::get_id(), newest_ + 1});
    return ++newest_;
}

// Notifies under the lock: whoever waits may be the last to hold the camera.
void RunningCalls::end(std::uint64_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(running_, [number](const Running& call) { return call.number == number; });
    ended_.notify_all();
}

void RunningCalls::waitUntilOver() {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto isOurs = [self = std::this_thread::get_id()](const Running& call) {
        return call.thread == self;
    };
    if (std::any_of(running_.begin(), running_.end(), isOurs)) return;
    const auto isOlder = [newest = newest_](const Running& call) { return call.number <= newest; };
    ended_.wait(lock, [&] { return std::none_of(running_.begin(), running_.end(), isOlder); });
}

}  // namespace kestro
