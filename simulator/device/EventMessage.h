// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

namespace kestrosim {

/** What a camera tells of; the values are the indices of the registers for each event. */
enum class CameraEvent : std::uint8_t {
    acquisitionStart,
    acquisitionEnd,
    frameTrigger,
    readingDone
};

/** An event as it happened. */
struct Happening {
    CameraEvent event = CameraEvent::acquisitionStart;
    std::uint64_t timestamp = 0;  ///< ticks of the camera's clock
    std::uint64_t blockId = 0;    ///< of the frame that it is about; 0: about none
    // Of readingDone.
    std::uint32_t codes = 0;
    std::uint32_t status = 0;
};

/** The EVENT or EVENTDATA command that tells of it; `id` is its request id. */
[[nodiscard]] std::vector<std::uint8_t> encodeEvent(const Happening& happening, std::uint16_t id,
                                                    bool wantsAcknowledge);

}  // namespace kestrosim
