// SPDX-License-Identifier: Apache-2.0
#include "ImageBufferPool.h"

#include "VordaInfra.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace kestro {

namespace {

// The smallest capacity of at least `size` out of eight between a power of two and the next.
std::size_t capacityFor(std::size_t size) {
    static constexpr std::size_t kSmallest = 4096;
    if (size <= kSmallest) return kSmallest;
    const std::size_t step = std::bit_floor(size - 1) / 8;
    return (size + step - 1) / step * step;
}

}  // namespace

ImageBufferPool& ImageBufferPool::instance() {
    static ImageBufferPool* const pool = new ImageBufferPool;
    return *pool;
}

ImageBufferPool::ImageBufferPool() { free_.reserve(kMostFree + 1); }

ImageBufferPool::~ImageBufferPool() = default;

std::uint8_t* ImageBufferPool::take(std::size_t size) {
    const std::size_t capacity = capacityFor(size);
    const std::lock_guard lock(mutex_);
    Buffer buffer = takeFree(capacity);
    if (!buffer.bytes) {
        buffer = {std::make_unique_for_overwrite<std::uint8_t[]>(capacity), capacity};
    }
    std::uint8_t* const bytes = buffer.bytes.get();
    inUse_.emplace(bytes, std::move(buffer));
    return bytes;
}

void ImageBufferPool::giveBack(std::uint8_t* buffer) noexcept {
    if (Vorda::Infra::isForkedChild()) return;
    Buffer oldest;  // freed after the lock is gone
    const std::lock_guard lock(mutex_);
    const auto found = inUse_.find(buffer);
    if (found == inUse_.end()) return;
    free_.push_back(std::move(found->second));
    inUse_.erase(found);
    if (free_.size() <= kMostFree) return;
    oldest = std::move(free_.front());
    free_.erase(free_.begin());
}

ImageBufferPool::Buffer ImageBufferPool::takeFree(std::size_t capacity) {
    const auto found = std::find_if(free_.rbegin(), free_.rend(), [&](const Buffer& buffer) {
        return buffer.capacity == capacity;
    });
    if (found == free_.rend()) return {};
    Buffer buffer = std::move(*found);
    free_.erase(std::prev(found.base()));
    return buffer;
}

std::size_t ImageBufferPool::freeCount() const {
    const std::lock_guard lock(mutex_);
    return free_.size();
}

std::size_t ImageBufferPool::inUseCount() const {
    const std::lock_guard lock(mutex_);
    return inUse_.size();
}

}  // namespace kestro
