// SPDX-License-Identifier: Apache-2.0
//
// Has the first camera's frames delivered to a function: a thread of the library puts them into
// a queue, the main thread takes three out. With `kestro sim --seed 7` you should see:
//
//     block 1: 1280 x 1024, first code: P9330.87
//     block 2: 1280 x 1024, first code: 922281766
//     block 3: 1280 x 1024, first code: 22385937021451
#include <kestro/kestro.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

using FramePtr = std::shared_ptr<kestro::Frame>;

class FrameQueue {
 public:
    // On the library's thread: be quick, further frames wait meanwhile.
    void put(const FramePtr& frame) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (frames_.size() == kLongest) frames_.pop_front();  // nobody takes them: drop the oldest
        frames_.push_back(frame);
        isFilled_.notify_one();
    }
    // Null when none came in time.
    FramePtr take(std::chrono::seconds longest) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!isFilled_.wait_for(lock, longest, [this] { return !frames_.empty(); })) return nullptr;
        FramePtr frame = std::move(frames_.front());
        frames_.pop_front();
        return frame;
    }

 private:
    static constexpr std::size_t kLongest = 16;
    std::mutex mutex_;
    std::condition_variable isFilled_;
    std::deque<FramePtr> frames_;  // guarded by mutex_
};

static bool readFrames(FrameQueue& queue, int count) {
    for (int i = 0; i < count; ++i) {
        const FramePtr frame = queue.take(std::chrono::seconds(2));
        if (!frame) return false;
        const auto codes = frame->getBarcodes();
        std::printf("block %llu: %u x %u, first code: %s\n",
                    static_cast<unsigned long long>(frame->getBlockId()), frame->getWidth(),
                    frame->getHeight(), codes.empty() ? "-" : codes[0]->getCodeData().c_str());
    }
    return true;
}

int main() {
    std::vector<std::shared_ptr<kestro::Camera>> cameras;
    const kestro::Result found = kestro::System::getInstance().discovery(cameras, 0);
    if (!found || cameras.empty()) {
        std::fprintf(stderr, found ? "no camera found\n" : "the search failed\n");
        return EXIT_FAILURE;
    }
    const std::shared_ptr<kestro::Camera> camera = cameras.front();
    FrameQueue queue;
    camera->registerFrameCallback([&queue](const FramePtr& frame) { queue.put(frame); });
    kestro::Result result = camera->connect();
    if (result) result = camera->startGrabbing(0);
    const bool isRead = result && readFrames(queue, 3);
    if (!result) std::fprintf(stderr, "no start, code %d: see the log\n", result.getCode());
    if (result && !isRead) std::fprintf(stderr, "no frame in 2 s\n");
    camera->disconnect();                    // from here on the function does not run,
    camera->registerFrameCallback(nullptr);  // nor at a later start, when the queue is gone
    return isRead ? EXIT_SUCCESS : EXIT_FAILURE;
}
