// SPDX-License-Identifier: Apache-2.0
//
// What the codes in a frame's chunks cost: from the payload that came in to the lines of the device
// SDK's frame, and on to the application's codes. The picture is tiny, so that its copy does not
// count.
#include "ChunkedPayload.h"
#include "FrameImpl.h"
#include "ReceivedFrame.h"
#include "Turns.h"

#include <algorithm>

namespace {

using namespace kestro::bench;
using Vorda::GenICam::CFrame;

constexpr std::size_t kLinesOfFrame = 4;
constexpr std::size_t kLinesOfCode = 12;

std::size_t countLines(const CFrame& frame) {
    static Vorda::GenICam::TVector<Vorda::Infra::CString> lines;
    std::size_t count = 0;
    for (unsigned i = 0; i < frame.getChunkCount(); ++i) {
        unsigned id = 0;
        frame.getChunkDataByIndex(i, id, lines);
        count += lines.size();
    }
    return count;
}

CFrame frameWith(std::uint32_t barcodes, std::uint32_t qrCodes) {
    // Too small a part of its buffer for that to be given away.
    constexpr std::uint32_t kImage = 16;
    const Vorda::Gige::Bytes payload = chunkedPayload(kImage, barcodes, qrCodes);
    const auto pool = Vorda::Gige::BufferPool::create(1, payload.size());
    Vorda::Gige::GvspLeader leader;
    leader.payloadType = Vorda::Gige::kGvspImage | Vorda::Gige::kGvspChunkBit;
    const unsigned slots = std::max({kSlots, barcodes, qrCodes});
    return received(*pool, payload, described(payload, leader, chunkLayout(slots)));
}

/**
 * The whole frame in turns with its lines alone, and with a frame without codes: what lies between
 * is the reading of the texts, up to the vector of codes.
 */
void chunks(benchmark::State& state) {
    const auto barcodes = static_cast<std::uint32_t>(state.range(0));
    const auto qrCodes = static_cast<std::uint32_t>(state.range(1));
    const std::size_t codes = barcodes + qrCodes;
    const CFrame frame = frameWith(barcodes, qrCodes);
    const CFrame empty = frameWith(0, 0);
    Times emptyWhole;
    Times emptyLines;
    std::size_t framesMade = 0;
    std::size_t codesMade = 0;
    std::size_t linesMade = 0;
    bool isEmptyFirst = false;  // the second one finds a warmer cache
    const auto both = [&](Times& times, Times& emptyTimes, const auto& work) {
        if (isEmptyFirst) emptyTimes.take([&] { work(empty); });
        times.take([&] { work(frame); });
        if (!isEmptyFirst) emptyTimes.take([&] { work(empty); });
    };
    const Sides sides = takeTurns(
        state,
        [&](Times& times) {
            isEmptyFirst = !isEmptyFirst;
            both(times, emptyWhole, [&](const CFrame& from) {
                const auto made = kestro::FrameImpl::create(from);
                framesMade += made ? 1 : 0;
                codesMade += made ? made->getBarcodes().size() : 0;
            });
        },
        [&](Times& times) {
            both(times, emptyLines, [&](const CFrame& from) { linesMade += countLines(from); });
        });

    const std::size_t rounds = sides.first.count();
    require(framesMade == 2 * rounds, "frames are missing");
    require(codesMade == rounds * codes, "codes are missing");
    require(linesMade == rounds * (2 * kLinesOfFrame + kLinesOfCode * codes), "lines are missing");
    const auto each = [&](const Times& with, const Times& without) {
        return 1000 * (medianOf(with) - medianOf(without)) / static_cast<double>(codes);
    };
    const double whole = each(sides.first, emptyWhole);
    const double lines = each(sides.second, emptyLines);
    state.counters["frame_ns"] = 1000 * medianOf(emptyWhole);
    state.counters["whole_ns_per_code"] = whole;
    state.counters["lines_ns_per_code"] = lines;
    state.counters["ns_per_code"] = whole - lines;  // from the texts to the codes
}

constexpr int kRounds = 4000;

BENCHMARK(chunks)
    ->ArgNames({"barcodes", "qr"})
    ->Args({1, 0})
    ->Args({20, 0})
    ->Args({64, 0})
    ->Args({64, 64})
    ->Args({250, 250})
    ->Iterations(kRounds)
    ->Apply(repeat);

}  // namespace

BENCHMARK_MAIN();
