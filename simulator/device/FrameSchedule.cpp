// SPDX-License-Identifier: Apache-2.0
#include "FrameSchedule.h"

#include <algorithm>

namespace kestrosim {
namespace {

constexpr std::size_t kTriggersKept = 16;

FrameSchedule::Clock::duration clockTime(std::chrono::duration<double> time) {
    return std::chrono::duration_cast<FrameSchedule::Clock::duration>(time);
}

FrameSchedule::Clock::duration periodOf(const StreamSettings& settings) {
    return clockTime(std::chrono::duration<double>(1 / settings.framesPerSecond));
}

}  // namespace

void FrameSchedule::start(Clock::time_point now, std::uint64_t framesWanted) {
    *this = {};
    frameTime_ = now;
    framesWanted_ = framesWanted;
}

FrameSchedule::Pending& FrameSchedule::pending(TriggerKind kind) {
    return pending_[static_cast<std::size_t>(kind)];
}

const FrameSchedule::Pending& FrameSchedule::pending(TriggerKind kind) const {
    return pending_[static_cast<std::size_t>(kind)];
}

bool FrameSchedule::awaitsBurst(const StreamSettings& settings) const {
    return settings.trigger(TriggerKind::burst).isOn && burstLeft_ == 0;
}

// A frame's trigger before its burst's finds a camera that is not ready for it.
bool FrameSchedule::trigger(TriggerKind kind, const StreamSettings& settings,
                            Clock::time_point now) {
    const TriggerSettings& trigger = settings.trigger(kind);
    const bool isTooEarly =
        kind == TriggerKind::frame && awaitsBurst(settings) && pending(TriggerKind::burst).empty();
    if (!trigger.isOn || isTooEarly || pending(kind).size() >= kTriggersKept) return false;
    pending(kind).push_back(now + clockTime(trigger.delay));
    return true;
}

std::optional<FrameSchedule::Clock::time_point> FrameSchedule::due(
    const StreamSettings& settings) const {
    Clock::time_point due;
    const bool beginsBurst = awaitsBurst(settings);
    if (beginsBurst) {
        if (pending(TriggerKind::burst).empty()) return std::nullopt;
        due = pending(TriggerKind::burst).front();
    }
    if (settings.trigger(TriggerKind::frame).isOn) {
        if (pending(TriggerKind::frame).empty()) return std::nullopt;
        return std::max(due, pending(TriggerKind::frame).front());
    }
    if (beginsBurst) return due;
    return frames_ == 0 ? frameTime_ : frameTime_ + periodOf(settings);
}

// A thread that wakes late does not slow the camera down. But frames that the link, or the picture
// before them, was too slow for are dropped: catching up on them would exceed the frame rate.
void FrameSchedule::begin(const StreamSettings& settings, Clock::time_point now) {
    const auto wasDue = due(settings);
    const bool isInTime = wasDue && now - *wasDue <= periodOf(settings) / 4;
    frameTime_ = isInTime ? *wasDue : now;
    ++frames_;
    const bool inBursts = settings.trigger(TriggerKind::burst).isOn;
    if (awaitsBurst(settings)) {
        burstLeft_ = settings.burstFrames;
        if (!pending(TriggerKind::burst).empty()) pending(TriggerKind::burst).pop_front();
    }
    burstLeft_ = inBursts ? burstLeft_ - 1 : 0;
    if (!pending(TriggerKind::frame).empty()) pending(TriggerKind::frame).pop_front();
}

}  // namespace kestrosim
