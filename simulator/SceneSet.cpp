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

struct SceneSet::State {
    SceneOptions options;

    std::mutex mutex;  // guards prepared and failure
    std::condition_variable changed;
    std::vector<std::shared_ptr<const Scene>> prepared;
    std::exception_ptr failure;  // what ended the preparing, out of memory for one

    std::atomic<bool> stopping{false};
    std::thread preparing;

    void prepareOne(std::uint32_t number) {
        auto scene = std::make_shared<Scene>(drawScene(options, number));
        readScene(*scene);
        const std::lock_guard lock(mutex);
        prepared.push_back(std::move(scene));
    }

    void run() noexcept {
        pthread_setname_np(pthread_self(), "kestro-scenes");
        for (std::uint32_t i = 0; i < options.count && !stopping; ++i) {
            try {
                prepareOne(i);
            } catch (...) {
                const std::lock_guard lock(mutex);
                failure = std::current_exception();
                stopping = true;
            }
            changed.notify_all();
        }
    }
};

SceneSet::SceneSet(const SceneOptions& options) : state_(std::make_unique<State>()) {
    state_->options = options;
    state_->options.count = std::max(options.count, 1U);
    state_->preparing = std::thread([state = state_.get()] { state->run(); });
}

SceneSet::~SceneSet() {
    state_->stopping = true;
    state_->preparing.join();
}

std::uint32_t SceneSet::count() const { return state_->options.count; }

std::shared_ptr<const Scene> SceneSet::scene(std::uint64_t number) const {
    const auto index = static_cast<std::size_t>(number % count());
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(
        lock, [this, index] { return index < state_->prepared.size() || state_->failure; });
    if (index >= state_->prepared.size()) std::rethrow_exception(state_->failure);
    return state_->prepared[index];
}

}  // namespace kestrosim
