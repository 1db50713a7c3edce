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

/** Room for one frame. */
struct FrameBuffer {
    std::uint8_t* data = nullptr;  ///< null unless taken, and once it was given away
    std::size_t capacity = 0;
    /** The frame's description and its reference count live here, so that a frame costs no malloc.
     */
    static constexpr std::size_t kRecordBytes = 1024;
    alignas(std::max_align_t) std::byte record[kRecordBytes];
};

/**
 * A fixed number of frame buffers. Each gets its memory when it is taken, and of what is free the
 * memory that came back last: it is still in the caches, and while frames are used as fast as they
 * come, two memories take turns however many there are. Lives as long as any frame made of it.
 * Threads: any.
 *
 * The bytes of a frame can be given away for good: other memory is there instead, so that there
 * are always as many buffers as at first. Bytes that were given away do not keep the pool; while
 * it lives their memory comes back to it, to be taken again.
 */
class BufferPool : public std::enable_shared_from_this<BufferPool> {
 public:
    /** How many frames' bytes may be given away at a time. */
    static constexpr std::size_t kMostGiven = 4;

    /**
     * Allocates and touches every buffer, so that no frame pays for fresh pages.
     * Null, with the last error set, when the memory is not to be had.
     */
    [[nodiscard]] static std::shared_ptr<BufferPool> create(std::size_t count,
                                                            std::size_t capacity);
    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;

    [[nodiscard]] std::size_t count() const { return buffers_.size(); }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }
    [[nodiscard]] std::size_t freeCount() const;

    /** Null when all are in use. */
    [[nodiscard]] FrameBuffer* take();
    void giveBack(FrameBuffer& buffer);

    /** A frame over a taken buffer, which comes back when the last reference goes. */
    [[nodiscard]] std::shared_ptr<const GenICam::CFrame::Impl> makeFrame(FrameBuffer& buffer,
                                                                         const FrameInfo& info);

    /**
     * Gives the bytes of a taken buffer away: nobody writes to them until what is returned goes.
     * Null, and nothing has changed, when there is no memory to take their place: kMostGiven are
     * given away already, or the machine has none.
     */
    [[nodiscard]] std::shared_ptr<const void> giveAway(FrameBuffer& buffer);

 private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    using FrameMemory = std::unique_ptr<std::uint8_t, Free>;
    class Given;

    BufferPool(std::size_t count, std::size_t capacity);

    [[nodiscard]] FrameMemory makeMemory() const;
    [[nodiscard]] FrameMemory& memoryOf(const FrameBuffer& buffer);
    [[nodiscard]] bool makeUpForOne();
    void takeBack(FrameMemory memory);

    const std::size_t capacity_;
    const std::size_t mostMade_;
    std::vector<FrameBuffer> buffers_;
    /** Of the buffers, in their order; each belongs to whoever has taken the buffer. */
    std::vector<FrameMemory> memory_;
    mutable std::mutex mutex_;        ///< guards these
    std::vector<FrameBuffer*> free_;  ///< last in, first out
    /** Last in, first out, as well; there are at least as many as free buffers. */
    std::vector<FrameMemory> freeMemory_;
    std::size_t made_ = 0;   ///< memories beyond one for each buffer, with those being made
    std::size_t given_ = 0;  ///< given away, or about to be; never more than made_
};

}  // namespace Vorda::Gige
