// SPDX-License-Identifier: Apache-2.0
#include "PictureFolder.h"
#include "SceneParts.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <thread>

namespace kestrosim {
namespace {

constexpr std::size_t kLeastKept = 4;

/**
 * The pictures of a folder. Each is read when its turn comes first; of the pixels only those are
 * kept that come next, and loaded ahead of being asked for.
 */
class PictureScenes : public SceneSource {
 public:
    PictureScenes(const SceneOptions& options, std::size_t bytesKept)
        : folder_(options.imageFolder, {options.width, options.height}),
          report_(options.report),
          kept_(
              std::max(bytesKept / (std::size_t{folder_.sensor().width} * folder_.sensor().height),
                       kLeastKept)),
          readings_(folder_.count()),
          loading_([this] { run(); }) {}

    ~PictureScenes() override {
        PictureScenes::stop();
        loading_.join();
    }
    PictureScenes(const PictureScenes&) = delete;
    PictureScenes& operator=(const PictureScenes&) = delete;

    [[nodiscard]] std::size_t count() const override { return folder_.count(); }

    [[nodiscard]] std::shared_ptr<const Scene> scene(std::size_t index) override {
        std::unique_lock lock(mutex_);
        next_ = index;
        const auto waiting = awaited_.insert(index);
        changed_.notify_all();
        changed_.wait(lock, [this, index] { return loaded_.contains(index) || failure_; });
        awaited_.erase(waiting);
        const auto found = loaded_.find(index);
        if (found == loaded_.end()) std::rethrow_exception(failure_);
        return found->second;
    }

    void stop() override {
        stop_.request_stop();
        const std::lock_guard lock(mutex_);
        if (!failure_)
            failure_ = std::make_exception_ptr(std::runtime_error("no more pictures are loaded"));
        changed_.notify_all();
    }

 private:
    using Pixels = std::vector<std::uint8_t>;

    void run() noexcept {
        pthread_setname_np(pthread_self(), "kestro-scenes");
        std::unique_lock lock(mutex_);
        while (!failure_) {
            if (const auto index = missing()) {
                load(lock, *index);
            } else {
                changed_.wait(lock);
            }
        }
    }

    /** Counted from the one that was asked for last. */
    [[nodiscard]] bool isSoon(std::size_t index) const {
        return (index + count() - next_) % count() < kept_;
    }

    [[nodiscard]] std::optional<std::size_t> missing() const {
        for (const std::size_t index : awaited_) {
            if (!loaded_.contains(index)) return index;
        }
        for (std::size_t i = 0; i < std::min(kept_, count()); ++i) {
            const std::size_t index = (next_ + i) % count();
            if (!loaded_.contains(index)) return index;
        }
        return std::nullopt;
    }

    // The mutex is open while the file and the codes are read.
    void load(std::unique_lock<std::mutex>& lock, std::size_t index) noexcept {
        lock.unlock();
        std::shared_ptr<const Scene> scene;
        std::exception_ptr failure;
        try {
            scene = make(index);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (!failure_) failure_ = failure;
        if (!failure_) loaded_[index] = std::move(scene);
        std::erase_if(loaded_, [this](const auto& entry) {
            return !isSoon(entry.first) && !awaited_.contains(entry.first);
        });
        changed_.notify_all();
    }

    [[nodiscard]] std::shared_ptr<const Scene> make(std::size_t index) {
        auto pixels = pixelsOf(index);
        std::optional<Scene>& reading = readings_[index];
        if (!pixels) reading.reset();  // it may be whole again the next time
        auto scene = std::make_shared<Scene>(reading ? *reading : Scene());
        const auto [width, height] = folder_.sensor();
        scene->image = folder_.name(index);
        scene->width = width;
        scene->height = height;
        scene->pixels = pixels ? std::move(*pixels) : Pixels(std::size_t{width} * height, kMidGrey);
        if (reading || !pixels) return scene;
        readScene(*scene, stop_.get_token());
        reading = *scene;
        reading->pixels = {};
        return scene;
    }

    /** Empty for a file that is damaged behind its header, or gone. */
    [[nodiscard]] std::optional<Pixels> pixelsOf(std::size_t index) {
        try {
            return folder_.pixels(index);
        } catch (const std::runtime_error& error) {
            if (report_ && reported_.insert(index).second) report_(error.what());
            return std::nullopt;
        }
    }

    const PictureFolder folder_;
    const std::function<void(const std::string&)> report_;
    const std::size_t kept_;

    std::stop_source stop_;

    // Of the loading thread alone.
    std::vector<std::optional<Scene>> readings_;  // without pixels
    std::set<std::size_t> reported_;

    std::mutex mutex_;  // guards all that follows
    std::condition_variable changed_;
    std::size_t next_ = 0;                // the one that was asked for last
    std::multiset<std::size_t> awaited_;  // by those who wait in scene()
    std::map<std::size_t, std::shared_ptr<const Scene>> loaded_;
    std::exception_ptr failure_;  // what ended the loading, out of memory for one

    std::thread loading_;  // the last: it begins when everything else is there
};

}  // namespace

std::unique_ptr<SceneSource> showPictures(const SceneOptions& options, std::size_t bytesKept) {
    return std::make_unique<PictureScenes>(options, bytesKept);
}

}  // namespace kestrosim
