// SPDX-License-Identifier: Apache-2.0
#include "Account.h"

#include <sys/resource.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace kestro::bench {

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/** What the process has used, and what was counted, at one moment. */
struct Standing {
    Received received;
    double user = 0;
    double system = 0;
    long switches = 0;  ///< of the processor between threads
    std::vector<std::size_t> handedOver;
};

Standing standing(const std::function<Received()>& received,
                  const std::vector<HandOvers>& handOvers) {
    Standing now;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    now.user = seconds(usage.ru_utime);
    now.system = seconds(usage.ru_stime);
    now.switches = usage.ru_nvcsw + usage.ru_nivcsw;
    now.received = received();
    for (const HandOvers& each : handOvers) now.handedOver.push_back(each.count());
    return now;
}

/** Counted page by page; the number that is quicker to get is rounded for each thread. */
double residentMegabytes() {
    std::ifstream file("/proc/self/smaps_rollup");
    double kilobytes = 0;
    std::string word;
    while (file >> word && word != "Rss:") continue;
    file >> kilobytes;
    return kilobytes / 1024;
}

long threads() {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return std::distance(begin(all), end(all));
}

void print(const char* name, std::uint64_t before, std::uint64_t now) {
    std::printf("\"%s\":%llu,", name, 0ULL + now - before);
}

void report(const Standing& before, const Standing& now, double grownMegabytes) {
    const Received& was = before.received;
    const Received& is = now.received;
    std::printf("{");
    print("frames", was.frames, is.frames);
    print("bad_frames", was.badFrames, is.badFrames);
    print("missing_packets", was.missingPackets, is.missingPackets);
    print("resend_requests", was.resendRequests, is.resendRequests);
    print("resent_packets", was.resentPackets, is.resentPackets);
    print("packets", was.packets, is.packets);
    print("bytes", was.bytes, is.bytes);
    std::printf(R"("user":%.6f,"system":%.6f,"switches":%ld,"megabytes":%.3f,)"
                R"("grown_megabytes":%.3f,"threads":%ld})"
                "\n",
                now.user - before.user, now.system - before.system, now.switches - before.switches,
                residentMegabytes(), grownMegabytes, threads());
    std::fflush(stdout);
}

void writeTimes(const std::vector<HandOvers>& handOvers, const Standing& before,
                const Standing& now, const std::string& path) {
    std::ofstream file(path);
    for (std::size_t i = 0; i < handOvers.size(); ++i) {
        for (std::size_t j = before.handedOver[i]; j < now.handedOver[i]; ++j)
            file << i << ' ' << handOvers[i][j].blockId << ' ' << handOvers[i][j].time << '\n';
    }
    if (!file.flush()) throw std::runtime_error(path + ": cannot be written");
}

void say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

}  // namespace

void giveAccount(const std::function<Received()>& received, const std::vector<HandOvers>& handOvers,
                 const std::string& details) {
    say("{\"ready\":true" + (details.empty() ? "" : "," + details) + "}");
    Standing before;
    double megabytes = 0;
    for (std::string word; std::cin >> word;) {
        if (word == "begin") {
            megabytes = residentMegabytes();
            before = standing(received, handOvers);
            say("{}");
        } else if (word == "end" && std::cin >> word) {
            const Standing now = standing(received, handOvers);
            const double grown = residentMegabytes() - megabytes;
            writeTimes(handOvers, before, now, word);
            report(before, now, grown);
        }
    }
}

}  // namespace kestro::bench
