// SPDX-License-Identifier: Apache-2.0
#include "FrameImage.h"

#include "ImageBufferPool.h"

#include <cstddef>
#include <cstring>

namespace kestro {

namespace {

/** As the pool's buffers are: an application may rely on it, to load vectors from an image. */
bool isAligned(const std::uint8_t* bytes) {
    return reinterpret_cast<std::uintptr_t>(bytes) % alignof(std::max_align_t) == 0;
}

}  // namespace

FrameImage::~FrameImage() {
    if (pooled_) ImageBufferPool::instance().giveBack(pooled_);
}

void FrameImage::copy(const void* bytes, std::uint32_t size) {
    if (pooled_ && size_ < size) {
        ImageBufferPool::instance().giveBack(pooled_);
        data_ = pooled_ = nullptr;
    }
    if (!pooled_) {
        pooled_ = ImageBufferPool::instance().take(size);
        size_ = size;
    }
    if (size > 0) std::memcpy(pooled_, bytes, size);
    data_ = pooled_;
}

void FrameImage::add(const void* bytes, std::uint32_t size) {
    if (!data_) {
        data_ = static_cast<const std::uint8_t*>(bytes);
        size_ = size;
        return;
    }
    if (isBorrowed()) copy(data_, size_);
    copy(bytes, size);
}

void FrameImage::own(const Vorda::GenICam::CFrame& frame) {
    if (!isBorrowed()) return;
    if (isAligned(data_)) given_ = frame.giveBuffer(size_);
    if (!given_) copy(data_, size_);
}

}  // namespace kestro
