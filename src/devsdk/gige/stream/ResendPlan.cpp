// SPDX-License-Identifier: Apache-2.0
#include "ResendPlan.h"

#include <algorithm>
#include <utility>

namespace Vorda::Gige {

namespace {

/** More than this share of a frame missing is a network that requests would only load further. */
constexpr std::uint32_t kMaxMissingShare = 4;  // one in four
constexpr std::uint32_t kAlwaysRequested = 32;

}  // namespace

/** A slow answer counts at once, a quick one little by little. */
void AnswerTime::note(Duration took) { time_ = std::max(took, time_ - (time_ - took) / 4); }

AnswerTime::Duration AnswerTime::repeatAfter(unsigned rounds) const {
    constexpr int kPatience = 4;  // answers may be this much slower than they were
    const auto first = std::max<Duration>(kPatience * time_, kSoonestRepeat);
    return std::min<Duration>(first * (1U << rounds), kRepeatRequestAfter);
}

void ResendPlan::begin(bool canResend) {
    *this = {};
    isOpen_ = canResend;
}

void ResendPlan::noteGap(Time now) { gapSince_ = std::min(gapSince_, now); }

void ResendPlan::noteNewerBlock(Time now) { tailSince_ = std::min(tailSince_, now); }

void ResendPlan::noteAnswer(Time now, AnswerTime& answers) {
    rounds_ = 0;  // asking helps
    if (askedAt_ == kNever) return;
    answers.note(now - std::exchange(askedAt_, kNever));
}

void ResendPlan::noteProgress(const PartialFrame& part) {
    if (part.missing() != 0) return;
    gapSince_ = kNever;
    if (askedEnd_ <= part.knownEnd()) repeatAt_ = kNever;
}

void ResendPlan::startAgain(Time now) {
    askedEnd_ = 0;
    gapSince_ = now;
}

ResendPlan::Time ResendPlan::dueAt(const PartialFrame& part, Time lastPacket) const {
    if (!isOpen_) return kNever;
    const Time gap = gapSince_ == kNever ? kNever : gapSince_ + kFirstRequestAfter;
    return std::min({gap, tailDueAt(part, lastPacket), repeatAt_});
}

/** When the missing end of a block is to be asked for first; kNever once it was, or has come. */
ResendPlan::Time ResendPlan::tailDueAt(const PartialFrame& part, Time lastPacket) const {
    if (part.hasTrailer() || askedEnd_ > part.knownEnd()) return kNever;
    const Time idle = lastPacket + kTailRequestAfter;
    return tailSince_ == kNever ? idle : std::min(idle, tailSince_ + kFirstRequestAfter);
}

ResendPlan::Span ResendPlan::ask(const PartialFrame& part, Time lastPacket,
                                 const FramePattern& pattern, const AnswerTime& answers, Time now) {
    const bool repeat = now >= repeatAt_;
    const std::uint32_t end = endToAskFor(part, lastPacket, pattern, now);
    const std::uint32_t missing = part.missing() + (end - part.knownEnd());
    if (repeat && ++rounds_ >= kMaxRequestRounds) close();
    if (missing > kAlwaysRequested && missing > pattern.expectedEnd(part) / kMaxMissingShare)
        close();
    if (!isOpen_) return {};
    const Span span{repeat ? 0 : askedEnd_, end};
    askedEnd_ = std::max(askedEnd_, end);
    gapSince_ = kNever;
    askedAt_ = now;
    if (repeat || repeatAt_ == kNever) repeatAt_ = now + answers.repeatAfter(rounds_);
    return span;
}

std::uint32_t ResendPlan::endToAskFor(const PartialFrame& part, Time lastPacket,
                                      const FramePattern& pattern, Time now) const {
    const std::uint32_t known = part.knownEnd();
    const bool tail = now >= tailDueAt(part, lastPacket) || askedEnd_ > known;
    if (part.hasTrailer() || !tail) return known;
    const std::uint32_t step = known + kAlwaysRequested;
    if (pattern.lengthsVary()) return step;
    const std::uint32_t end = pattern.expectedEnd(part);
    // Unless the next block has begun, the camera may just be slow, or exposing after its leader.
    return tailSince_ != kNever ? end : std::min(end, step);
}

}  // namespace Vorda::Gige
