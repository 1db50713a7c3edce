// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraLink.h"
#include "Features.h"
#include "RegisterPort.h"

#include <cstdint>

namespace Vorda::Gige {

/** The packet sizes that a camera's description allows. */
struct PacketSizeLimits {
    std::int64_t min = 0;
    std::int64_t max = 0xffff;  ///< what the register holds
    std::int64_t step = 1;
};

/** Those of kPacketSizeFeature; what the description does not tell is not limited. */
[[nodiscard]] PacketSizeLimits packetSizeLimits(const Features& features);

/** What decides the packet size of a stream, besides what gets through. */
struct PacketSizeBasis {
    std::uint32_t mtuBytes = 0;  ///< of the host's interface
    bool isGiven = false;        ///< the application has set the size
    PacketSizeLimits limits;
};

struct PacketSize {
    std::uint32_t bytes = 0;
    const char* reason = "";  ///< for a log line
    bool isChanged = false;   ///< the camera had another one
};

/**
 * Sees to it that stream channel 0 of a camera has a packet size that gets through, and leaves the
 * register without an order for a test packet. The channel points at `inlet`.
 *
 * What the application has set stays, if the interface carries it. Else the camera sends test
 * packets that must not be fragmented, the largest first, until one arrives. A camera that sends
 * none, which takes a tenth of a second to find out, keeps its size, if the interface carries it.
 *
 * @return false, with the last error, when the camera does not answer.
 */
[[nodiscard]] bool choosePacketSize(RegisterPort& camera, StreamInlet& inlet,
                                    const PacketSizeBasis& basis, PacketSize& chosen);

}  // namespace Vorda::Gige
