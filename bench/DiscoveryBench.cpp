// SPDX-License-Identifier: Apache-2.0
//
// How many of 1 and of 64 simulated cameras one call finds, when it has taken the slowest answer in
// and when it is over. The cameras stand on 127.0.0.2 and the addresses after it; the question is a
// broadcast: run it where loopback is the only network.
//
//     kestro_discovery_bench [CALLS]      20 when not given, of each kind
//
// Only a process's first call knows of no camera, so each pair of calls is made in a process of its
// own, which has this program's lines from the trace of the library. Prints one JSON object a line.
#include <kestro/kestro.h>

#include "RecordingLogger.h"
#include "Simulator.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kTwoCalls = "--two-calls";

/** What one call came to. */
struct Call {
    unsigned found = 0;
    double answersMs = 0;  ///< from the question to the slowest answer
    double callMs = 0;
};

/** "camera answered: ... after 0.412 ms" */
double slowestAnswerMs() {
    constexpr const char* kAfter = " after ";
    double slowest = 0;
    for (const std::string& line : kestro::test::RecordingLogger::instance().lines(800, 800)) {
        const std::size_t at = line.rfind(kAfter);
        if (line.find("camera answered: ") == std::string::npos || at == std::string::npos)
            continue;
        slowest = std::max(slowest, std::atof(line.c_str() + at + std::strlen(kAfter)));
    }
    return slowest;
}

Call discover() {
    auto& logger = kestro::test::RecordingLogger::instance();
    logger.reset();
    logger.setEnabledLevel(800);
    Call call;
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    const auto begin = Clock::now();
    if (!kestro::System::getInstance().discovery(cameras, 0).isOK()) return call;
    call.callMs = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    call.found = static_cast<unsigned>(cameras.size());
    call.answersMs = slowestAnswerMs();
    return call;
}

void makeTwoCalls() {
    for (int i = 0; i < 2; ++i) {
        const Call call = discover();
        std::printf("%u %f %f\n", call.found, call.answersMs, call.callMs);
    }
}

/** The calls of a process of their own: the first, and the one after it. */
std::vector<Call> callsOfAnother(const std::string& program) {
    const std::string command = "'" + program + "' " + kTwoCalls;
    FILE* const output = ::popen(command.c_str(), "r");
    if (output == nullptr) throw std::runtime_error("no process can be started");
    std::vector<Call> calls(2);
    int fields = 0;
    for (Call& each : calls)
        fields += std::fscanf(output, "%u %lf %lf", &each.found, &each.answersMs, &each.callMs);
    if (::pclose(output) != 0 || fields != 6) throw std::runtime_error("a process has failed");
    return calls;
}

void report(const char* kind, std::size_t cameras, const std::vector<Call>& calls) {
    const auto spread = [&calls](const char* name, double Call::*figure) {
        std::vector<double> values;
        for (const Call& each : calls) values.push_back(each.*figure);
        std::sort(values.begin(), values.end());
        std::printf(", \"%s\": %.3f, \"%s_least\": %.3f, \"%s_most\": %.3f", name,
                    values[values.size() / 2], name, values.front(), name, values.back());
    };
    const auto isWhole = [cameras](const Call& each) { return each.found == cameras; };
    const auto least = std::min_element(
        calls.begin(), calls.end(), [](const Call& a, const Call& b) { return a.found < b.found; });
    std::printf("{\"name\": \"discovery/%s/%zu\", \"cameras\": %zu, \"calls\": %zu", kind, cameras,
                cameras, calls.size());
    std::printf(", \"whole_calls\": %td, \"found_least\": %u",
                std::count_if(calls.begin(), calls.end(), isWhole), least->found);
    spread("answers_ms", &Call::answersMs);
    spread("call_ms", &Call::callMs);
    std::printf("}\n");
    std::fflush(stdout);
}

std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> switchOn(std::size_t count) {
    std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> cameras;
    for (std::size_t i = 0; i < count; ++i) {
        kestrosim::CameraOptions options;
        options.address = "127.0.0." + std::to_string(i + 2);
        options.serial = "BENCH" + std::to_string(i);
        options.width = options.height = 64;
        options.scenes = 1;
        cameras.push_back(std::make_unique<kestrosim::SimulatedCamera>(options));
    }
    return cameras;
}

void measure(const std::string& program, std::size_t count, int calls) {
    const auto cameras = switchOn(count);
    std::vector<Call> first;
    std::vector<Call> later;
    for (int i = 0; i < calls; ++i) {
        const auto both = callsOfAnother(program);
        first.push_back(both[0]);
        later.push_back(both[1]);
    }
    report("first", count, first);
    report("later", count, later);
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    if (argc > 1 && std::strcmp(argv[1], kTwoCalls) == 0) {
        makeTwoCalls();
        return 0;
    }
    const int calls = argc > 1 ? std::atoi(argv[1]) : 20;
    if (calls < 1) return 2;
    try {
        for (const std::size_t count : {1, 64}) measure(argv[0], count, calls);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
