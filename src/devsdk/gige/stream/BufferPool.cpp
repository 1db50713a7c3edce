// SPDX-License-Identifier: Apache-2.0
#include "BufferPool.h"

#include "LastError.h"
#include "ReceivedFrame.h"

#include <unistd.h>

#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace Vorda::Gige {

namespace {

constexpr std::size_t kPageBytes = 4096;

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

BufferPool::BufferPool(std::size_t count, std::size_t capacity)
    : capacity_(capacity), buffers_(count) {
    const std::size_t bytes = (capacity / kPageBytes + 1) * kPageBytes;
    free_.reserve(count);
    memory_.reserve(count);
    for (FrameBuffer& buffer : buffers_) {
        memory_.emplace_back(static_cast<std::uint8_t*>(std::aligned_alloc(kPageBytes, bytes)));
        if (!memory_.back()) throw std::bad_alloc();
        std::memset(memory_.back().get(), 0, bytes);
        buffer.data = memory_.back().get();
        buffer.capacity = capacity;
        free_.push_back(&buffer);
    }
}

std::size_t BufferPool::freeCount() const {
    const std::lock_guard lock(mutex_);
    return free_.size();
}

FrameBuffer* BufferPool::take() {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) return nullptr;
    FrameBuffer* buffer = free_.back();
    free_.pop_back();
    return buffer;
}

void BufferPool::giveBack(FrameBuffer& buffer) {
    const std::lock_guard lock(mutex_);
    free_.push_back(&buffer);
}

std::shared_ptr<const GenICam::CFrame::Impl> BufferPool::makeFrame(FrameBuffer& buffer,
                                                                   const FrameInfo& info) {
    using Impl = GenICam::CFrame::Impl;
    return std::allocate_shared<Impl>(RecordAllocator<Impl>(shared_from_this(), buffer),
                                      buffer.data, info);
}

}  // namespace Vorda::Gige
