// SPDX-License-Identifier: Apache-2.0
#include "StreamFeatures.h"

namespace Vorda::Gige {
namespace {

/** Each frame that the camera sent is delivered, lost, or on its way. */
std::uint64_t lostFrames(const StreamCounters& stream) {
    return stream.lostFrames.get() + stream.droppedOldest.get() + stream.noBuffer.get() +
           stream.tooBig.get() + stream.unsupported.get() + stream.malformedFrames.get();
}

// The first names are those of the standard's stream features; it has none for packets.
constexpr StreamFeature kFeatures[] = {
    {"StreamAnnouncedBufferCount",
     [](const StreamCounters& stream) { return stream.buffers.count().announced; }},
    {"StreamInputBufferCount",
     [](const StreamCounters& stream) { return stream.buffers.count().free; }},
    {"StreamOutputBufferCount",
     [](const StreamCounters& stream) { return stream.buffers.count().waiting; }},
    {"StreamDeliveredFrameCount",
     [](const StreamCounters& stream) { return stream.deliveredFrames.get(); }},
    {"StreamLostFrameCount", lostFrames},
    {"StreamLostPacketCount",
     [](const StreamCounters& stream) { return stream.lostPackets.get(); }},
    {"StreamResendRequestCount",
     [](const StreamCounters& stream) { return stream.resendRequests.get(); }},
    {"StreamResentPacketCount",
     [](const StreamCounters& stream) { return stream.resentPackets.get(); }},
    {"StreamReconnectCount", [](const StreamCounters& stream) { return stream.reconnects.get(); }},
};

}  // namespace

std::span<const StreamFeature> streamFeatures() { return kFeatures; }

}  // namespace Vorda::Gige
