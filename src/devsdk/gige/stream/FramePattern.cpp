// SPDX-License-Identifier: Apache-2.0
#include "FramePattern.h"

#include <algorithm>

namespace Vorda::Gige {

namespace {

/** Stands in for a packet size that is not known: the first packets tell. */
constexpr std::size_t kUnknownStride = 65536;
/** Frames whose numbers of packets differ by more have no common length. */
constexpr std::uint32_t kMostDifference = 32;

}  // namespace

void FramePattern::begin(const StreamSetup& setup, bool extendedIds) {
    *this = {};
    largestPayload_ = setup.payloadBytes;
    stride_ = gvspPayloadBytes(setup.packetBytes, extendedIds);
    if (stride_ == 0) stride_ = kUnknownStride;
}

void FramePattern::note(const PartialFrame& frame, Duration took) {
    stride_ = frame.provenStride().value_or(stride_);
    const std::uint32_t trailerId = frame.knownEnd() - 1;
    const auto [shorter, longer] = std::minmax(trailerId, trailerId_);
    if (trailerId_ != 0 && longer - shorter > kMostDifference) lengthsVary_ = true;
    trailerId_ = trailerId;
    packetTime_ = took / trailerId;
}

std::uint32_t FramePattern::expectedEnd(const PartialFrame& frame) const {
    if (frame.hasTrailer()) return frame.knownEnd();
    const auto largest = static_cast<std::uint32_t>((largestPayload_ + stride_ - 1) / stride_);
    const std::uint32_t guess = trailerId_ != 0 ? trailerId_ + 1 : largest + 2;
    return std::max(guess, frame.knownEnd() + 1);
}

FramePattern::Duration FramePattern::restOf(const PartialFrame& frame) const {
    if (packetTime_ == Duration::zero()) return Duration::max();
    if (!frame.hasTrailer() && frame.knownEnd() > trailerId_) return kRestOfLongerFrame;
    return (expectedEnd(frame) - frame.knownEnd()) * packetTime_;
}

}  // namespace Vorda::Gige
