// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ReceiverOptions.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kestro::bench {

/** Two frames that take turns: there are no fewer, for one is with the application. */
class FrameMemory {
 public:
    FrameMemory() : bytes_(static_cast<std::uint8_t*>(std::aligned_alloc(kHugePage, kAll))) {
        if (!bytes_) giveUp("there is no memory for frames");
        ::madvise(bytes_, kAll, MADV_HUGEPAGE);
        std::memset(bytes_, 0, kAll);
    }
    ~FrameMemory() { std::free(bytes_); }
    FrameMemory(const FrameMemory&) = delete;
    FrameMemory& operator=(const FrameMemory&) = delete;

    /** Where the next byte belongs; there is room for `most` of them. */
    [[nodiscard]] std::uint8_t* place(std::size_t most) {
        if (at_ + most > kFrame) at_ = 0;
        return bytes_ + frame_ * kFrame + at_;
    }
    void advance(std::size_t bytes) { at_ += bytes; }
    void next() {
        frame_ = (frame_ + 1) % kFrames;
        at_ = 0;
    }

 private:
    static constexpr std::size_t kHugePage = 2 << 20;
    static constexpr std::size_t kFrame = 3 * kHugePage;  // of five megapixels
    static constexpr std::size_t kFrames = 2;
    static constexpr std::size_t kAll = kFrames * kFrame;

    std::uint8_t* bytes_;
    std::size_t frame_ = 0;
    std::size_t at_ = 0;
};

}  // namespace kestro::bench
