// SPDX-License-Identifier: Apache-2.0
#include "FeaturePoller.h"

#include "HeldLines.h"
#include "LastError.h"
#include "PollSchedule.h"

#include <condition_variable>
#include <optional>
#include <utility>

namespace Vorda::Gige {

/** What the poller shares with its thread. */
class FeaturePoller::Core {
 public:
    explicit Core(OnChanged onChanged) : onChanged_(std::move(onChanged)) {}

    void run(const std::vector<Features::Polled>& features, const ReadText& read);
    void stop();

 private:
    using Clock = PollSchedule::Clock;

    [[nodiscard]] bool waitUntil(Clock::time_point time);
    [[nodiscard]] bool isStopped();

    const OnChanged onChanged_;
    std::mutex mutex_;  // guards what follows
    std::condition_variable forStop_;
    bool stopped_ = false;
};

void FeaturePoller::Core::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    forStop_.notify_all();
}

bool FeaturePoller::Core::isStopped() {
    const std::lock_guard lock(mutex_);
    return stopped_;
}

/** False when there is nothing more to wait for. */
bool FeaturePoller::Core::waitUntil(Clock::time_point time) {
    std::unique_lock lock(mutex_);
    return !forStop_.wait_until(lock, time, [this] { return stopped_; });
}

void FeaturePoller::Core::run(const std::vector<Features::Polled>& features, const ReadText& read) {
    PollSchedule schedule;
    std::vector<std::optional<std::string>> lastSeen(features.size());
    for (const Features::Polled& each : features) schedule.add(each.period, Clock::now());
    while (waitUntil(schedule.next())) {
        const auto round = schedule.takeDue(Clock::now());
        std::vector<std::string> changed;
        for (const std::size_t each : round) {
            std::string text;
            if (isStopped()) return;
            if (!read(features[each].name, text) || lastSeen[each] == text) continue;
            if (lastSeen[each]) changed.push_back(features[each].name);
            lastSeen[each] = std::move(text);
        }
        schedule.finish(round, Clock::now());
        if (!changed.empty()) onChanged_(changed);
    }
}

FeaturePoller::FeaturePoller(OnChanged onChanged)
    : core_(std::make_shared<Core>(std::move(onChanged))) {}

FeaturePoller::~FeaturePoller() { finish(); }

void FeaturePoller::start(std::vector<Features::Polled> features, ReadText read) {
    if (features.empty()) return;
    {
        const std::lock_guard lock(startMutex_);
        if (std::exchange(started_, true)) return;
        auto run = [core = core_, features = std::move(features), read = std::move(read)] {
            core->run(features, read);
        };
        if (thread_.start("kst-poll", std::move(run))) return;
    }
    GIGE_LOG_WHEN_FREE(kWarning, "no feature is polled: " + lastErrorMessage());
}

void FeaturePoller::requestStop() {
    core_->stop();
    const std::lock_guard lock(startMutex_);
    started_ = true;  // there will be no thread to wait for that finish() has not seen
}

void FeaturePoller::finish() {
    requestStop();
    thread_.finish();
}

}  // namespace Vorda::Gige
