// SPDX-License-Identifier: Apache-2.0
//
// How many of 1 and of 64 simulated cameras one call finds, when it has taken the slowest answer in
// and when it is over. The cameras stand on 127.0.0.2 and the addresses after it; the question is a
// broadcast: run it where loopback is the only network.
//
// Only a process's first call knows of no camera, so each call that is measured is made in a
// process of its own, the later ones as its second; it reads the lines of the library's trace.
#include <kestro/kestro.h>

#include "ChildProcess.h"
#include "RecordingLogger.h"
#include "Simulator.h"
#include "Turns.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/** The first word of the command line of a process that measures; the second is how many calls. */
constexpr const char* kCall = "call";
/** Of each kind. */
constexpr int kCalls = 20;

/** What one call came to. */
struct Call {
    double found = 0;
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
    call.found = static_cast<double>(cameras.size());
    call.answersMs = slowestAnswerMs();
    return call;
}

int measureHere(int calls) {
    Call call;
    while (calls-- > 0) call = discover();
    std::printf("%.0f %f %f\n", call.found, call.answersMs, call.callMs);
    return 0;
}

/** The last of so many calls of a process of their own. */
Call measureElsewhere(const std::string& program, int calls) {
    const std::string words = std::string(kCall) + " " + std::to_string(calls);
    const auto numbers = kestro::bench::numbersFrom(program, words, 3);
    return {numbers[0], numbers[1], numbers[2]};
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

void repeatedly(benchmark::State& state, const std::string& program, int calls) {
    const auto cameras = switchOn(static_cast<std::size_t>(state.range(0)));
    Call call;
    for (auto _ : state) call = measureElsewhere(program, calls);
    state.counters["found"] = call.found;
    state.counters["answers_ms"] = call.answersMs;
    state.counters["call_ms"] = call.callMs;
}

}  // namespace

int main(int argc, char** argv) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    try {
        if (argc == 3 && argv[1] == std::string(kCall)) return measureHere(std::atoi(argv[2]));
        benchmark::Initialize(&argc, argv);
        const std::string program = argv[0];
        for (const auto& [name, calls] : {std::pair{"discovery/first", 1}, {"discovery/later", 2}})
            benchmark::RegisterBenchmark(name, repeatedly, program, calls)
                ->ArgName("cameras")
                ->Arg(1)
                ->Arg(64)
                ->Iterations(1)
                ->Apply(kestro::bench::repeat)
                ->Repetitions(kCalls);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
