// SPDX-License-Identifier: Apache-2.0
//
// What the result text of a frame costs: from a container whose picture is one pixel to the frame
// with its codes; and, where json11 is at hand (KESTRO_JSON11_DIR), the same text through json11 to
// the same codes, in turns. A turn is several documents: json11 leaves the heap in a state in which
// ours needs half as long again for the next ones, which no application sees.
#include "CodedFrame.h"
#include "FrameDouble.h"
#include "FrameImpl.h"
#include "RecordingLogger.h"
#include "Turns.h"

#ifdef KESTRO_HAS_JSON11
#include "Json11Codes.h"
#endif

#include <algorithm>
#include <string>
#include <utility>

namespace {

using namespace kestro::bench;

constexpr int kDocumentsInATurn = 50;

void repeatForCodes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("codes")->Arg(1)->Arg(20)->Arg(128)->Arg(500);
    constexpr int kTurns = 40;
    benchmark->Iterations(kTurns)->Apply(repeat);
}

#ifdef KESTRO_HAS_JSON11
bool areEqual(const kestro::BarcodeInfo& a, const kestro::BarcodeInfo& b) {
    const auto isSamePlace = [](const kestro::Point& p, const kestro::Point& q) {
        return p.x == q.x && p.y == q.y;
    };
    return a.getCodeType() == b.getCodeType() && a.getCodeTypeName() == b.getCodeTypeName() &&
           a.getCodeData() == b.getCodeData() && a.getPPM() == b.getPPM() &&
           std::equal(a.getPoints().begin(), a.getPoints().end(), b.getPoints().begin(),
                      b.getPoints().end(), isSamePlace);
}

/** Whether both sides do the same work. */
bool bothMakeTheSame(const Vorda::GenICam::CFrame& frame, const std::string& text) {
    const auto ours = kestro::FrameImpl::create(frame)->getBarcodes();
    const auto json11s = json11Codes(text);
    return std::equal(ours.begin(), ours.end(), json11s.begin(), json11s.end(),
                      [](const auto& a, const auto& b) { return areEqual(*a, *b); });
}
#endif

void resultJson(benchmark::State& state) {
    const auto codes = static_cast<std::size_t>(state.range(0));
    kestro::test::FrameContent content;
    content.image = container({1, 1, 512, false}, static_cast<int>(codes));
    const auto frame = kestro::test::makeFrame(std::move(content));
    const std::string text = resultDocument(static_cast<int>(codes));
    kestro::test::RecordingLogger::instance().reset();

    bool isComplete = true;
#ifdef KESTRO_HAS_JSON11
    require(bothMakeTheSame(frame, text), "the codes differ");
#endif
    const Sides sides = takeTurns(
        state,
        [&](Times& times) {
            times.take([&] {
                const auto made = kestro::FrameImpl::create(frame);
                isComplete = isComplete && made && made->getBarcodes().size() == codes;
            });
        },
        [&](Times& times) {
#ifdef KESTRO_HAS_JSON11
            times.take([&] { isComplete = isComplete && json11Codes(text).size() == codes; });
#else
            static_cast<void>(times);
#endif
        },
        kDocumentsInATurn);
    require(isComplete, "codes are missing");
#ifdef KESTRO_HAS_JSON11
    report(state, sides, "kestro", "json11");
#else
    state.counters["kestro_us"] = medianOf(sides.first);
#endif
    state.counters["ns_per_code"] = 1000 * medianOf(sides.first) / static_cast<double>(codes);
}

BENCHMARK(resultJson)->Apply(repeatForCodes);

}  // namespace

BENCHMARK_MAIN();
