// SPDX-License-Identifier: Apache-2.0
//
// What the library itself costs for each frame: from the device SDK's frame to the application's,
// against one memcpy of the same image into a buffer of the library's pool. What CameraImpl does
// around it for a callback is in CallbackBench.cpp.
//
// On the road `given` the device SDK gives the frame's buffer away. On the road `copied` the frame
// is shared, and so its image is copied. Two frames take turns, as those of a stream do at least,
// and both roads are compared with the same copies of both into one buffer of the library's pool:
// which pages a buffer has makes more of a difference than the codes. Nothing is written into the
// frames between the rounds, for what that leaves in the caches is not the library's.
#include "ChunkedPayload.h"
#include "CodedFrame.h"
#include "FrameImpl.h"
#include "ImageBufferPool.h"
#include "ReceivedFrame.h"
#include "Turns.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace {

using namespace kestro::bench;
using Vorda::GenICam::CFrame;
using Vorda::Gige::BufferPool;
using Vorda::Gige::Bytes;
using Vorda::Gige::FrameInfo;
using Vorda::Gige::GvspLeader;

struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    [[nodiscard]] std::uint32_t bytes() const { return width * height; }
};

/** A payload and where its image lies. */
struct Payload {
    Bytes bytes;
    std::uint16_t type = Vorda::Gige::kGvspImage;
    std::uint32_t imageAt = kTableBytes;
    std::uint32_t imageBytes = 0;
};

Payload rawContainer(Size size, std::uint32_t codes) {
    return {.bytes = container(size.width, size.height, static_cast<int>(codes)),
            .imageBytes = size.bytes()};
}

/** Of a camera whose payload size is that of its files, not that of raw images. */
Payload jpegContainer(Size size, std::uint32_t codes) {
    const std::uint32_t imageBytes = size.bytes() / 5;
    return {
        .bytes = container({size.width, size.height, imageBytes, true}, static_cast<int>(codes)),
        .imageBytes = imageBytes};
}

Payload imageAndChunks(Size size, std::uint32_t codes) {
    const std::uint32_t barcodes = std::min<std::uint32_t>(codes, kSlots);
    return {.bytes = chunkedPayload(size.bytes(), barcodes, codes - barcodes),
            .type = Vorda::Gige::kGvspImage | Vorda::Gige::kGvspChunkBit,
            .imageAt = 0,
            .imageBytes = size.bytes()};
}

enum class Road { copied, given };

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

/** A stream whose frames are all the same, in two memories that take turns. */
class GivingStream {
 public:
    GivingStream(const Bytes& payload, FrameInfo info)
        : pool_(BufferPool::create(1, payload.size())), info_(std::move(info)) {
        // Another one takes the place of the memory that is given away first.
        for (int i = 0; i < 2; ++i) {
            const CFrame frame = received(*pool_, payload, info_);
            static_cast<void>(kestro::FrameImpl::create(frame));
        }
    }
    CFrame next() { return CFrame(pool_->makeFrame(*pool_->take(), info_)); }

 private:
    const std::shared_ptr<BufferPool> pool_;
    const FrameInfo info_;
};

void handOver(benchmark::State& state, Payload (*make)(Size, std::uint32_t), Road road) {
    const Size size{static_cast<std::uint32_t>(state.range(0)),
                    static_cast<std::uint32_t>(state.range(1))};
    const auto codes = static_cast<std::uint32_t>(state.range(2));
    const Payload payload = make(size, codes);
    const GvspLeader leader{
        .payloadType = payload.type, .width = size.width, .height = size.height};
    const auto info = described(payload.bytes, leader, chunkLayout());
    const auto pool = BufferPool::create(2, payload.bytes.size());
    const CFrame frames[] = {received(*pool, payload.bytes, info),
                             received(*pool, payload.bytes, info)};
    GivingStream stream(payload.bytes, info);
    std::size_t turn = 0;

    const auto copyImage = [&](Times* times) {
        const auto* image = static_cast<const std::uint8_t*>(frames[turn++ % 2].getImage());
        const PooledBuffer copy(payload.imageBytes);
        const auto work = [&] {
            std::memcpy(copy.data(), image + payload.imageAt, payload.imageBytes);
            benchmark::ClobberMemory();
        };
        times ? times->take(work) : work();
    };
    std::size_t codesMade = 0;
    bool isAsMeant = true;
    const Sides sides = takeTurns(
        state,
        [&](Times& times) {
            if (road == Road::given) copyImage(nullptr);  // the caches are no warmer than otherwise
            const CFrame frame = road == Road::given ? stream.next() : frames[turn++ % 2];
            std::shared_ptr<const kestro::Frame> made;
            times.take([&] { made = kestro::FrameImpl::create(frame); });
            isAsMeant = isAsMeant && made && made->getImageSize() == payload.imageBytes &&
                        frame.valid() == (road == Road::copied);
            if (made) codesMade += made->getBarcodes().size();
        },
        [&](Times& times) { copyImage(&times); });
    require(isAsMeant, "a frame took another road");
    require(codesMade == codes * sides.first.count(), "codes are missing");
    report(state, sides, "hand_over", "memcpy");
}

constexpr Size kSizes[] = {{640, 480}, {2448, 2048}, {5472, 3648}};

void sizesAndCodes(benchmark::internal::Benchmark* benchmark) {
    constexpr int kRounds = 100;
    benchmark->ArgNames({"width", "height", "codes"});
    for (const Size& size : kSizes)
        for (const int codes : {0, 20, 128}) benchmark->Args({size.width, size.height, codes});
    benchmark->Iterations(kRounds)->Apply(repeat);
}

BENCHMARK_CAPTURE(handOver, container_copied, rawContainer, Road::copied)->Apply(sizesAndCodes);
BENCHMARK_CAPTURE(handOver, container_given, rawContainer, Road::given)->Apply(sizesAndCodes);
BENCHMARK_CAPTURE(handOver, jpeg_copied, jpegContainer, Road::copied)->Apply(sizesAndCodes);
BENCHMARK_CAPTURE(handOver, jpeg_given, jpegContainer, Road::given)->Apply(sizesAndCodes);
BENCHMARK_CAPTURE(handOver, chunks_copied, imageAndChunks, Road::copied)->Apply(sizesAndCodes);
BENCHMARK_CAPTURE(handOver, chunks_given, imageAndChunks, Road::given)->Apply(sizesAndCodes);

}  // namespace

BENCHMARK_MAIN();
