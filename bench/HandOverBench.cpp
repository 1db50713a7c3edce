// SPDX-License-Identifier: Apache-2.0
//
// What the library itself costs for each frame of 5 megapixels: from the device SDK's frame to the
// application's, the image copied and the codes decoded, against one memcpy of the same image. The
// frames take turns in two buffers of the device SDK's pool, as those of a stream do at least; both
// sides copy out of either into the same buffer of the library's pool, because which pages a buffer
// has makes more of a difference than the codes.
#include "ChunkedPayload.h"
#include "CodedFrame.h"
#include "FrameImpl.h"
#include "ImageBufferPool.h"
#include "ReceivedFrame.h"
#include "Turns.h"

#include <cstdint>
#include <cstring>

namespace {

using namespace kestro::bench;
using Vorda::GenICam::CFrame;
using Vorda::Gige::BufferPool;
using Vorda::Gige::Bytes;
using Vorda::Gige::GvspLeader;

constexpr std::uint32_t kWidth = 2448;
constexpr std::uint32_t kHeight = 2048;
constexpr std::uint32_t kImageBytes = kWidth * kHeight;
constexpr std::uint32_t kJpegBytes = kImageBytes / 5;
constexpr int kRounds = 300;

/** A payload and where its image lies. */
struct Road {
    Bytes payload;
    std::uint16_t payloadType = Vorda::Gige::kGvspImage;
    std::uint32_t imageAt = kTableBytes;
    std::uint32_t imageBytes = kImageBytes;
};

Road rawContainer(int codes) { return {.payload = container(kWidth, kHeight, codes)}; }

Road jpegContainer(int codes) {
    return {.payload = container({kWidth, kHeight, kJpegBytes, true}, codes),
            .imageBytes = kJpegBytes};
}

Road imageAndChunks(int codes) {
    const auto barcodes = std::min<std::uint32_t>(static_cast<std::uint32_t>(codes), kSlots);
    const std::uint32_t qrCodes = static_cast<std::uint32_t>(codes) - barcodes;
    return {.payload = chunkedPayload(kImageBytes, barcodes, qrCodes),
            .payloadType = Vorda::Gige::kGvspImage | Vorda::Gige::kGvspChunkBit,
            .imageAt = 0};
}

/** A buffer of the library's pool for as long as this lives. */
class PooledBuffer {
 public:
    explicit PooledBuffer(std::size_t size)
        : bytes_(kestro::ImageBufferPool::instance().take(size)) {}
    ~PooledBuffer() { kestro::ImageBufferPool::instance().giveBack(bytes_); }
    PooledBuffer(const PooledBuffer&) = delete;
    PooledBuffer& operator=(const PooledBuffer&) = delete;

    [[nodiscard]] std::uint8_t* data() const { return bytes_; }

 private:
    std::uint8_t* bytes_;
};

void handOver(benchmark::State& state, Road (*makeRoad)(int)) {
    const auto codes = static_cast<std::size_t>(state.range(0));
    const Road road = makeRoad(static_cast<int>(codes));
    const GvspLeader leader{.payloadType = road.payloadType, .width = kWidth, .height = kHeight};
    const auto pool = BufferPool::create(2, road.payload.size());
    const CFrame frames[] = {received(*pool, road.payload, leader, chunkLayout()),
                             received(*pool, road.payload, leader, chunkLayout())};
    std::size_t round = 0;
    const auto nextFrame = [&]() -> const CFrame& { return frames[round++ % 2]; };

    std::size_t codesMade = 0;
    const Sides sides = takeTurns(
        state,
        [&](Times& times) {
            const CFrame& frame = nextFrame();
            std::shared_ptr<const kestro::Frame> made;
            times.take([&] { made = kestro::FrameImpl::create(frame); });
            const bool isWhole = made && made->getImageSize() == road.imageBytes;
            codesMade += isWhole ? made->getBarcodes().size() : 0;
        },
        [&](Times& times) {
            const auto* image = static_cast<const std::uint8_t*>(nextFrame().getImage());
            const PooledBuffer copy(road.imageBytes);
            times.take([&] {
                std::memcpy(copy.data(), image + road.imageAt, road.imageBytes);
                benchmark::ClobberMemory();
            });
        });
    require(codesMade == codes * sides.first.count(), "codes are missing");
    report(state, sides, "hand_over", "memcpy");
}

void counts(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("codes")->Arg(0)->Arg(20)->Arg(128)->Iterations(kRounds)->Apply(repeat);
}

BENCHMARK_CAPTURE(handOver, container, rawContainer)->Apply(counts);
BENCHMARK_CAPTURE(handOver, jpegContainer, jpegContainer)->Apply(counts);
BENCHMARK_CAPTURE(handOver, chunks, imageAndChunks)->Apply(counts);

}  // namespace

BENCHMARK_MAIN();
