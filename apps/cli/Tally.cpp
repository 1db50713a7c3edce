// SPDX-License-Identifier: Apache-2.0
#include "Tally.h"

#include "Text.h"

#include <utility>

namespace kestrocli {
namespace {

constexpr std::uint64_t kShortIds = 0xFFFF;  // 16-bit ids: 1 to 65535, then 1 again
constexpr std::uint32_t kNotDelivered = 0;
constexpr std::uint32_t kNotAvailable = 1;
constexpr std::uint32_t kComplete = 2;
constexpr std::uint32_t kPhaseNotAvailable = 6;
constexpr std::uint32_t kPhaseComplete = 7;

std::string orDash(const std::optional<double>& value) { return value ? fixed(*value, 1) : "-"; }

}  // namespace

std::uint64_t BlockCounter::next(std::uint64_t blockId) {
    if (running_ == 0) {  // cameras may number on from their last acquisition
        previousId_ = blockId;
        return running_ = std::max<std::uint64_t>(blockId, 1);
    }
    std::uint64_t step = blockId - previousId_;
    if (std::exchange(restarts_, false)) {
        step = 1;
        mayRestart_ = false;
    } else if (blockId <= previousId_) {
        const bool wrapped =
            !mayRestart_ && previousId_ <= kShortIds && previousId_ - blockId > kShortIds / 2;
        step = wrapped ? blockId + kShortIds - previousId_ : 1;
    }
    previousId_ = blockId;
    running_ += step;
    missed_ += step - 1;
    return running_;
}

void Tally::add(const kestro::Frame& frame, std::chrono::steady_clock::time_point arrival,
                std::uint64_t missed) {
    if (frames_ == 0) {
        first_ = arrival;
    } else {
        bytesAfterFirst_ += frame.getImageSize();
        if (!wasAway_) intervals_.add(arrival - last_);
    }
    wasAway_ = false;
    last_ = arrival;
    ++frames_;
    missed_ = missed;
    const std::size_t codes = frame.getBarcodes().size();
    codes_ += codes;
    const std::uint32_t status = frame.getStatus();
    const bool silent =
        status == kNotDelivered || status == kNotAvailable || status == kPhaseNotAvailable;
    toldOfReading_ = toldOfReading_ || !silent || codes > 0;
    const bool complete = status == kComplete || status == kPhaseComplete;
    if (complete || (silent && codes > 0)) ++complete_;
}

void Tally::addReconnect() {
    ++reconnects_;
    wasAway_ = true;
}

std::optional<double> Tally::readRate() const {
    if (!toldOfReading_) return std::nullopt;
    return 100.0 * static_cast<double>(complete_) / static_cast<double>(frames_);
}

std::optional<double> Tally::framesPerSecond() const {
    if (frames_ < 2 || last_ <= first_) return std::nullopt;
    return static_cast<double>(frames_ - 1) / std::chrono::duration<double>(last_ - first_).count();
}

std::optional<double> Tally::megabytesPerSecond() const {
    if (frames_ < 2 || last_ <= first_) return std::nullopt;
    return static_cast<double>(bytesAfterFirst_) / 1e6 /
           std::chrono::duration<double>(last_ - first_).count();
}

std::string Tally::summary() const {
    const auto rate = readRate();
    return counted(frames_, "frame") + ", " + orDash(framesPerSecond()) + " frames/s, " +
           orDash(megabytesPerSecond()) + " MB/s, " + counted(codes_, "code") + ", read rate " +
           (rate ? fixed(*rate, 1) + " %" : "-") + ", " + std::to_string(missed_) + " missed" +
           (reconnects_ > 0 ? ", " + counted(reconnects_, "reconnect") : "");
}

std::string Tally::intervals() const {
    constexpr std::uint64_t kFewest = 20;
    if (intervals_.count() < kFewest) return {};
    std::string text;
    for (const int percent : {50, 95, 99}) {
        if (intervals_.count() * static_cast<std::uint64_t>(100 - percent) < 100) break;
        const std::chrono::duration<double, std::milli> interval = intervals_.percentile(percent);
        text += (text.empty() ? "frame interval: p" : ", p") + std::to_string(percent) + " " +
                fixed(interval.count(), interval.count() < 10 ? 2 : 1) + " ms";
    }
    return text;
}

}  // namespace kestrocli
