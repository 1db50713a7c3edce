// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FrameAssembler.h"
#include "VordaGenICam.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

namespace Vorda::Gige {

/** Memory of one frame. */
struct FrameBuffer {
    std::uint8_t* data = nullptr;
    std::size_t capacity = 0;
    /** The frame's description and its reference count live here, so that a frame costs no malloc.
     */
    static constexpr std::size_t kRecordBytes = 1024;
    alignas(std::max_align_t) std::byte record[kRecordBytes];
};

/**
 * A fixed number of frame buffers. The one returned last is the first to be taken again, while its
 * memory is still in the cache. Lives as long as any frame made of it. Threads: any.
 */
class BufferPool : public std::enable_shared_from_this<BufferPool> {
 public:
    /**
     * Allocates and touches every buffer, so that no frame pays for fresh pages.
     * Null, with the last error set, when the memory is not to be had.
     */
    [[nodiscard]] static std::shared_ptr<BufferPool> create(std::size_t count,
                                                            std::size_t capacity);

    [[nodiscard]] std::size_t count() const { return buffers_.size(); }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }
    [[nodiscard]] std::size_t freeCount() const;

    /** Null when all are in use. */
    [[nodiscard]] FrameBuffer* take();
    void giveBack(FrameBuffer& buffer);

    /** A frame over a taken buffer, which comes back when the last reference goes. */
    [[nodiscard]] std::shared_ptr<const GenICam::CFrame::Impl> makeFrame(FrameBuffer& buffer,
                                                                         const FrameInfo& info);

 private:
    BufferPool(std::size_t count, std::size_t capacity);

    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };

    const std::size_t capacity_;
    std::vector<std::unique_ptr<std::uint8_t, Free>> memory_;
    std::vector<FrameBuffer> buffers_;
    mutable std::mutex mutex_;        ///< guards free_
    std::vector<FrameBuffer*> free_;  ///< last in, first out
};

}  // namespace Vorda::Gige
