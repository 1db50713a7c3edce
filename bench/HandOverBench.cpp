// SPDX-License-Identifier: Apache-2.0
//
// What the library itself costs for each frame: from the device SDK's frame to the application's,
// the image copied and the codes decoded, against one memcpy of the same image between buffers that
// exist. The two take turns in one run, so that their ratio means something on a machine that is
// not quiet.
#include "FrameDouble.h"
#include "FrameImpl.h"
#include "RecordingLogger.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kWidth = 2448;
constexpr std::uint32_t kHeight = 2048;
constexpr std::uint32_t kImageBytes = kWidth * kHeight;
constexpr std::uint32_t kTableBytes = 24 + 2 * 64;

void store(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint64_t value,
           std::size_t width) {
    for (std::size_t i = 0; i < width; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

std::string resultDocument(int codes) {
    std::string text =
        R"({"ChunkBarCodeJson":{"value":{"Status":{"value":"Complete"},"Time":{"value":12},)"
        R"("BarCode":{"value":[)";
    for (int i = 0; i < codes; ++i) {
        if (i > 0) text += ',';
        text += R"({"CodeType":{"value":"CODE128"},"CodeData":{"value":"KST-00)" +
                std::to_string(1000 + i) + R"("},"PPM":{"value":3.25})";
        for (const char* point : {"Point0", "Point1", "Point2", "Point3"}) {
            text += std::string(",\"") + point + R"(_X":{"value":1024},")" + point +
                    R"(_Y":{"value":768})";
        }
        text += '}';
    }
    return text + "]}}}}";
}

std::vector<std::uint8_t> container(int codes) {
    const std::string json = resultDocument(codes);
    std::vector<std::uint8_t> bytes(kTableBytes + kImageBytes + json.size(), 0x5a);
    std::memcpy(bytes.data(), "SMAT", 4);
    store(bytes, 8, 2, 4);
    const auto entry = [&](std::size_t at, std::uint32_t type, std::uint32_t offset,
                           std::size_t size) {
        std::memset(bytes.data() + at, 0, 64);
        store(bytes, at, type, 4);
        store(bytes, at + 4, offset, 4);
        store(bytes, at + 8, size, 4);
    };
    entry(24, 0, kTableBytes, kImageBytes);
    store(bytes, 24 + 12, kWidth, 4);
    store(bytes, 24 + 16, kHeight, 4);
    entry(24 + 64, 2, kTableBytes + kImageBytes, json.size());
    std::memcpy(bytes.data() + kTableBytes + kImageBytes, json.data(), json.size());
    return bytes;
}

void handOver(benchmark::State& state) {
    kestro::test::FrameContent content;
    content.image = container(static_cast<int>(state.range(0)));
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
        std::memcpy(pooled.data(), source.data() + kTableBytes, kImageBytes);
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
