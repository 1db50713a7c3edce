// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <map>
#include <mutex>

namespace Vorda::Gige {

/**
 * The bytes of each of a camera's events as they last came in, header included.
 *
 * Holds the events that the description knows, so that it does not grow with what a camera sends.
 * Threads: any.
 */
class EventData {
 public:
    void store(std::uint32_t id, ByteView event) {
        Bytes bytes(event.begin(), event.end());
        const std::lock_guard lock(mutex_);
        events_[id].swap(bytes);
    }
    /** Empty before the event's first arrival. */
    [[nodiscard]] Bytes latest(std::uint32_t id) const {
        const std::lock_guard lock(mutex_);
        const auto found = events_.find(id);
        return found == events_.end() ? Bytes{} : found->second;
    }

 private:
    mutable std::mutex mutex_;
    std::map<std::uint32_t, Bytes> events_;  ///< guarded by mutex_
};

}  // namespace Vorda::Gige
