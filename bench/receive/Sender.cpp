// SPDX-License-Identifier: Apache-2.0
//
// kestro_receive_sender --cameras N --width W --height H --cpu C
//
// Simulated cameras on 127.0.0.2 and behind it, for the control of streams, and a sender of these
// streams that makes its frames beforehand and does nothing while it sends but sending. Says
// "ready", then carries out what lines of its standard input order (see SendOrder.h), answering
// each with a JSON object.
#include "CameraStream.h"
#include "GvcpReader.h"
#include "MonotonicTime.h"
#include "SendOrder.h"
#include "Simulator.h"
#include "WireFrame.h"

#include <getopt.h>
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kestro::bench {
namespace {

constexpr std::uint32_t kFirstCamera = 0x7f000002;
/** Each camera has a few pictures, and all together not so many that making them takes long. */
constexpr std::size_t kPictures = 16;
/** Before the first packet, so that all cameras begin in time. */
constexpr std::int64_t kLeadTime = 5'000'000;
/** A sleep may end this much too late; the rest of a wait is spent looking at the clock. */
constexpr std::int64_t kSleepError = 80'000;

struct Options {
    std::size_t cameras = 1;
    ImageShape shape{2448, 2048};
    int cpu = -1;
};

Options optionsOf(int count, char** words) {
    constexpr option kKnown[] = {{"cameras", required_argument, nullptr, 'n'},
                                 {"width", required_argument, nullptr, 'w'},
                                 {"height", required_argument, nullptr, 'h'},
                                 {"cpu", required_argument, nullptr, 'c'},
                                 {}};
    Options options;
    for (int found = 0; (found = ::getopt_long(count, words, "", kKnown, nullptr)) != -1;) {
        if (found == 'n')
            options.cameras = std::stoul(optarg);
        else if (found == 'w')
            options.shape.width = static_cast<std::uint32_t>(std::stoul(optarg));
        else if (found == 'h')
            options.shape.height = static_cast<std::uint32_t>(std::stoul(optarg));
        else if (found == 'c')
            options.cpu = std::stoi(optarg);
        else
            throw std::runtime_error("there is no such option");
    }
    return options;
}

void stayOn(int cpu) {
    if (cpu < 0) return;
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(static_cast<std::size_t>(cpu), &cpus);
    if (::sched_setaffinity(0, sizeof cpus, &cpus) != 0)
        throw std::runtime_error("there is no such processor");
}

/** The cameras that streams are controlled by. They send nothing: no trigger ever comes. */
class Cameras {
 public:
    explicit Cameras(const Options& options) {
        for (std::size_t i = 0; i < options.cameras; ++i) {
            kestrosim::CameraOptions camera;
            camera.address = "127.0.0." + std::to_string(2 + i);
            camera.serial = "BENCH" + std::to_string(i + 1);
            camera.width = options.shape.width;
            camera.height = options.shape.height;
            camera.format = kestrosim::ResultFormat::none;
            camera.scenes = 1;
            cameras_.push_back(std::make_unique<kestrosim::SimulatedCamera>(camera));
        }
        awaitScenes();
    }

 private:
    /** Each camera draws its scene on a thread that then ends. */
    static void awaitScenes() {
        using namespace std::chrono_literals;
        while (isDrawing()) std::this_thread::sleep_for(20ms);
    }
    static bool isDrawing() {
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm") >> std::ws, name);
            if (name == "kestro-scenes") return true;
        }
        return false;
    }

    std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> cameras_;
};

using Streams = std::vector<CameraStream>;

class Sender {
 public:
    explicit Sender(const Options& options) : shape_(options.shape), blocks_(options.cameras, 1) {}

    void carryOut(const SendOrder& order);

 private:
    [[nodiscard]] Streams makeStreams(const SendOrder& order) const;
    [[nodiscard]] StreamChannel channelOf(const SendOrder& order, std::size_t camera) const;

    const ImageShape shape_;
    std::vector<std::uint16_t> blocks_;  ///< each camera's next block id
};

StreamChannel Sender::channelOf(const SendOrder& order, std::size_t camera) const {
    constexpr std::uint32_t kLoopback = 0x7f000001;
    if (!order.ports.empty())
        return {socketAddressOf(kLoopback, order.ports[camera]), order.packetBytes};
    const StreamChannel channel =
        readStreamChannel(kFirstCamera + static_cast<std::uint32_t>(camera));
    if (!channel.isOpen()) throw std::runtime_error("nobody has opened the stream channel");
    return channel;
}

Streams Sender::makeStreams(const SendOrder& order) const {
    if (order.cameras > blocks_.size()) throw std::runtime_error("there are fewer cameras");
    Streams streams;
    const std::size_t pictures = std::clamp<std::size_t>(kPictures / order.cameras, 2, 4);
    for (std::size_t i = 0; i < order.cameras; ++i) {
        const StreamChannel channel = channelOf(order, i);
        std::vector<WireFrame> frames;
        for (std::size_t j = 0; j < pictures; ++j) {
            frames.emplace_back(shape_, channel.packetBytes, order.isBatched,
                                static_cast<unsigned>(i * pictures + j));
        }
        streams.emplace_back(kFirstCamera + static_cast<std::uint32_t>(i), channel,
                             std::move(frames), blocks_[i]);
    }
    return streams;
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

void serve(Sender& sender) {
    std::puts("ready");
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) sender.carryOut(parseOrder(line));
}

}  // namespace
}  // namespace kestro::bench

int main(int count, char** words) {
    using namespace kestro::bench;
    try {
        const Options options = optionsOf(count, words);
        stayOn(options.cpu);
        const Cameras cameras(options);
        Sender sender(options);
        serve(sender);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", words[0], error.what());
        return 2;
    }
}
