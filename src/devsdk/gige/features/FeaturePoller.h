// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Features.h"
#include "WorkerThread.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * Asks the camera for the features that have a polling time, each in its period, and tells which
 * changed. A thread of its own, from start() on; none when no feature is polled.
 *
 * A feature that cannot be read is left alone until it can be again, and has changed if its value
 * is then another than the one last seen.
 */
class FeaturePoller {
 public:
    using OnChanged = std::function<void(const std::vector<std::string>&)>;
    /** A feature's value as text; false when it cannot be read. */
    using ReadText = std::function<bool(const std::string& name, std::string& text)>;

    /** `onChanged` is called on the poller's thread, with no lock held. */
    explicit FeaturePoller(OnChanged onChanged);
    /** Stops. */
    ~FeaturePoller();
    FeaturePoller(const FeaturePoller&) = delete;
    FeaturePoller& operator=(const FeaturePoller&) = delete;

    /**
     * Begins; once begun or stopped, does nothing. `read` is called on the poller's thread and goes
     * with it. Threads: any.
     */
    void start(std::vector<Features::Polled> features, ReadText read);
    /** Asks the thread to end; it does when its request to the camera, if any, ends. Any thread. */
    void requestStop();
    /** Stops, and waits for the thread's end unless called on it. */
    void finish();

 private:
    class Core;

    std::shared_ptr<Core> core_;
    std::mutex startMutex_;  // guards what follows; after the stop, the owner's alone
    bool started_ = false;
    WorkerThread thread_;
};

}  // namespace Vorda::Gige
