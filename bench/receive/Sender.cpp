// SPDX-License-Identifier: Apache-2.0
#include "Sender.h"

#include "GvcpReader.h"
#include "MonotonicTime.h"
#include "QuietCameras.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace kestro::bench {

namespace {

using Streams = std::vector<CameraStream>;

/** Each camera has a few pictures, and all together not so many that making them takes long. */
constexpr std::size_t kPictures = 16;
/** Before the first packet, so that all cameras begin in time. */
constexpr std::int64_t kLeadTime = 5'000'000;
/** A sleep may end this much too late; the rest of a wait is spent looking at the clock. */
constexpr std::int64_t kSleepError = 80'000;

StreamChannel channelOf(const SendOrder& order, std::size_t camera) {
    constexpr std::uint32_t kLoopback = 0x7f000001;
    if (!order.ports.empty())
        return {socketAddressOf(kLoopback, order.ports[camera]), order.packetBytes};
    const StreamChannel channel =
        readStreamChannel(kFirstCamera + static_cast<std::uint32_t>(camera));
    if (!channel.isOpen()) throw std::runtime_error("nobody has opened the stream channel");
    return channel;
}

Pace paceOf(const SendOrder& order, std::size_t frameBytes) {
    const auto nanoseconds = static_cast<double>(kNanosecondsPerSecond);
    if (order.framesPerSecond > 0)
        return {nanoseconds / order.framesPerSecond, nanoseconds / order.linkBytesPerSecond};
    if (order.bytesPerSecond <= 0) return {};
    const double perByte = nanoseconds / order.bytesPerSecond * static_cast<double>(order.cameras);
    return {perByte * static_cast<double>(frameBytes), perByte};
}

/** The cameras' frames do not begin together. */
void begin(Streams& streams, const SendOrder& order, std::int64_t at) {
    const Pace pace = paceOf(order, streams.front().frameBytes());
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const double phase = static_cast<double>(i) / static_cast<double>(streams.size());
        streams[i].begin(at + static_cast<std::int64_t>(phase * pace.framePeriod), pace);
    }
}

std::int64_t waitUntil(std::int64_t due) {
    std::int64_t now = monotonicNow();
    if (due - now > 2 * kSleepError) {
        const std::int64_t until = due - kSleepError;
        const timespec time{until / kNanosecondsPerSecond, until % kNanosecondsPerSecond};
        ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
    }
    while ((now = monotonicNow()) < due) continue;
    return now;
}

/** The stream that is to send next; null when all have sent what they began before `end`. */
CameraStream* nextOf(Streams& streams, std::int64_t end) {
    CameraStream* next = nullptr;
    for (CameraStream& stream : streams) {
        if (stream.isBetweenFrames() && std::max(stream.due(), monotonicNow()) >= end) continue;
        if (!next || stream.due() < next->due()) next = &stream;
    }
    return next;
}

void writeTimes(const Streams& streams, const std::string& path) {
    std::ofstream file(path);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        for (const SentFrame& sent : streams[i].sent())
            file << i << ' ' << sent.blockId << ' ' << sent.began << ' ' << sent.returned << '\n';
    }
    if (!file.flush()) throw std::runtime_error(path + ": cannot be written");
}

void report(const Streams& streams, std::int64_t took, std::int64_t processorTime) {
    std::uint64_t frames = 0;
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
    std::uint64_t refused = 0;
    for (const CameraStream& stream : streams) {
        frames += stream.sent().size();
        packets += stream.packets();
        bytes += stream.bytes();
        refused += stream.refused();
    }
    std::printf(R"({"frames":%llu,"packets":%llu,"bytes":%llu,"refused":%llu,"seconds":%.6f,)"
                R"("cpu":%.6f})"
                "\n",
                0ULL + frames, 0ULL + packets, 0ULL + bytes, 0ULL + refused,
                static_cast<double>(took) / kNanosecondsPerSecond,
                static_cast<double>(processorTime) / kNanosecondsPerSecond);
    std::fflush(stdout);
}

}  // namespace

std::vector<WireFrame> Sender::makeFrames(const SendOrder& order, std::size_t camera,
                                          std::size_t packetBytes) const {
    const std::size_t pictures = std::clamp<std::size_t>(kPictures / order.cameras, 2, 4);
    std::vector<WireFrame> frames;
    for (std::size_t i = 0; i < pictures; ++i) {
        frames.emplace_back(shape_, packetBytes, order.isBatched,
                            static_cast<unsigned>(camera * pictures + i));
    }
    return frames;
}

Sender::Streams Sender::makeStreams(const SendOrder& order) const {
    if (order.cameras > blocks_.size()) throw std::runtime_error("there are fewer cameras");
    Streams streams;
    for (std::size_t i = 0; i < order.cameras; ++i) {
        const StreamChannel channel = channelOf(order, i);
        streams.emplace_back(kFirstCamera + static_cast<std::uint32_t>(i), channel,
                             makeFrames(order, i, channel.packetBytes), blocks_[i]);
    }
    return streams;
}

void Sender::carryOut(const SendOrder& order) {
    Streams streams = makeStreams(order);
    const std::int64_t start = monotonicNow() + kLeadTime;
    begin(streams, order, start);
    const std::int64_t end =
        start + static_cast<std::int64_t>(order.seconds * kNanosecondsPerSecond);
    waitUntil(start);
    const std::int64_t processorTime = readClock(CLOCK_THREAD_CPUTIME_ID);
    while (CameraStream* const next = nextOf(streams, end)) next->sendPiece(waitUntil(next->due()));
    const std::int64_t took = monotonicNow() - start;
    const std::int64_t used = readClock(CLOCK_THREAD_CPUTIME_ID) - processorTime;
    for (std::size_t i = 0; i < streams.size(); ++i) blocks_[i] = streams[i].nextBlock();
    if (!order.timesFile.empty()) writeTimes(streams, order.timesFile);
    report(streams, took, used);
}

}  // namespace kestro::bench
