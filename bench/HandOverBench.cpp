// SPDX-License-Identifier: Apache-2.0
//
// What the library itself costs for each frame: from the device SDK's frame to the application's,
// the image copied and the codes decoded, against one memcpy of the same image between buffers that
// exist. The two take turns in one run, so that their ratio means something on a machine that is
// not quiet.
#include "CodedFrame.h"
#include "FrameDouble.h"
#include "FrameImpl.h"
#include "RecordingLogger.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kWidth = 2448;
constexpr std::uint32_t kHeight = 2048;
constexpr std::uint32_t kImageBytes = kWidth * kHeight;

void handOver(benchmark::State& state) {
    kestro::test::FrameContent content;
    content.image = kestro::bench::container(kWidth, kHeight, static_cast<int>(state.range(0)));
    const std::vector<std::uint8_t> source = content.image;
    const Vorda::GenICam::CFrame frame = kestro::test::makeFrame(std::move(content));
    std::vector<std::uint8_t> pooled(kImageBytes);
    kestro::test::RecordingLogger::instance().reset();

    Clock::duration handedOver{};
    Clock::duration copied{};
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        const auto made = kestro::FrameImpl::create(frame);
        benchmark::DoNotOptimize(made.get());
        const Clock::time_point middle = Clock::now();
        std::memcpy(pooled.data(), source.data() + kestro::bench::kTableBytes, kImageBytes);
        benchmark::ClobberMemory();
        handedOver += middle - start;
        copied += Clock::now() - middle;
        if (!made || made->getBarcodes().size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("the frame was not decoded");
        }
    }
    using Microseconds = std::chrono::duration<double, std::micro>;
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["hand_over_us"] = Microseconds(handedOver).count() / rounds;
    state.counters["memcpy_us"] = Microseconds(copied).count() / rounds;
    state.counters["ratio"] = Microseconds(handedOver) / Microseconds(copied);
}

BENCHMARK(handOver)->Arg(0)->Arg(20)->Arg(128)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
