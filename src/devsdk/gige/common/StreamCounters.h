// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace Vorda::Gige {

/** A number that one thread at a time raises and any thread reads. */
class Counter {
 public:
    void add(std::uint64_t count = 1) {
        // One writer at a time, so no locked instruction is needed for each packet.
        value_.store(value_.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
    }
    void reset() { value_.store(0, std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t get() const { return value_.load(std::memory_order_relaxed); }

 private:
    std::atomic<std::uint64_t> value_{0};
};

/** Where the buffers of a camera's latest stream are. Threads: any. */
class StreamBuffers {
 public:
    struct Count {
        std::uint64_t announced = 0;  ///< made for the stream
        std::uint64_t free = 0;       ///< ready to be received into
        std::uint64_t waiting = 0;    ///< hold a frame that the application has not taken yet
    };

    /** `count` is asked from now on; it must not wait for anything. */
    void watch(std::function<Count()> count) {
        const std::lock_guard lock(mutex_);
        count_ = std::move(count);
    }
    [[nodiscard]] Count count() const {
        const std::lock_guard lock(mutex_);
        return count_ ? count_() : Count{};
    }

 private:
    mutable std::mutex mutex_;
    std::function<Count()> count_;  ///< guarded by mutex_
};

/** What happened on a stream since its start; may be read at any time. */
struct StreamCounters {
    StreamBuffers buffers;

    Counter completeFrames;      ///< received with every byte
    Counter deliveredFrames;     ///< handed to the application
    Counter lostFrames;          ///< given up incomplete, or never seen at all
    Counter droppedOldest;       ///< complete, but the application was too slow
    Counter noBuffer;            ///< not received: the application held every buffer
    Counter tooBig;              ///< larger than the payload size at the start
    Counter unsupported;         ///< of a payload type that is not read
    Counter malformedFrames;     ///< packets that contradict each other, and were not mended
    Counter brokenChunks;        ///< complete, but without its chunks: they do not fit together
    Counter packets;             ///< from the camera, good header
    Counter batches;             ///< several packets that the kernel had put together
    Counter lostPackets;         ///< known to be missing when their frame was given up
    Counter resendRequests;      ///< datagrams that asked for packets again
    Counter resentPackets;       ///< arrived after they were asked for
    Counter unavailablePackets;  ///< asked for, but the camera no longer had them
    Counter duplicatePackets;
    Counter latePackets;       ///< of blocks that were closed already
    Counter malformedPackets;  ///< from the camera, not understood or not of its place's size
    Counter strayPackets;      ///< from another address
    Counter hostDrops;         ///< datagrams that found the socket's receive buffer full
    Counter cameraRestarts;    ///< block ids began anew
    Counter reconnects;        ///< resumed, because the camera was lost and is back

    /** Sets the counters to 0; the buffers stay what they are. */
    void reset();
    /** The counters that are not 0: "complete 12, delivered 12, packets 48". */
    [[nodiscard]] std::string text() const;
};

}  // namespace Vorda::Gige
