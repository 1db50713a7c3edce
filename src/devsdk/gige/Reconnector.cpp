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

    void begin();
    void stop();
    void run();

 private:
    [[nodiscard]] bool awaitWork();
    void pauseAfterFailure();

    const Attempt attempt_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    bool isPending_ = false;
    bool isStopped_ = false;
    bool beganAnew_ = false;
    std::chrono::milliseconds pause_{kFirstPause};
};

void Reconnector::Core::begin() {
    const std::lock_guard lock(mutex_);
    isPending_ = true;
    beganAnew_ = true;
    pause_ = kFirstPause;
    changed_.notify_all();
}

void Reconnector::Core::stop() {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
}

void Reconnector::Core::run() {
    while (awaitWork())
        if (!attempt_()) pauseAfterFailure();
}

/** Takes the order before it is carried out: one that comes meanwhile is not missed. */
bool Reconnector::Core::awaitWork() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isPending_ || isStopped_; });
    isPending_ = false;
    beganAnew_ = false;
    return !isStopped_;
}

void Reconnector::Core::pauseAfterFailure() {
    std::unique_lock lock(mutex_);
    isPending_ = true;
    if (beganAnew_) return;
    const auto pause = std::exchange(pause_, std::min(pause_ * 2, kLongestPause));
    changed_.wait_for(lock, pause, [this] { return isStopped_ || beganAnew_; });
}

Reconnector::Reconnector(Attempt attempt) : core_(std::make_shared<Core>(std::move(attempt))) {}

Reconnector::~Reconnector() {
    core_->stop();
    thread_.finish();
}

bool Reconnector::begin() {
    const std::lock_guard lock(startMutex_);
    if (!started_) started_ = thread_.start("kst-reconnect", [core = core_] { core->run(); });
    if (started_) core_->begin();
    return started_;
}

}  // namespace Vorda::Gige
