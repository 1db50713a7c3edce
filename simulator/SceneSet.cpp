// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "Scene.h"
#include "SceneParts.h"

namespace kestrosim {

namespace {

class DrawnScenes : public SceneSource {
 public:
    explicit DrawnScenes(const SceneOptions& options)
        : options_(options), count_(std::max(options.count, 1U)), preparing_([this] { run(); }) {}
    ~DrawnScenes() override {
        stopping_ = true;
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

 private:
    void prepareOne(std::uint32_t number) {
        auto scene = std::make_shared<Scene>(drawScene(options_, number));
        readScene(*scene);
        const std::lock_guard lock(mutex_);
        prepared_.push_back(std::move(scene));
    }

    void run() noexcept {
        pthread_setname_np(pthread_self(), "kestro-scenes");
        for (std::uint32_t i = 0; i < count_ && !stopping_; ++i) {
            try {
                prepareOne(i);
            } catch (...) {
                const std::lock_guard lock(mutex_);
                failure_ = std::current_exception();
                stopping_ = true;
            }
            changed_.notify_all();
        }
    }

    const SceneOptions options_;
    const std::uint32_t count_;

    std::mutex mutex_;  // guards prepared_ and failure_
    std::condition_variable changed_;
    std::vector<std::shared_ptr<const Scene>> prepared_;
    std::exception_ptr failure_;  // what ended the preparing, out of memory for one

    std::atomic<bool> stopping_{false};
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

}  // namespace kestrosim
