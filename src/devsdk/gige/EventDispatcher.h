// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VordaGenICam.h"
#include "WorkerThread.h"

#include <memory>
#include <mutex>

namespace Vorda::Gige {

/**
 * The events of one camera: a queue and the thread that hands them to the subscribers.
 *
 * Connection events always arrive; of the feature updates that wait, the oldest go when there are
 * more than the queue may hold. Threads: any; handlers run on the camera's event thread, with no
 * lock held.
 */
class EventDispatcher {
 public:
    EventDispatcher();
    /** Ends the thread; events that still wait are dropped. */
    ~EventDispatcher();
    EventDispatcher(const EventDispatcher&) = delete;
    EventDispatcher& operator=(const EventDispatcher&) = delete;

    /** A new subscriber; empty, with the last error, when there is no thread left to serve it. */
    [[nodiscard]] std::shared_ptr<GenICam::IEventSubscribe> subscribe();
    void postConnection(bool isOnline);
    void postUpdates(Infra::TVector<Infra::CString> names);

 private:
    class Core;
    class Subscription;

    std::shared_ptr<Core> core_;
    std::mutex startMutex_;  // guards what follows
    bool started_ = false;
    WorkerThread thread_;
};

}  // namespace Vorda::Gige
