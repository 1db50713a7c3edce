// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StreamCounters.h"
#include "VordaGenICam.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Vorda::Gige {

/**
 * The frames that wait for the application, and the thread that calls its handlers.
 *
 * Frames go in on the receiver's thread and come out in order, either through take() or, while a
 * handler is attached, to that alone. The delivery thread owns a share of this object and nothing
 * else, so that a handler may drop the last reference to the stream. Threads: any.
 */
class FrameDelivery : public std::enable_shared_from_this<FrameDelivery> {
 public:
    using Frame = std::shared_ptr<const GenICam::CFrame::Impl>;
    enum class TakeResult { taken, timeout, closed };

    FrameDelivery(std::string key, std::shared_ptr<StreamCounters> counters);
    FrameDelivery(const FrameDelivery&) = delete;
    FrameDelivery& operator=(const FrameDelivery&) = delete;

    /**
     * Begins a run: at most `capacity` frames wait, `maxFrames` are handed out (0: no limit).
     * Throws std::system_error when no thread can be started. Needs: closed.
     */
    void open(std::size_t capacity, std::uint64_t maxFrames);
    /** Ends waits and forgets waiting frames; a handler that runs goes on. */
    void close();
    /** Waits until the run's thread has ended; called from a handler, lets it end by itself. */
    void join();
    /** Waits for the handlers that run now; called from a handler, does not. */
    void waitForHandlers();

    void push(Frame frame);
    /** Drops the frame that waits longest; false when none waits. */
    bool dropOldest();
    [[nodiscard]] TakeResult take(Frame& frame, std::chrono::milliseconds timeout);
    void clear();
    [[nodiscard]] std::size_t waitingCount() const;

    void attach(const GenICam::FrameBinding& handler);
    /** Afterwards the handler does not run, unless this was called from it. */
    void detach(const GenICam::FrameBinding& handler);

 private:
    using Handlers = std::vector<GenICam::FrameBinding>;

    /** A round of handler calls for one frame. */
    struct Call {
        std::thread::id thread;
        std::uint64_t number = 0;
    };

    void run(std::uint64_t session);
    void callHandlers(const Handlers& handlers, const GenICam::CFrame& frame,
                      std::uint64_t session);
    void callHandler(const GenICam::FrameBinding& handler, const GenICam::CFrame& frame) const;
    [[nodiscard]] bool isWanted(const GenICam::FrameBinding& handler, std::uint64_t session) const;
    // These need mutex_.
    [[nodiscard]] bool onHandlerThread() const;
    void waitForCalls(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] bool canHandOut() const;
    [[nodiscard]] Frame popFront();
    [[nodiscard]] Frame popForHandOut();

    const std::string key_;
    const std::shared_ptr<StreamCounters> counters_;

    mutable std::mutex mutex_;  ///< guards everything below
    std::condition_variable forTakers_;
    std::condition_variable forHandlers_;
    std::condition_variable idle_;
    bool open_ = false;
    std::uint64_t session_ = 0;  ///< of the current run; the delivery thread of another one ends
    std::uint64_t handOutsLeft_ = 0;
    std::vector<Frame> waiting_;  ///< a ring
    std::size_t first_ = 0;
    std::size_t count_ = 0;
    std::shared_ptr<const Handlers> handlers_ = std::make_shared<const Handlers>();
    std::uint64_t callNumber_ = 0;
    std::vector<Call> calls_;  ///< under way
    std::thread thread_;
};

}  // namespace Vorda::Gige
