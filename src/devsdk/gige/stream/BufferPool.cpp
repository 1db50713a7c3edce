// SPDX-License-Identifier: Apache-2.0
#include "BufferPool.h"

#include "LastError.h"
#include "ReceivedFrame.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace Vorda::Gige {

namespace {

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kHugePageBytes = std::size_t{2} << 20;

/** Half of the machine's memory: beyond it, touching the buffers would end in the OOM killer. */
std::size_t largestPoolBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageBytes <= 0) return std::size_t{1} << 30;
    return static_cast<std::size_t>(pages) / 2 * static_cast<std::size_t>(pageBytes);
}

/** Puts one object into the record of a buffer, and the buffer back into its pool after it. */
template <typename T>
class RecordAllocator {
 public:
    using value_type = T;

    RecordAllocator(std::shared_ptr<BufferPool> pool, FrameBuffer& buffer)
        : pool_(std::move(pool)), buffer_(&buffer) {}
    template <typename U>
    RecordAllocator(const RecordAllocator<U>& other)  // NOLINT(google-explicit-constructor)
        : pool_(other.pool_), buffer_(other.buffer_) {}

    T* allocate(std::size_t count) {
        static_assert(sizeof(T) <= FrameBuffer::kRecordBytes);
        static_assert(alignof(T) <= alignof(std::max_align_t));
        if (count != 1) throw std::bad_alloc();
        return reinterpret_cast<T*>(buffer_->record);
    }
    void deallocate(T*, std::size_t) noexcept { pool_->giveBack(*buffer_); }

    template <typename U>
    bool operator==(const RecordAllocator<U>& other) const {
        return buffer_ == other.buffer_;
    }

 private:
    template <typename U>
    friend class RecordAllocator;

    std::shared_ptr<BufferPool> pool_;
    FrameBuffer* buffer_;
};

}  // namespace

std::shared_ptr<BufferPool> BufferPool::create(std::size_t count, std::size_t capacity) {
    const std::string size = std::to_string(count) + " buffers of " + std::to_string(capacity) +
                             " bytes are more than this machine can spare";
    if (capacity > largestPoolBytes() / count) {
        setLastError(Error::system, size);
        return nullptr;
    }
    try {
        return std::shared_ptr<BufferPool>(new BufferPool(count, capacity));
    } catch (const std::bad_alloc&) {
        setLastError(Error::system, size);
        return nullptr;
    }
}

/** Memory that was given away; its end brings it back, if the pool is still there. */
class BufferPool::Given {
 public:
    explicit Given(std::weak_ptr<BufferPool> pool) : pool_(std::move(pool)) {}
    Given(const Given&) = delete;
    Given& operator=(const Given&) = delete;
    ~Given() {
        if (!memory_) return;
        if (Infra::isForkedChild()) {  // where another thread may hold the pool's lock for ever
            static_cast<void>(memory_.release());
        } else if (const auto pool = pool_.lock()) {
            pool->takeBack(std::move(memory_));
        }
    }

    [[nodiscard]] const std::uint8_t* take(FrameMemory memory) noexcept {
        memory_ = std::move(memory);
        return memory_.get();
    }

 private:
    const std::weak_ptr<BufferPool> pool_;
    FrameMemory memory_;
};

BufferPool::BufferPool(std::size_t count, std::size_t capacity)
    : capacity_(capacity),
      mostMade_(std::min(kMostGiven, largestPoolBytes() / capacity - count)),
      buffers_(count),
      memory_(count) {
    free_.reserve(count);
    freeMemory_.reserve(count + mostMade_);
    for (FrameBuffer& buffer : buffers_) {
        freeMemory_.push_back(makeMemory());
        if (!freeMemory_.back()) throw std::bad_alloc();
        buffer.capacity = capacity;
        free_.push_back(&buffer);
    }
}

/**
 * Null when there is none. What of a large buffer fills huge pages is put into such, where the
 * system has them: a frame is written to without a fresh look at the page tables every 4 KB.
 */
BufferPool::FrameMemory BufferPool::makeMemory() const {
    const std::size_t bytes = (capacity_ / kPageBytes + 1) * kPageBytes;
    const bool isLarge = bytes >= kHugePageBytes;
    void* memory = nullptr;
    if (::posix_memalign(&memory, isLarge ? kHugePageBytes : kPageBytes, bytes) != 0)
        return nullptr;
    if (isLarge) ::madvise(memory, bytes, MADV_HUGEPAGE);
    std::memset(memory, 0, bytes);
    return FrameMemory(static_cast<std::uint8_t*>(memory));
}

std::size_t BufferPool::freeCount() const {
    const std::lock_guard lock(mutex_);
    return free_.size();
}

BufferPool::FrameMemory& BufferPool::memoryOf(const FrameBuffer& buffer) {
    return memory_[static_cast<std::size_t>(&buffer - buffers_.data())];
}

FrameBuffer* BufferPool::take() {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) return nullptr;
    FrameBuffer* const buffer = free_.back();
    free_.pop_back();
    FrameMemory& memory = memoryOf(*buffer);
    memory = std::move(freeMemory_.back());
    freeMemory_.pop_back();
    buffer->data = memory.get();
    return buffer;
}

void BufferPool::giveBack(FrameBuffer& buffer) {
    const std::lock_guard lock(mutex_);
    buffer.data = nullptr;
    if (FrameMemory& memory = memoryOf(buffer)) freeMemory_.push_back(std::move(memory));
    free_.push_back(&buffer);
}

std::shared_ptr<const GenICam::CFrame::Impl> BufferPool::makeFrame(FrameBuffer& buffer,
                                                                   const FrameInfo& info) {
    using Impl = GenICam::CFrame::Impl;
    return std::allocate_shared<Impl>(RecordAllocator<Impl>(shared_from_this(), buffer), *this,
                                      buffer, info);
}

std::shared_ptr<const void> BufferPool::giveAway(FrameBuffer& buffer) {
    try {
        // All that can fail comes first: the bytes must not get lost.
        const auto given = std::make_shared<Given>(weak_from_this());
        if (!makeUpForOne()) return nullptr;
        buffer.data = nullptr;
        return {given, given->take(std::move(memoryOf(buffer)))};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/**
 * Sees to it that a memory can go and each buffer still finds one; counts it as given. What is
 * missing is made here, on the thread of whoever gives a frame away: the receiver has no time.
 */
bool BufferPool::makeUpForOne() {
    {
        const std::lock_guard lock(mutex_);
        if (given_ == mostMade_) return false;
        if (++given_ <= made_) return true;
        ++made_;
    }
    FrameMemory made = makeMemory();
    const std::lock_guard lock(mutex_);
    if (made) {
        freeMemory_.push_back(std::move(made));
        return true;
    }
    --given_;
    --made_;
    return false;
}

void BufferPool::takeBack(FrameMemory memory) {
    const std::lock_guard lock(mutex_);
    --given_;
    freeMemory_.push_back(std::move(memory));  // there is room for all
}

}  // namespace Vorda::Gige
