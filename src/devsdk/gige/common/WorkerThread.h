// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <thread>

namespace Vorda::Gige {

/**
 * A named thread with one owner.
 *
 * The body must not use its owner but share what it needs: the owner may be destroyed on the thread
 * itself (an event handler that drops the last reference to a camera), and then the body outlives
 * it by a few instructions.
 */
class WorkerThread {
 public:
    WorkerThread() = default;
    ~WorkerThread() { finish(); }
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    /** `name` has at most 15 characters. False, and the last error, when there is no thread left.
     */
    [[nodiscard]] bool start(const char* name, std::function<void()> body);
    /** Waits for the body's end, which the caller has asked for; on the thread itself, lets it go.
     */
    void finish();

 private:
    std::thread thread_;
};

}  // namespace Vorda::Gige
