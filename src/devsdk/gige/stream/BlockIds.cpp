// SPDX-License-Identifier: Apache-2.0
#include "BlockIds.h"

#include <algorithm>

namespace Vorda::Gige {

namespace {

/**
 * A larger step in the block ids is a camera that starts anew, not a loss to be counted, unless
 * nothing came for so long that a quick camera may have taken as many frames.
 */
constexpr std::uint64_t kMaxCountedSkip = 1000;
constexpr auto kLeastFrameTime = std::chrono::microseconds(100);
/** No packet travels for so long: a block id that was used before then means a restarted camera. */
constexpr auto kRestartSilence = std::chrono::milliseconds(500);

std::uint64_t mostSkippedIn(BlockIds::Duration silence) {
    return kMaxCountedSkip + static_cast<std::uint64_t>(silence / kLeastFrameTime);
}

/** Where `wireId` lies when the newest block counts `newest`; 16-bit ids run from 1 to 65535. */
std::int64_t nearestTo(std::uint64_t newest, std::uint64_t wireId) {
    const auto period = static_cast<std::int64_t>(kLastStandardBlockId);
    const auto reference = static_cast<std::int64_t>(newest);
    std::int64_t step = (static_cast<std::int64_t>(wireId) - reference) % period;
    if (step > period / 2) step -= period;
    if (step < -(period / 2)) step += period;
    return reference + step;
}

}  // namespace

void BlockIds::begin(bool areExtended) {
    areExtended_ = areExtended;
    newest_ = lastClosed_ = 0;
    clock_ = {};
    closed_.fill({});
}

std::uint64_t BlockIds::countOn(std::uint64_t wireId) const {
    if (areExtended_ || isFirst()) return wireId;
    return static_cast<std::uint64_t>(std::max<std::int64_t>(nearestTo(newest_, wireId), 0));
}

bool BlockIds::isFarBehindWrap(std::uint64_t id, std::uint64_t wireId) const {
    if (areExtended_ || newest_ == 0 || id <= newest_) return false;
    const bool isBehindWrap = wireId <= (newest_ - 1) % kLastStandardBlockId;
    return isBehindWrap && id - newest_ > kMaxCountedSkip;
}

/** How many blocks a camera may have taken since the newest, by its own clock where it has one. */
std::uint64_t BlockIds::mostTakenUntil(const GvspLeader& leader, Duration silence) const {
    const bool hasClock = clock_.least != 0 && leader.timestamp != 0;
    if (!hasClock) return mostSkippedIn(silence);
    if (leader.timestamp < clock_.latest) return 0;  // switched off and on
    return kMaxCountedSkip + (leader.timestamp - clock_.latest) / clock_.least;
}

bool BlockIds::isRestart(std::uint64_t id, const GvspLeader& leader, Duration silence) const {
    if (id > newest_) return id - newest_ > mostTakenUntil(leader, silence);
    if (silence >= kRestartSilence) return true;
    const bool longAgo = id < lastClosed_ && lastClosed_ - id > closed_.size();
    if (longAgo) return true;
    return std::any_of(closed_.begin(), closed_.end(), [&](const Closed& closed) {
        return closed.id == id && closed.hasTimestamp && closed.timestamp != leader.timestamp;
    });
}

std::uint64_t BlockIds::missingBefore(std::uint64_t id, Duration silence) const {
    const std::uint64_t skipped = lastClosed_ != 0 ? id - lastClosed_ - 1 : 0;
    return skipped <= mostSkippedIn(silence) ? skipped : 0;
}

void BlockIds::noteBlock(std::uint64_t id) { newest_ = std::max(newest_, id); }

void BlockIds::noteLeader(std::uint64_t id, const GvspLeader& leader) {
    if (id <= clock_.id) return;
    if (clock_.id != 0 && leader.timestamp > clock_.latest) {
        const std::uint64_t each = (leader.timestamp - clock_.latest) / (id - clock_.id);
        if (each != 0 && (clock_.least == 0 || each < clock_.least)) clock_.least = each;
    }
    clock_.id = id;
    clock_.latest = leader.timestamp;
}

void BlockIds::noteClosed(std::uint64_t id, const GvspLeader* leader) {
    lastClosed_ = id;
    closed_[closedNext_] = {id, leader ? leader->timestamp : 0, leader != nullptr};
    closedNext_ = (closedNext_ + 1) % closed_.size();
}

}  // namespace Vorda::Gige
