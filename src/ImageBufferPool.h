// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace kestro {

/**
 * Buffers for the images of frames, kept from one frame to the next: touching the pages of a fresh
 * one costs several times the copy of the image.
 *
 * A buffer fits every size of its class (an eighth of a power of two at most is lost), so that
 * images whose sizes differ from frame to frame, such as JPEG files, find one too. Threads: any.
 */
class ImageBufferPool {
 public:
    /** How many given-back buffers are kept: those that a few cameras use in turn. */
    static constexpr std::size_t kMostFree = 8;

    /** The process-wide pool; never destroyed, since frames may outlive everything else. */
    static ImageBufferPool& instance();

    ImageBufferPool();
    ~ImageBufferPool();
    ImageBufferPool(const ImageBufferPool&) = delete;
    ImageBufferPool& operator=(const ImageBufferPool&) = delete;

    /** A buffer of at least `size` bytes, not null even for 0: the one given back last that fits.
     */
    [[nodiscard]] std::uint8_t* take(std::size_t size);
    /** Ends the use of a buffer; null and buffers that are not in use are ignored. */
    void giveBack(std::uint8_t* buffer) noexcept;

    [[nodiscard]] std::size_t freeCount() const;
    [[nodiscard]] std::size_t inUseCount() const;

 private:
    struct Buffer {
        std::unique_ptr<std::uint8_t[]> bytes;
        std::size_t capacity = 0;
    };

    [[nodiscard]] Buffer takeFree(std::size_t capacity);

    mutable std::mutex mutex_;  // guards both lists
    std::unordered_map<const std::uint8_t*, Buffer> inUse_;
    std::vector<Buffer> free_;  // the one given back last stands last; never grows beyond its room
};

}  // namespace kestro
