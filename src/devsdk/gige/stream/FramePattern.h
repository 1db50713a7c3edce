// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraLink.h"
#include "PartialFrame.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace Vorda::Gige {

/**
 * What the frames of a stream have been like, and so what is to be expected of the next: they are
 * mostly as long as the one before, and take as long. Threads: one.
 */
class FramePattern {
 public:
    using Duration = std::chrono::steady_clock::duration;

    /** Wait so long for the rest of a frame that is longer than the one before. */
    static constexpr auto kRestOfLongerFrame = std::chrono::microseconds(100);

    /** Forgets everything. */
    void begin(const StreamSetup& setup, bool extendedIds);
    /** A complete frame; `took` lies between its first and its last packet. */
    void note(const PartialFrame& frame, Duration took);

    /** Payload of a full packet; before it is known, what the packet size leaves for it. */
    [[nodiscard]] std::size_t stride() const { return stride_; }
    /** True when nothing can be told from the frame before: they are JPEG files, for one. */
    [[nodiscard]] bool lengthsVary() const { return lengthsVary_; }
    /**
     * One past the trailer of a frame under way, as far as can be told. Of the first one only the
     * largest size is known.
     */
    [[nodiscard]] std::uint32_t expectedEnd(const PartialFrame& frame) const;
    /** How long what it still lacks will take; longer than anything where that cannot be told. */
    [[nodiscard]] Duration restOf(const PartialFrame& frame) const;

 private:
    std::uint32_t largestPayload_ = 0;
    std::size_t stride_ = 0;
    std::uint32_t trailerId_ = 0;  ///< of the last frame; 0: none
    Duration packetTime_{};        ///< from packet to packet of it; 0: not known
    bool lengthsVary_ = false;
};

}  // namespace Vorda::Gige
