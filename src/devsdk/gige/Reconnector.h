// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WorkerThread.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

namespace Vorda::Gige {

/**
 * Repeats an attempt, on a thread that is there for it, until it succeeds.
 *
 * The policy: the first attempt is made at once, for much that is lost is back within a moment. The
 * pauses after failed ones grow from 50 ms to a ceiling of 200 ms and stay there; there is no last
 * attempt. With the 250 ms that a search of the network takes, what is absent, for a second or for
 * a night, is asked for twice a second, which costs it and the network next to nothing, and is
 * found within half a second of its return. Threads: any.
 */
class Reconnector {
 public:
    /** Called on the thread; true when there is nothing more to attempt. */
    using Attempt = std::function<bool()>;

    static constexpr std::chrono::milliseconds kFirstPause{50};
    static constexpr std::chrono::milliseconds kLongestPause{200};

    /** The attempt must not own this object; it goes with the thread. */
    explicit Reconnector(Attempt attempt);
    /** Ends the thread, after the attempt that is under way; on the thread itself, lets it go. */
    ~Reconnector();
    Reconnector(const Reconnector&) = delete;
    Reconnector& operator=(const Reconnector&) = delete;

    /**
     * Attempts from now on, beginning with the shortest pause again. Starts a thread unless one is
     * at it; false, with the last error, when there is none left.
     */
    [[nodiscard]] bool begin();

 private:
    class Core;

    std::shared_ptr<Core> core_;
    std::mutex startMutex_;  // guards what follows
    WorkerThread thread_;
};

}  // namespace Vorda::Gige
