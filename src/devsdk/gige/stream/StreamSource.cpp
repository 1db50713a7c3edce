// SPDX-License-Identifier: Apache-2.0
#include "StreamSource.h"

#include "BufferPool.h"
#include "DeviceLog.h"
#include "FrameDelivery.h"
#include "HeldLines.h"
#include "LastError.h"
#include "ReceivedFrame.h"
#include "StreamReceiver.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

namespace Vorda::Gige {

using GenICam::CFrame;
using GenICam::FrameBinding;

namespace {

constexpr std::uint32_t kDefaultBuffers = 8;
constexpr std::uint32_t kMostBuffers = 1024;
/** No camera's image is larger; a larger number is a description gone wrong. */
constexpr std::uint32_t kLargestPayload = std::uint32_t{1} << 30;

class StreamSource final : public GenICam::IStreamSource,
                           public LinkedStream,
                           public std::enable_shared_from_this<StreamSource> {
 public:
    StreamSource(std::shared_ptr<CameraLink> link, std::shared_ptr<StreamCounters> counters)
        : link_(std::move(link)),
          counters_(std::move(counters)),
          delivery_(std::make_shared<FrameDelivery>(link_->key(), counters_)) {}
    ~StreamSource() override;

    bool startGrabbing(std::uint64_t maxImages, int strategy) override;
    bool stopGrabbing() override;
    bool isGrabbing() const override;
    bool getFrame(CFrame& frame, std::uint32_t timeoutMs) override;
    bool attachGrabbing(const FrameBinding& handler) override;
    bool detachGrabbing(const FrameBinding& handler) override;
    bool setBufferCount(std::uint32_t count) override;
    bool clearFrameBuffer() override;
    bool resume() override;

 private:
    /** All but stopped and grabbing belong to the one thread that made the transition. */
    enum class State { stopped, starting, grabbing, resuming, stopping };

    [[nodiscard]] bool start(std::uint64_t maxImages);
    [[nodiscard]] bool startReceiver(const StreamSetup& setup, std::uint64_t maxImages);
    void undoStart();
    [[nodiscard]] bool beginResume();
    [[nodiscard]] bool goOn();
    [[nodiscard]] bool isStopAsked() const;
    [[nodiscard]] bool preparePool(std::uint32_t payloadBytes);
    void watchBuffers();
    [[nodiscard]] bool stop();
    [[nodiscard]] bool beginStop();
    void setState(State state);
    void logSummary() const;

    const std::shared_ptr<CameraLink> link_;
    const std::shared_ptr<StreamCounters> counters_;
    const std::shared_ptr<FrameDelivery> delivery_;

    mutable std::mutex mutex_;  ///< guards these
    std::condition_variable stateChanged_;
    State state_ = State::stopped;
    bool stopAsked_ = false;  ///< by a thread that waits for the end of a start or resume
    std::uint32_t bufferCount_ = kDefaultBuffers;

    // Used only by the thread that starts, resumes or stops.
    std::shared_ptr<BufferPool> pool_;
    std::unique_ptr<StreamReceiver> receiver_;
    bool channelOpen_ = false;  ///< ours to close
};

StreamSource::~StreamSource() {
    const KeepLastError kept;
    if (beginStop()) static_cast<void>(stop());
    delivery_->waitForHandlers();
}

bool StreamSource::startGrabbing(std::uint64_t maxImages, int strategy) {
    if (strategy != 0)
        return fail(Error::notSupported, "grab strategy " + std::to_string(strategy));
    const HeldLines lines;  // whoever is called by the log may stop this stream, and would wait
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::stopped) return fail(Error::alreadyGrabbing, {});
        state_ = State::starting;
    }
    bool started = false;
    try {
        started = start(maxImages);
    } catch (const std::exception& error) {
        setLastError(Error::system, std::string("start of the stream: ") + error.what());
    }
    if (!started) undoStart();
    setState(started ? State::grabbing : State::stopped);
    return started;
}

/** The socket is ready before the camera knows its port, and the threads before it may send. */
bool StreamSource::start(std::uint64_t maxImages) {
    receiver_ = std::make_unique<StreamReceiver>(*link_, *delivery_, *counters_);
    StreamSetup setup;
    channelOpen_ =
        receiver_->open() && link_->openStreamChannel(*receiver_, setup, weak_from_this());
    if (!channelOpen_) return false;
    counters_->reset();  // not before: until then they may be those of another, running stream
    return startReceiver(setup, maxImages) && link_->startAcquisition();
}

bool StreamSource::startReceiver(const StreamSetup& setup, std::uint64_t maxImages) {
    if (!preparePool(setup.payloadBytes)) return false;
    watchBuffers();
    try {
        delivery_->open(pool_->count(), maxImages);
    } catch (const std::exception& error) {
        return fail(Error::system, std::string("frame delivery: ") + error.what());
    }
    return receiver_->start(setup, pool_);
}

/** A camera may send before it says that it will not: a handler may run, and stop this stream. */
void StreamSource::undoStart() {
    const KeepLastError kept;
    setState(State::stopping);  // such a handler must not wait for the start, which waits for it
    delivery_->close();
    delivery_->join();
    if (std::exchange(channelOpen_, false)) link_->closeStreamChannel(weak_from_this());
    receiver_.reset();
}

/**
 * To the application the stream has never stopped: its handlers, its waits for a frame and its
 * counters go on. What was under way when the camera was lost will not be completed.
 */
bool StreamSource::resume() {
    if (!beginResume()) return true;
    bool resumed = false;
    try {
        resumed = goOn();
    } catch (const std::exception& error) {
        setLastError(Error::system, std::string("resuming the stream: ") + error.what());
    }
    setState(State::grabbing);
    return resumed;
}

bool StreamSource::beginResume() {
    std::unique_lock lock(mutex_);
    stateChanged_.wait(lock, [this] { return state_ != State::starting; });
    if (state_ != State::grabbing || stopAsked_) return false;
    state_ = State::resuming;
    return true;
}

/** A receiver of its own: the camera may now be behind another interface of this host. */
bool StreamSource::goOn() {
    if (receiver_) receiver_->breakOff();
    receiver_ = std::make_unique<StreamReceiver>(*link_, *delivery_, *counters_);
    StreamSetup setup;
    if (!receiver_->open() || !link_->openStreamChannel(*receiver_, setup, weak_from_this()))
        return false;
    if (isStopAsked()) return true;
    if (!preparePool(setup.payloadBytes)) return false;
    watchBuffers();
    if (!receiver_->start(setup, pool_)) return false;
    if (isStopAsked()) return true;
    if (!link_->startAcquisition()) return false;
    counters_->reconnects.add();
    return true;
}

bool StreamSource::isStopAsked() const {
    const std::lock_guard lock(mutex_);
    return stopAsked_;
}

bool StreamSource::preparePool(std::uint32_t payloadBytes) {
    if (payloadBytes == 0 || payloadBytes > kLargestPayload) {
        return fail(Error::badAnswer,
                    "the camera announces a payload of " + std::to_string(payloadBytes) + " bytes");
    }
    // bufferCount_ does not change while starting. Frames that the application still holds keep
    // their old pool alive.
    if (pool_ && pool_->count() == bufferCount_ && pool_->capacity() == payloadBytes) return true;
    pool_.reset();
    pool_ = BufferPool::create(bufferCount_, payloadBytes);
    return pool_ != nullptr;
}

void StreamSource::watchBuffers() {
    counters_->buffers.watch([pool = std::weak_ptr<const BufferPool>(pool_),
                              delivery = std::weak_ptr<const FrameDelivery>(delivery_)] {
        const auto buffers = pool.lock();
        const auto frames = delivery.lock();
        if (!buffers || !frames) return StreamBuffers::Count{};
        return StreamBuffers::Count{buffers->count(), buffers->freeCount(), frames->waitingCount()};
    });
}

bool StreamSource::stopGrabbing() {
    if (!beginStop()) {
        delivery_->waitForHandlers();
        return fail(Error::notGrabbing, {});
    }
    return stop();
}

/** True when this thread is the one to stop; waits while another starts or resumes. */
bool StreamSource::beginStop() {
    std::unique_lock lock(mutex_);
    stopAsked_ = state_ == State::grabbing || state_ == State::resuming;
    stateChanged_.wait(lock,
                       [this] { return state_ != State::starting && state_ != State::resuming; });
    if (state_ != State::grabbing) return false;
    state_ = State::stopping;
    return true;
}

bool StreamSource::stop() {
    delivery_->close();  // first, so that no application thread waits for the camera's answers
    bool stopped = link_->stopAcquisition(weak_from_this());
    if (!stopped && !link_->isOnline()) stopped = true;  // a camera that is gone sends nothing
    {
        const KeepLastError kept;
        channelOpen_ = false;
        link_->closeStreamChannel(weak_from_this());
        receiver_.reset();
        logSummary();
        delivery_->join();
        delivery_->waitForHandlers();
    }
    setState(State::stopped);
    return stopped;
}

void StreamSource::setState(State state) {
    const std::lock_guard lock(mutex_);
    state_ = state;
    if (state == State::stopped) stopAsked_ = false;
    stateChanged_.notify_all();
}

void StreamSource::logSummary() const {
    const std::string counts = counters_->text();
    GIGE_LOG(kDebug, "The stream of [%s] stopped: %s", link_->key(), counts.c_str());
    const std::uint64_t incomplete = counters_->lostFrames.get() + counters_->noBuffer.get() +
                                     counters_->tooBig.get() + counters_->unsupported.get() +
                                     counters_->malformedFrames.get();
    if (incomplete == 0) return;
    GIGE_LOG(kWarning, "The stream of [%s] lost %I64u frames: %s", link_->key(), incomplete,
             counts.c_str());
}

bool StreamSource::isGrabbing() const {
    const std::lock_guard lock(mutex_);
    return state_ == State::grabbing || state_ == State::resuming;
}

bool StreamSource::getFrame(CFrame& frame, std::uint32_t timeoutMs) {
    FrameDelivery::Frame taken;
    switch (delivery_->take(taken, std::chrono::milliseconds(timeoutMs))) {
        case FrameDelivery::TakeResult::taken:
            frame = CFrame(std::move(taken));
            return true;
        case FrameDelivery::TakeResult::timeout:
            return fail(Error::timeout, {});
        case FrameDelivery::TakeResult::closed:
            break;
    }
    return fail(Error::notGrabbing, {});
}

bool StreamSource::attachGrabbing(const FrameBinding& handler) {
    if (!handler) return fail(Error::invalidArgument, "the frame handler is empty");
    delivery_->attach(handler);
    return true;
}

bool StreamSource::detachGrabbing(const FrameBinding& handler) {
    delivery_->detach(handler);
    return true;
}

bool StreamSource::setBufferCount(std::uint32_t count) {
    if (count == 0 || count > kMostBuffers) {
        return fail(Error::invalidArgument, "buffer count " + std::to_string(count) +
                                                ": not in 1.." + std::to_string(kMostBuffers));
    }
    const std::lock_guard lock(mutex_);
    if (state_ != State::stopped) return fail(Error::alreadyGrabbing, {});
    bufferCount_ = count;
    return true;
}

bool StreamSource::clearFrameBuffer() {
    if (!isGrabbing()) return fail(Error::notGrabbing, {});
    delivery_->clear();
    return true;
}

}  // namespace

Memory::TSharedPtr<GenICam::IStreamSource> makeStreamSource(
    std::shared_ptr<CameraLink> link, std::shared_ptr<StreamCounters> counters) {
    return Memory::makeForThisProcess<StreamSource>(std::move(link), std::move(counters));
}

}  // namespace Vorda::Gige
