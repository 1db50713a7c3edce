// SPDX-License-Identifier: Apache-2.0
#include "Reconnector.h"

#include <algorithm>
#include <condition_variable>
#include <utility>

namespace Vorda::Gige {

/** What the thread shares with its owner, which it may outlive. */
class Reconnector::Core {
 public:
    explicit Core(Attempt attempt) : attempt_(std::move(attempt)) {}

    /** False when there is no thread that will see to it. */
    [[nodiscard]] bool begin();
    /** There was no thread to begin with. */
    void withdraw();
    void stop();
    void run();

 private:
    [[nodiscard]] bool goesOnAfter(bool isDone);

    const Attempt attempt_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    bool isRunning_ = false;
    bool isStopped_ = false;
    bool beganAnew_ = false;  ///< an order that no attempt has taken yet
    std::chrono::milliseconds pause_{kFirstPause};
};

bool Reconnector::Core::begin() {
    const std::lock_guard lock(mutex_);
    beganAnew_ = true;
    pause_ = kFirstPause;
    changed_.notify_all();
    return std::exchange(isRunning_, true);
}

void Reconnector::Core::withdraw() {
    const std::lock_guard lock(mutex_);
    isRunning_ = beganAnew_ = false;
}

void Reconnector::Core::stop() {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
}

void Reconnector::Core::run() {
    bool isDone = true;
    while (goesOnAfter(isDone)) isDone = attempt_();
}

/** Takes an order before it is carried out: one that comes meanwhile is not missed. */
bool Reconnector::Core::goesOnAfter(bool isDone) {
    std::unique_lock lock(mutex_);
    if (!isDone && !beganAnew_) {
        const auto pause = std::exchange(pause_, std::min(pause_ * 2, kLongestPause));
        changed_.wait_for(lock, pause, [this] { return isStopped_ || beganAnew_; });
    }
    const bool isOrdered = std::exchange(beganAnew_, false);
    isRunning_ = !isStopped_ && (isOrdered || !isDone);
    return isRunning_;
}

Reconnector::Reconnector(Attempt attempt) : core_(std::make_shared<Core>(std::move(attempt))) {}

Reconnector::~Reconnector() {
    core_->stop();
    thread_.finish();
}

bool Reconnector::begin() {
    const std::lock_guard lock(startMutex_);
    if (core_->begin()) return true;
    thread_.finish();  // the one before has nothing left to do
    if (thread_.start("kst-reconnect", [core = core_] { core->run(); })) return true;
    core_->withdraw();
    return false;
}

}  // namespace Vorda::Gige
