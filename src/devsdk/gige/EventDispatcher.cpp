// SPDX-License-Identifier: Apache-2.0
#include "EventDispatcher.h"

#include "DeviceLog.h"
#include "EventQueue.h"
#include "LastError.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

namespace Vorda::Gige {
namespace {

using GenICam::ConnectBinding;
using GenICam::ParamsUpdateBinding;
using GenICam::SConnectArg;
using GenICam::SParamsUpdateArg;

/** The handlers of one kind of event; calling them and taking them off never overlap. */
template <typename Binding>
class Handlers {
 public:
    [[nodiscard]] bool add(const Binding& handler) {
        if (!handler) return fail(Error::invalidArgument, "there is no handler to subscribe");
        const std::lock_guard lock(mutex_);
        if (std::ranges::find(handlers_, handler) == handlers_.end()) handlers_.push_back(handler);
        hasAny_ = true;
        return true;
    }

    /** When it returns, the handler does not run, unless this is called from it. */
    void remove(const Binding& handler) {
        std::unique_lock lock(mutex_);
        std::erase(handlers_, handler);
        hasAny_ = !handlers_.empty();
        waitUntilIdle(lock);
    }

    void removeAll() {
        std::unique_lock lock(mutex_);
        handlers_.clear();
        hasAny_ = false;
        waitUntilIdle(lock);
    }

    /** Asked without the lock. */
    [[nodiscard]] bool hasAny() const { return hasAny_; }

    template <typename Arg>
    void call(const Arg& argument) {
        std::vector<Binding> toCall;
        {
            const std::lock_guard lock(mutex_);
            toCall = handlers_;
        }
        for (const Binding& handler : toCall) {
            if (begin(handler)) {
                callGuarded(handler, argument);
                end();
            }
        }
    }

 private:
    template <typename Arg>
    static void callGuarded(const Binding& handler, const Arg& argument) {
        try {
            handler(argument);
        } catch (const std::exception& exception) {
            GIGE_LOG(kError, "an event handler threw: %s", exception.what());
        } catch (...) {
            GIGE_LOG(kError, "an event handler threw");
        }
    }

    /** False when the handler was taken off since the round of calls began. */
    [[nodiscard]] bool begin(const Binding& handler) {
        const std::lock_guard lock(mutex_);
        if (std::ranges::find(handlers_, handler) == handlers_.end()) return false;
        caller_ = std::this_thread::get_id();
        return true;
    }

    void end() {
        const std::lock_guard lock(mutex_);
        caller_ = {};
        idle_.notify_all();
    }

    void waitUntilIdle(std::unique_lock<std::mutex>& lock) {
        if (caller_ == std::this_thread::get_id()) return;
        idle_.wait(lock, [this] { return caller_ == std::thread::id{}; });
    }

    std::atomic<bool> hasAny_{false};
    std::mutex mutex_;  // guards what follows
    std::condition_variable idle_;
    std::vector<Binding> handlers_;
    std::thread::id caller_;  ///< the thread that runs a handler now
};

}  // namespace

/** What the event thread shares with the dispatcher and its subscriptions. */
class EventDispatcher::Core {
 public:
    struct Receiver {
        Handlers<ConnectBinding> connection;
        Handlers<ParamsUpdateBinding> updates;
    };

    void add(const std::shared_ptr<Receiver>& receiver) {
        const std::lock_guard lock(mutex_);
        std::erase_if(receivers_, [](const auto& each) { return each.expired(); });
        receivers_.push_back(receiver);
    }

    void setQueueSize(std::size_t count) {
        const std::lock_guard lock(mutex_);
        queue_.setLimit(count);
    }

    void postConnection(SConnectArg event) {
        const std::lock_guard lock(mutex_);
        queue_.pushConnection(event);
        changed_.notify_one();
    }

    void postUpdates(Infra::TVector<Infra::CString> names) {
        const std::lock_guard lock(mutex_);
        if (areUpdatesWanted() && queue_.pushUpdates(std::move(names))) changed_.notify_one();
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_one();
    }

    void forgetWaiting() {
        const std::lock_guard lock(mutex_);
        queue_.clear();
    }

    void run() {
        while (const auto delivery = next()) {
            for (const std::shared_ptr<Receiver>& receiver : delivery->receivers)
                deliver(delivery->event, *receiver);
        }
    }

 private:
    /** An event that has left the queue, and those that subscribed while it was there. */
    struct Delivery {
        CameraEvent event;
        std::vector<std::shared_ptr<Receiver>> receivers;
    };

    std::optional<Delivery> next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopped_ || !queue_.isEmpty(); });
        if (stopped_) return std::nullopt;
        return Delivery{*queue_.pop(), receivers()};
    }

    /** Needs the lock. */
    [[nodiscard]] bool areUpdatesWanted() const {
        return std::ranges::any_of(receivers_, [](const std::weak_ptr<Receiver>& each) {
            const auto receiver = each.lock();
            return receiver && receiver->updates.hasAny();
        });
    }

    /** Needs the lock. */
    [[nodiscard]] std::vector<std::shared_ptr<Receiver>> receivers() const {
        std::vector<std::shared_ptr<Receiver>> alive;
        for (const auto& each : receivers_) {
            if (auto receiver = each.lock()) alive.push_back(std::move(receiver));
        }
        return alive;
    }

    static void deliver(const CameraEvent& event, Receiver& receiver) {
        if (const auto* change = std::get_if<SConnectArg>(&event))
            receiver.connection.call(*change);
        else
            receiver.updates.call(std::get<SParamsUpdateArg>(event));
    }

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    EventQueue queue_;
    std::vector<std::weak_ptr<Receiver>> receivers_;
    bool stopped_ = false;
};

class EventDispatcher::Subscription final : public GenICam::IEventSubscribe {
 public:
    explicit Subscription(std::shared_ptr<Core> core) : core_(std::move(core)) {
        core_->add(receiver_);
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() override {
        receiver_->connection.removeAll();
        receiver_->updates.removeAll();
    }

    bool subscribeConnectArgs(const ConnectBinding& handler) override {
        return receiver_->connection.add(handler);
    }
    bool unsubscribeConnectArgs(const ConnectBinding& handler) override {
        receiver_->connection.remove(handler);
        return true;
    }
    bool subscribeParamsUpdate(const ParamsUpdateBinding& handler) override {
        return receiver_->updates.add(handler);
    }
    bool unsubscribeParamsUpdate(const ParamsUpdateBinding& handler) override {
        receiver_->updates.remove(handler);
        return true;
    }
    bool setEventQueueSize(std::uint32_t count) override {
        if (count == 0)
            return fail(Error::invalidArgument, "an event queue holds at least 1 event");
        core_->setQueueSize(count);
        return true;
    }

 private:
    std::shared_ptr<Core> core_;
    std::shared_ptr<Core::Receiver> receiver_ = std::make_shared<Core::Receiver>();
};

EventDispatcher::EventDispatcher() : core_(std::make_shared<Core>()) {}

EventDispatcher::~EventDispatcher() {
    core_->stop();
    thread_.finish();
}

std::shared_ptr<GenICam::IEventSubscribe> EventDispatcher::subscribe() {
    {
        const std::lock_guard lock(startMutex_);
        if (!started_ && !thread_.start("kst-event", [core = core_] { core->run(); }))
            return nullptr;
        started_ = true;
    }
    return Memory::makeForThisProcess<Subscription>(core_);
}

void EventDispatcher::postConnection(bool isOnline) { core_->postConnection({isOnline ? 1 : 0}); }

void EventDispatcher::forgetWaiting() { core_->forgetWaiting(); }

void EventDispatcher::postUpdates(Infra::TVector<Infra::CString> names) {
    core_->postUpdates(std::move(names));
}

}  // namespace Vorda::Gige
