// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <utility>

#include "Scene.h"
#include "SceneParts.h"

namespace kestrosim {

namespace {

class DrawnScenes : public SceneSource {
 public:
    explicit DrawnScenes(const SceneOptions& options)
        : options_(options), count_(std::max(options.count, 1U)), preparing_([this] { run(); }) {}
    ~DrawnScenes() override {
        DrawnScenes::stop();
        preparing_.join();
    }
    DrawnScenes(const DrawnScenes&) = delete;
    DrawnScenes& operator=(const DrawnScenes&) = delete;

    [[nodiscard]] std::size_t count() const override { return count_; }

    [[nodiscard]] std::shared_ptr<const Scene> scene(std::size_t index) override {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this, index] { return index < prepared_.size() || failure_; });
        if (index >= prepared_.size()) std::rethrow_exception(failure_);
        return prepared_[index];
    }

    void stop() override {
        stop_.request_stop();
        fail(std::make_exception_ptr(std::runtime_error("no more scenes are prepared")));
    }

 private:
    void prepareOne(std::uint32_t number) {
        auto scene = std::make_shared<Scene>(drawScene(options_, number));
        readScene(*scene, stop_.get_token());
        const std::lock_guard lock(mutex_);
        if (!failure_) prepared_.push_back(std::move(scene));
    }

    void run() noexcept {
        pthread_setname_np(pthread_self(), "kestro-scenes");
        for (std::uint32_t i = 0; i < count_ && !stop_.stop_requested(); ++i) {
            try {
                prepareOne(i);
            } catch (...) {
                return fail(std::current_exception());
            }
            changed_.notify_all();
        }
    }

    void fail(std::exception_ptr why) {
        const std::lock_guard lock(mutex_);
        if (!failure_) failure_ = std::move(why);
        changed_.notify_all();
    }

    const SceneOptions options_;
    const std::uint32_t count_;

    std::mutex mutex_;  // guards prepared_ and failure_
    std::condition_variable changed_;
    std::vector<std::shared_ptr<const Scene>> prepared_;
    std::exception_ptr failure_;  // what ended the preparing, out of memory for one

    std::stop_source stop_;
    std::thread preparing_;  // the last: it begins when everything else is there
};

}  // namespace

SceneSet::SceneSet(const SceneOptions& options) {
    if (options.imageFolder.empty()) {
        source_ = std::make_unique<DrawnScenes>(options);
    } else {
        source_ = showPictures(options);
    }
}

SceneSet::~SceneSet() = default;

std::uint32_t SceneSet::count() const { return static_cast<std::uint32_t>(source_->count()); }

std::shared_ptr<const Scene> SceneSet::scene(std::uint64_t number) const {
    return source_->scene(static_cast<std::size_t>(number % source_->count()));
}

void SceneSet::stop() const { source_->stop(); }

}  // namespace kestrosim
