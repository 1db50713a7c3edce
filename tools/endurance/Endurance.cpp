// SPDX-License-Identifier: Apache-2.0
//
// Reads cameras for long and holds what comes against what it must be:
//
//     kestro_endurance --cameras 8 --frames 1000000 [--stamps] [--seconds 600]
//     kestro_endurance --cameras 1 --frames-each 2000 [--packet-size 1500] [--buffers 16]
//
// Prints a JSON object for each camera and one for the process. Ends with 1 when an image was not
// the camera's or a block is missing that the library has not counted, with 2 when it could not
// begin, with 3 when the time was up before all frames were there.
#include "CameraWatch.h"

#include <getopt.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace endurance {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Watches = std::vector<std::unique_ptr<CameraWatch>>;

/** Memory is compared from here on: by then everything that is kept has been made. A camera that is
 * just away has given some of it back. */
constexpr std::uint64_t kSettledFrames = 10'000;
constexpr auto kLook = 20ms;
/** Cameras that end by themselves have ended when nothing came for so long. */
constexpr auto kSilence = 3s;
constexpr auto kLongestDiscovery = 20s;
constexpr auto kLongestAbsence = 10s;

struct Options {
    std::size_t cameras = 1;
    std::uint64_t frames = 0;  ///< of all cameras together
    CameraWatch::Wanted wanted;
    std::chrono::seconds longest{3600};
};

struct Usage {
    double megabytes = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

std::size_t entries(const char* folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

Usage usage() {
    Usage now;
    // Counted page by page; the number that is quicker to get is rounded for each thread.
    std::ifstream file("/proc/self/smaps_rollup");
    std::string word;
    while (file >> word && word != "Rss:") continue;
    file >> now.megabytes;
    now.megabytes /= 1024;
    now.descriptors = entries("/proc/self/fd");
    now.threads = entries("/proc/self/task");
    return now;
}

std::uint64_t numberOf(const char* text) {
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0') throw std::runtime_error(std::string(text) + ": no number");
    return number;
}

Options optionsOf(int count, char** words) {
    constexpr option kKnown[] = {{"cameras", required_argument, nullptr, 'c'},
                                 {"frames", required_argument, nullptr, 'f'},
                                 {"frames-each", required_argument, nullptr, 'e'},
                                 {"packet-size", required_argument, nullptr, 'p'},
                                 {"buffers", required_argument, nullptr, 'b'},
                                 {"seconds", required_argument, nullptr, 's'},
                                 {"stamps", no_argument, nullptr, 'S'},
                                 {}};
    Options options;
    for (int found = 0; (found = ::getopt_long(count, words, "", kKnown, nullptr)) != -1;) {
        switch (found) {
            case 'c':
                options.cameras = numberOf(optarg);
                break;
            case 'f':
                options.frames = numberOf(optarg);
                break;
            case 'e':
                options.wanted.frames = numberOf(optarg);
                break;
            case 'p':
                options.wanted.packetBytes = static_cast<std::int64_t>(numberOf(optarg));
                break;
            case 'b':
                options.wanted.buffers = static_cast<std::int32_t>(numberOf(optarg));
                break;
            case 's':
                options.longest = std::chrono::seconds(numberOf(optarg));
                break;
            case 'S':
                options.wanted.isStamped = true;
                break;
            default:
                throw std::runtime_error("there is no such option");
        }
    }
    if (options.cameras == 0 || (options.frames == 0) == (options.wanted.frames == 0))
        throw std::runtime_error("give the cameras, and either --frames or --frames-each");
    return options;
}

std::vector<std::shared_ptr<kestro::Camera>> findCameras(std::size_t count) {
    const auto deadline = Clock::now() + kLongestDiscovery;
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    do {
        if (kestro::System::getInstance().discovery(cameras, 0) && cameras.size() == count)
            return cameras;
    } while (Clock::now() < deadline);
    throw std::runtime_error("found " + std::to_string(cameras.size()) + " cameras, not " +
                             std::to_string(count));
}

std::uint64_t deliveredBy(const Watches& watches) {
    std::uint64_t sum = 0;
    for (const auto& each : watches) sum += each->delivered();
    return sum;
}

bool areAllConnected(const Watches& watches) {
    return std::all_of(watches.begin(), watches.end(),
                       [](const auto& each) { return each->isConnected(); });
}

/** What a run showed of the process. */
struct Run {
    bool isWhole = false;
    double seconds = 0;
    Usage settled;
    Usage last;
    double mostMegabytes = 0;
};

Run watch(const Watches& watches, const Options& options) {
    Run run;
    const auto begin = Clock::now();
    auto lastNews = begin;
    std::uint64_t known = 0;
    bool isSettled = false;
    for (auto lastLook = begin; Clock::now() - begin < options.longest;) {
        std::this_thread::sleep_for(kLook);
        const std::uint64_t delivered = deliveredBy(watches);
        if (delivered != known) lastNews = Clock::now();
        known = delivered;
        if (!isSettled && delivered >= kSettledFrames && areAllConnected(watches)) {
            isSettled = true;
            run.settled = usage();
        }
        if (isSettled && Clock::now() - lastLook > 1s) {
            lastLook = Clock::now();
            run.mostMegabytes = std::max(run.mostMegabytes, usage().megabytes);
        }
        run.isWhole = options.frames != 0 ? delivered >= options.frames
                                          : delivered > 0 && Clock::now() - lastNews > kSilence;
        if (run.isWhole) break;
    }
    run.seconds = std::chrono::duration<double>(lastNews - begin).count();
    run.last = usage();
    return run;
}

/**
 * A camera that is just away is back in a moment, and then says what was lost. That it is away may
 * not have been noticed yet: one that goes on sending sends one more frame. False when it is not
 * back.
 */
bool isThereBefore(Clock::time_point deadline, const CameraWatch& watch, bool goesOnSending) {
    const std::uint64_t delivered = watch.delivered();
    const auto isThere = [&] {
        return watch.isConnected() && (!goesOnSending || watch.delivered() > delivered);
    };
    while (!isThere() && Clock::now() < deadline) std::this_thread::sleep_for(kLook);
    return isThere();
}

/** False when something came that must not come. */
bool print(const CameraWatch& watch) {
    const Account account = watch.account();
    std::printf(
        R"({"serial":"%s","delivered":%llu,"corrupt":%llu,"missing":%llu,"unexplained":%llu,)"
        R"("restarts":%llu,"offline":%llu,"online":%llu,"counted":%s,"lost":%llu,"refused":%llu,)"
        R"("lost_packets":%llu,"resend_requests":%llu,"resent_packets":%llu,"reconnects":%llu})"
        "\n",
        watch.serial().c_str(), 0ULL + account.delivered, 0ULL + account.corrupt,
        0ULL + account.missing, 0ULL + account.unexplained, 0ULL + account.restarts,
        0ULL + account.offline, 0ULL + account.online, account.isCounted ? "true" : "false",
        0ULL + account.lost, 0ULL + account.refused, 0ULL + account.lostPackets,
        0ULL + account.resendRequests, 0ULL + account.resentPackets, 0ULL + account.reconnects);
    return account.corrupt == 0 && account.unexplained == 0;
}

int endure(const Options& options) {
    // Once they were connected, what the library keeps for the cameras that it knows is there.
    for (const auto& camera : findCameras(options.cameras)) {
        if (!camera->connect()) throw std::runtime_error("a camera cannot be connected");
        camera->disconnect();
    }
    const Usage before = usage();
    Watches watches;
    for (auto& camera : findCameras(options.cameras))
        watches.push_back(std::make_unique<CameraWatch>(std::move(camera), options.wanted));
    for (const auto& each : watches) each->start();
    const Run run = watch(watches, options);
    bool isSound = true;
    const auto deadline = Clock::now() + kLongestAbsence;
    for (const auto& each : watches) {
        isSound = isThereBefore(deadline, *each, options.frames != 0) && isSound;
        each->stop();  // at once: the next accident may be near
    }
    for (const auto& each : watches) isSound = print(*each) && isSound;
    watches.clear();
    const Usage after = usage();
    std::printf(
        R"({"whole":%s,"seconds":%.2f,"settled_mb":%.3f,"last_mb":%.3f,"most_mb":%.3f,)"
        R"("descriptors_before":%zu,"descriptors_after":%zu,"threads_before":%zu,"threads_after":%zu})"
        "\n",
        run.isWhole ? "true" : "false", run.seconds, run.settled.megabytes, run.last.megabytes,
        run.mostMegabytes, before.descriptors, after.descriptors, before.threads, after.threads);
    if (!isSound) return 1;
    return run.isWhole ? 0 : 3;
}

}  // namespace
}  // namespace endurance

int main(int count, char** words) {
    try {
        return endurance::endure(endurance::optionsOf(count, words));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", words[0], error.what());
        return 2;
    }
}
