// SPDX-License-Identifier: Apache-2.0
#include "StreamCounters.h"

namespace Vorda::Gige {

namespace {

struct Entry {
    const char* name;
    Counter StreamCounters::*counter;
};

constexpr Entry kEntries[] = {
    {"complete", &StreamCounters::completeFrames},
    {"delivered", &StreamCounters::deliveredFrames},
    {"lost", &StreamCounters::lostFrames},
    {"dropped as the oldest waiting", &StreamCounters::droppedOldest},
    {"without a free buffer", &StreamCounters::noBuffer},
    {"too big", &StreamCounters::tooBig},
    {"of an unsupported payload type", &StreamCounters::unsupported},
    {"malformed", &StreamCounters::malformedFrames},
    {"with broken chunks", &StreamCounters::brokenChunks},
    {"packets", &StreamCounters::packets},
    {"batches of them", &StreamCounters::batches},
    {"lost packets", &StreamCounters::lostPackets},
    {"resend requests", &StreamCounters::resendRequests},
    {"resent packets", &StreamCounters::resentPackets},
    {"packets the camera no longer had", &StreamCounters::unavailablePackets},
    {"duplicate packets", &StreamCounters::duplicatePackets},
    {"late packets", &StreamCounters::latePackets},
    {"malformed packets", &StreamCounters::malformedPackets},
    {"packets from other addresses", &StreamCounters::strayPackets},
    {"packets dropped by a full receive buffer", &StreamCounters::hostDrops},
    {"camera restarts", &StreamCounters::cameraRestarts},
    {"reconnects", &StreamCounters::reconnects},
};
static_assert(sizeof kEntries / sizeof kEntries[0] * sizeof(Counter) ==
                  sizeof(StreamCounters) - sizeof(StreamBuffers),
              "every counter has a name");

}  // namespace

void StreamCounters::reset() {
    for (const Entry& entry : kEntries) (this->*entry.counter).reset();
}

std::string StreamCounters::text() const {
    std::string text;
    for (const Entry& entry : kEntries) {
        const std::uint64_t value = (this->*entry.counter).get();
        if (value == 0) continue;
        if (!text.empty()) text += ", ";
        text += entry.name;
        text += ' ';
        text += std::to_string(value);
    }
    return text.empty() ? "nothing received" : text;
}

}  // namespace Vorda::Gige
