// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Features.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * Asks the camera for the features that have a polling time, each in its period, and tells which
 * changed. A thread of its own, from start() on; none when no feature is polled.
 */
class FeaturePoller {
 public:
    using OnChanged = std::function<void(const std::vector<std::string>&)>;

    /** `onChanged` is called on the poller's thread, with no lock held. */
    explicit FeaturePoller(OnChanged onChanged);
    /** Stops. */
    ~FeaturePoller();
    FeaturePoller(const FeaturePoller&) = delete;
    FeaturePoller& operator=(const FeaturePoller&) = delete;

    /** Begins; once begun, does nothing. Threads: any. */
    void start(std::shared_ptr<const Features> features);
    /** Asks the thread to end; it does when its request to the camera, if any, ends. Any thread. */
    void requestStop();
    /** Waits for the thread's end. */
    void finish();

 private:
    struct Core;
    std::shared_ptr<Core> core_;
};

}  // namespace Vorda::Gige
