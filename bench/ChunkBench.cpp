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

/**
 * The whole frame in turns with its lines alone: what lies between is the reading of the texts, up
 * to the vector of codes, and the frame itself.
 */
void chunks(benchmark::State& state) {
    const auto barcodes = static_cast<std::uint32_t>(state.range(0));
    const auto qrCodes = static_cast<std::uint32_t>(state.range(1));
    const std::size_t codes = barcodes + qrCodes;
    const Vorda::Gige::Bytes payload = chunkedPayload(64, barcodes, qrCodes);
    const auto pool = Vorda::Gige::BufferPool::create(1, payload.size());
    Vorda::Gige::GvspLeader leader;
    leader.payloadType = Vorda::Gige::kGvspImage | Vorda::Gige::kGvspChunkBit;
    const unsigned slots = std::max({kSlots, barcodes, qrCodes});
    const CFrame frame = received(*pool, payload, described(payload, leader, chunkLayout(slots)));
    std::size_t codesMade = 0;
    std::size_t linesMade = 0;
    const Sides sides = takeTurns(
        state,
        [&](Times& times) {
            times.take([&] {
                const auto made = kestro::FrameImpl::create(frame);
                codesMade += made ? made->getBarcodes().size() : 0;
            });
        },
        [&](Times& times) { times.take([&] { linesMade += countLines(frame); }); });

    const std::size_t rounds = sides.first.count();
    require(codesMade == rounds * codes, "codes are missing");
    require(linesMade == rounds * (4 + 12 * codes), "lines are missing");
    const double whole = 1000 * medianOf(sides.first) / static_cast<double>(codes);
    const double lines = 1000 * medianOf(sides.second) / static_cast<double>(codes);
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
