// SPDX-License-Identifier: Apache-2.0
#include "PartialFrame.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Vorda::Gige {

namespace {
constexpr std::uint32_t kWordBits = 64;
}

void PartialFrame::begin(std::size_t stride, std::size_t capacity) {
    data_ = nullptr;
    capacity_ = capacity;
    guess_ = stride_ = stride;
    leader_.reset();
    trailerId_ = highestPayload_ = payloadCount_ = fullCount_ = fullId_ = shortId_ = thrownOut_ = 0;
    shortBytes_ = 0;
    wasOverfull_ = false;
    std::fill(present_.begin(), present_.end(), 0);  // keeps the memory for the next block
}

PartialFrame::Outcome PartialFrame::takeLeader(const GvspLeader& leader) {
    if (leader_) return Outcome::duplicate;
    leader_ = leader;
    return Outcome::taken;
}

PartialFrame::Outcome PartialFrame::takePayload(std::uint32_t packetId, ByteView bytes) {
    if (packetId == 0) return Outcome::malformed;
    if (trailerId_ != 0 && packetId >= trailerId_) return Outcome::malformed;
    if (has(packetId)) return Outcome::duplicate;
    // Once; a frame that is too large sends it so again.
    if (isOverfull(packetId, bytes.size()) && !std::exchange(wasOverfull_, true))
        return Outcome::refused;
    if (!settleStride(packetId, bytes.size())) return Outcome::refused;
    const std::uint64_t offset = (packetId - std::uint64_t{1}) * stride_;
    if (offset + bytes.size() > capacity_) return Outcome::tooBig;
    if (!bytes.empty()) std::memcpy(data_ + offset, bytes.data(), bytes.size());
    mark(packetId);
    return Outcome::taken;
}

std::uint32_t PartialFrame::roomForRun() const {
    if (fullCount_ == 0 || shortId_ != 0 || trailerId_ != 0) return 0;
    const std::size_t fit = capacity_ / stride_;
    return fit > highestPayload_ ? static_cast<std::uint32_t>(fit - highestPayload_) : 0;
}

std::uint8_t* PartialFrame::runPlace() const {
    return roomForRun() != 0 ? data_ + highestPayload_ * stride_ : nullptr;
}

void PartialFrame::takeRun(std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) mark(highestPayload_ + 1);
    fullCount_ += count;
}

PartialFrame::Outcome PartialFrame::takeTrailer(std::uint32_t packetId) {
    if (trailerId_ != 0) {
        return packetId == trailerId_ ? Outcome::duplicate : Outcome::malformed;
    }
    if (packetId == 0 || packetId <= highestPayload_) return Outcome::malformed;
    // Only the last packet may be empty: a believable count of packets has a bound.
    if (packetId - 1 > capacity_ + 1) return Outcome::tooBig;
    const bool shortIsLast = shortId_ == 0 || shortId_ + 1 == packetId;
    if (!shortIsLast && !adoptStride(shortBytes_)) throwOutShort();
    trailerId_ = packetId;
    return Outcome::taken;
}

/** Whether the packet begins where there is room and ends where there is none. */
bool PartialFrame::isOverfull(std::uint32_t packetId, std::size_t size) const {
    if (fullCount_ == 0) return false;
    const std::uint64_t begin = (packetId - std::uint64_t{1}) * stride_;
    return begin < capacity_ && begin + size > capacity_;
}

/** Makes `size` agree with what is known of the stride; false when it cannot. */
bool PartialFrame::settleStride(std::uint32_t packetId, std::size_t size) {
    if (shortId_ != 0 && packetId > shortId_) settleShort(size);
    // The highest itself, if it was thrown out.
    const bool mayBeLast =
        packetId >= highestPayload_ && (trailerId_ == 0 || packetId + 1 == trailerId_);
    if (size < stride_ && mayBeLast) {
        shortId_ = packetId;
        shortBytes_ = size;
        return true;
    }
    if (size != stride_ && !adoptStride(size)) {
        // One packet said another stride than the guess, and a second one bears the guess out.
        if (size != guess_ || fullCount_ != 1) return false;
        throwOutAll();
    }
    if (fullCount_++ == 0) fullId_ = packetId;
    return true;
}

/** A packet came after the smaller one, which was not the last: it tells the stride, or is wrong.
 */
void PartialFrame::settleShort(std::size_t sizeBehind) {
    if (sizeBehind == guess_ && stride_ != guess_ && fullCount_ == 1) return throwOutAll();
    const bool isStride = sizeBehind != stride_ && sizeBehind <= shortBytes_;
    if (!isStride || !adoptStride(shortBytes_)) throwOutShort();
}

void PartialFrame::throwOutShort() {
    unmark(shortId_);
    shortId_ = 0;
    shortBytes_ = 0;
}

void PartialFrame::throwOutEnd() {
    if (fullCount_ == 1) return throwOutAll();
    if (shortId_ != 0) return throwOutShort();
    if (fullCount_ == 0) return;
    unmark(trailerId_ - 1);
    --fullCount_;
    fullId_ = nextPresent(1, trailerId_);
}

/** The one full packet and the smaller one, placed by a stride that was none. */
void PartialFrame::throwOutAll() {
    unmark(fullId_);
    if (shortId_ != 0) throwOutShort();
    fullCount_ = 0;
    stride_ = guess_;
}

/** Replaces the guess, which no packet has confirmed; moves the one packet placed by it. */
bool PartialFrame::adoptStride(std::size_t stride) {
    if (fullCount_ != 0 || stride == 0 || shortBytes_ > stride) return false;
    if (shortId_ != 0) {
        const std::uint64_t before = (shortId_ - std::uint64_t{1}) * stride_;
        const std::uint64_t after = (shortId_ - std::uint64_t{1}) * stride;
        if (after + shortBytes_ > capacity_) return false;
        std::memmove(data_ + after, data_ + before, shortBytes_);
        if (shortBytes_ == stride) {
            ++fullCount_;
            fullId_ = shortId_;
            shortId_ = 0;
            shortBytes_ = 0;
        }
    }
    stride_ = stride;
    return true;
}

void PartialFrame::mark(std::uint32_t packetId) {
    const std::size_t word = packetId / kWordBits;
    if (word >= present_.size()) present_.resize(word + 1);
    present_[word] |= std::uint64_t{1} << (packetId % kWordBits);
    highestPayload_ = std::max(highestPayload_, packetId);
    ++payloadCount_;
}

void PartialFrame::unmark(std::uint32_t packetId) {
    present_[packetId / kWordBits] &= ~(std::uint64_t{1} << (packetId % kWordBits));
    --payloadCount_;
    ++thrownOut_;
}

std::uint32_t PartialFrame::takeThrownOut() { return std::exchange(thrownOut_, 0); }

bool PartialFrame::complete() const {
    return leader_ && trailerId_ != 0 && payloadCount_ + 1 == trailerId_;
}

std::size_t PartialFrame::sizeBytes() const {
    return fullCount_ * stride_ + (shortId_ != 0 ? shortBytes_ : 0);
}

std::optional<std::size_t> PartialFrame::provenStride() const {
    // A lone full packet may as well be a last one of that size by chance.
    return highestPayload_ > 1 && fullCount_ != 0 ? std::optional(stride_) : std::nullopt;
}

std::uint32_t PartialFrame::knownEnd() const {
    if (trailerId_ != 0) return trailerId_ + 1;
    if (highestPayload_ != 0) return highestPayload_ + 1;
    return leader_ ? 1 : 0;
}

std::uint32_t PartialFrame::received() const {
    return payloadCount_ + (leader_ ? 1 : 0) + (trailerId_ != 0 ? 1 : 0);
}

bool PartialFrame::has(std::uint32_t packetId) const {
    if (packetId == 0) return leader_.has_value();
    if (packetId == trailerId_) return true;
    const std::size_t word = packetId / kWordBits;
    return word < present_.size() && (present_[word] >> (packetId % kWordBits) & 1) != 0;
}

std::uint32_t PartialFrame::nextMissing(std::uint32_t from, std::uint32_t end) const {
    while (from < end && has(from)) ++from;
    return std::min(from, end);
}

std::uint32_t PartialFrame::nextPresent(std::uint32_t from, std::uint32_t end) const {
    while (from < end && from <= highestPayload_ && !has(from)) ++from;
    if (from > highestPayload_ && from < trailerId_) from = trailerId_;
    if (from > highestPayload_ && from > trailerId_) from = end;  // nothing came up here
    return std::min(from, end);
}

}  // namespace Vorda::Gige
