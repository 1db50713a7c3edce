// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "MonotonicTime.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kestro::bench {

/** When each of one camera's frames was handed over. One thread records, any reads. */
class HandOvers {
 public:
    struct Entry {
        std::uint64_t blockId;
        std::int64_t time;
    };

    void record(std::uint64_t blockId) {
        const std::size_t at = count_.load(std::memory_order_relaxed);
        if (at == kMost) return;
        entries_[at] = {blockId, monotonicNow()};
        count_.store(at + 1, std::memory_order_release);
    }
    [[nodiscard]] std::size_t count() const { return count_.load(std::memory_order_acquire); }
    [[nodiscard]] const Entry& operator[](std::size_t i) const { return entries_[i]; }

 private:
    static constexpr std::size_t kMost = 1 << 16;
    /** Left as it comes: pages that nothing is recorded in cost no memory. */
    std::unique_ptr<Entry[]> entries_{new Entry[kMost]};
    std::atomic<std::size_t> count_{0};
};

}  // namespace kestro::bench
