// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VordaGenICam.h"

#include <cstdint>

namespace kestro {

/**
 * The image of a frame: bytes that are the frame's own, in a buffer of the process-wide pool or in
 * one that the device SDK gave away. While a frame is decoded they may still be the device SDK's.
 */
class FrameImage {
 public:
    FrameImage() = default;
    FrameImage(const FrameImage&) = delete;
    FrameImage& operator=(const FrameImage&) = delete;
    ~FrameImage();

    /** Null when there is no image. */
    [[nodiscard]] const std::uint8_t* data() const { return data_; }
    [[nodiscard]] std::uint32_t size() const { return size_; }

    /**
     * Copies an image. A buffer that is held already and large enough is used again and keeps its
     * size, so that size() may exceed the last image.
     */
    void copy(const void* bytes, std::uint32_t size);
    /** The same, but the first image is only borrowed: until own() its bytes must stay. */
    void add(const void* bytes, std::uint32_t size);
    /** Makes the bytes the image's own: takes those of `frame`, in which they lie, or copies. */
    void own(const Vorda::GenICam::CFrame& frame);

 private:
    [[nodiscard]] bool isBorrowed() const { return data_ && !pooled_ && !given_; }

    const std::uint8_t* data_ = nullptr;
    std::uint32_t size_ = 0;
    // Where the bytes are; at most one is set.
    std::uint8_t* pooled_ = nullptr;
    Vorda::Memory::TSharedPtr<const void> given_;
};

}  // namespace kestro
