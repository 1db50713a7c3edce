// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "Finding.h"
#include "Grab.h"
#include "Host.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kestrocli {

/** What a camera did while it streamed for a moment. */
struct StreamFacts {
    CameraRecord camera;
    std::string startError;  ///< empty: it started
    std::string trigger;     ///< "FrameStart": what it waits for; empty: it runs free
    bool isStopped = false;  ///< the user ended it
    bool isLost = false;     ///< the camera went away
    double seconds = 0;      ///< from the start to the stop

    std::uint64_t frames = 0;  ///< delivered, as the library counts
    std::uint64_t framesLost = 0;
    std::uint64_t packetsLost = 0;  ///< for good
    std::uint64_t resendRequests = 0;
    std::uint64_t packetsResent = 0;
    std::uint64_t hostDrops = 0;  ///< packets that found a full receive buffer on this host

    std::uint64_t payloadBytes = 0;  ///< 0: not told, here and below
    std::int64_t packetBytes = 0;
    std::int64_t mostPacketBytes = 0;  ///< that the camera can send
    std::int64_t frameRate = 0;        ///< whole AcquisitionFrameRate
};

struct TrialOptions {
    double seconds = 3;
    bool freeRun = false;  ///< with its triggers off
};

/** Streams from the camera and puts its settings back. */
[[nodiscard]] StreamFacts tryStream(Grab& grab, Mailbox& mailbox, const Host& host,
                                    const TrialOptions& options);

/** What the facts mean: whether packets come, their size, the receive buffer, losses. */
[[nodiscard]] Findings checkStream(const Host& host, const StreamFacts& facts);

}  // namespace kestrocli
