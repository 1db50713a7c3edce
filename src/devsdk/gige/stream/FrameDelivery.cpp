// SPDX-License-Identifier: Apache-2.0
#include "FrameDelivery.h"

#include "DeviceLog.h"
#include "NamedThread.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace Vorda::Gige {

using GenICam::CFrame;
using GenICam::FrameBinding;

FrameDelivery::FrameDelivery(std::string key, std::shared_ptr<StreamCounters> counters)
    : key_(std::move(key)), counters_(std::move(counters)) {}

void FrameDelivery::open(std::size_t capacity, std::uint64_t maxFrames) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t session = ++session_;
    waiting_.assign(capacity, nullptr);
    first_ = count_ = 0;
    handOutsLeft_ = maxFrames != 0 ? maxFrames : std::numeric_limits<std::uint64_t>::max();
    thread_ = startNamedThread("kst-deliver",
                               [self = shared_from_this(), session] { self->run(session); });
    open_ = true;
}

void FrameDelivery::close() {
    std::vector<Frame> forgotten;
    const std::lock_guard lock(mutex_);
    open_ = false;
    ++session_;
    forgotten.swap(waiting_);
    first_ = count_ = 0;
    forTakers_.notify_all();
    forHandlers_.notify_all();
}

void FrameDelivery::join() {
    std::thread thread;
    {
        const std::lock_guard lock(mutex_);
        thread.swap(thread_);
        // A handler that stops its own stream cannot wait for itself: its thread ends after it.
        if (onHandlerThread() && thread.joinable()) thread.detach();
    }
    if (thread.joinable()) thread.join();
}

void FrameDelivery::waitForHandlers() {
    std::unique_lock lock(mutex_);
    waitForCalls(lock);
}

void FrameDelivery::push(Frame frame) {
    Frame oldest;  // released after the lock
    const std::lock_guard lock(mutex_);
    if (!open_ || handOutsLeft_ == 0) return;
    if (count_ == waiting_.size()) {
        oldest = popFront();
        counters_->droppedOldest.add();
    }
    waiting_[(first_ + count_) % waiting_.size()] = std::move(frame);
    ++count_;
    if (handlers_->empty()) {
        forTakers_.notify_one();
    } else {
        forHandlers_.notify_one();
    }
}

bool FrameDelivery::dropOldest() {
    Frame oldest;
    const std::lock_guard lock(mutex_);
    if (count_ == 0) return false;
    oldest = popFront();
    if (handOutsLeft_ != 0) counters_->droppedOldest.add();
    return true;
}

FrameDelivery::TakeResult FrameDelivery::take(Frame& frame, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(mutex_);
    const std::uint64_t session = session_;
    if (!open_) return TakeResult::closed;
    const bool ready = forTakers_.wait_until(lock, deadline, [&] {
        return session_ != session || (handlers_->empty() && canHandOut());
    });
    if (session_ != session) return TakeResult::closed;
    if (!ready) return TakeResult::timeout;
    frame = popForHandOut();
    return TakeResult::taken;
}

void FrameDelivery::clear() {
    std::vector<Frame> dropped;
    const std::lock_guard lock(mutex_);
    dropped.resize(waiting_.size());
    dropped.swap(waiting_);
    first_ = count_ = 0;
}

std::size_t FrameDelivery::waitingCount() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

void FrameDelivery::attach(const FrameBinding& handler) {
    const std::lock_guard lock(mutex_);
    auto handlers = std::make_shared<Handlers>(*handlers_);
    // An equal binding may be that of a dead object whose address is used again: take the new one.
    handlers->erase(std::remove(handlers->begin(), handlers->end(), handler), handlers->end());
    handlers->push_back(handler);
    handlers_ = std::move(handlers);
    forHandlers_.notify_one();
}

void FrameDelivery::detach(const FrameBinding& handler) {
    std::unique_lock lock(mutex_);
    auto handlers = std::make_shared<Handlers>(*handlers_);
    handlers->erase(std::remove(handlers->begin(), handlers->end(), handler), handlers->end());
    handlers_ = std::move(handlers);
    forTakers_.notify_all();
    waitForCalls(lock);
}

void FrameDelivery::run(std::uint64_t session) {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    for (;;) {
        forHandlers_.wait(
            lock, [&] { return session_ != session || (!handlers_->empty() && canHandOut()); });
        if (session_ != session) return;
        auto handlers = handlers_;
        Frame frame = popForHandOut();
        const std::uint64_t number = ++callNumber_;
        calls_.push_back({self, number});
        lock.unlock();
        callHandlers(*handlers, CFrame(std::move(frame)), session);
        handlers.reset();
        lock.lock();
        std::erase_if(calls_, [&](const Call& call) { return call.number == number; });
        idle_.notify_all();
    }
}

void FrameDelivery::callHandlers(const Handlers& handlers, const CFrame& frame,
                                 std::uint64_t session) {
    // A frame with a copy cannot be given away: each of several handlers gets a whole one.
    const CFrame forTheNext = handlers.size() > 1 ? frame : CFrame();
    for (const FrameBinding& handler : handlers)
        if (isWanted(handler, session)) callHandler(handler, frame);
}

void FrameDelivery::callHandler(const FrameBinding& handler, const CFrame& frame) const {
    try {
        handler(frame);
    } catch (const std::exception& error) {
        GIGE_LOG(kError, "The frame handler of [%s] threw: %s", key_.c_str(), error.what());
    } catch (...) {
        GIGE_LOG(kError, "The frame handler of [%s] threw an unknown exception", key_.c_str());
    }
}

/** An earlier handler of the same frame may have stopped the stream or detached a later one. */
bool FrameDelivery::isWanted(const FrameBinding& handler, std::uint64_t session) const {
    const std::lock_guard lock(mutex_);
    return session_ == session &&
           std::find(handlers_->begin(), handlers_->end(), handler) != handlers_->end();
}

bool FrameDelivery::onHandlerThread() const {
    return std::any_of(calls_.begin(), calls_.end(),
                       [](const Call& call) { return call.thread == std::this_thread::get_id(); });
}

/** Waits for the calls that are under way now, not for those that a busy stream makes meanwhile. */
void FrameDelivery::waitForCalls(std::unique_lock<std::mutex>& lock) {
    if (onHandlerThread()) return;
    const std::uint64_t newest = callNumber_;
    idle_.wait(lock, [&] {
        return std::none_of(calls_.begin(), calls_.end(),
                            [&](const Call& call) { return call.number <= newest; });
    });
}

bool FrameDelivery::canHandOut() const { return count_ != 0 && handOutsLeft_ != 0; }

FrameDelivery::Frame FrameDelivery::popFront() {
    Frame frame = std::move(waiting_[first_]);
    first_ = (first_ + 1) % waiting_.size();
    --count_;
    return frame;
}

FrameDelivery::Frame FrameDelivery::popForHandOut() {
    Frame frame = popFront();
    --handOutsLeft_;
    counters_->deliveredFrames.add();
    return frame;
}

}  // namespace Vorda::Gige
