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
 * Connection events always arrive, but where the application has connected anew meanwhile. Feature
 * updates are gathered (EventQueue), so that a flood of them costs no more than its different
 * names, and are not kept while nobody subscribes to them. Threads: any; handlers run on the
 * camera's event thread, with no lock held.
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
    /** The names are those of one device event; they arrive in one list. */
    void postUpdates(Infra::TVector<Infra::CString> names);
    /** What waits is of a connection that has ended: who subscribes from now on never hears it. */
    void forgetWaiting();

 private:
    class Core;
    class Subscription;

    std::shared_ptr<Core> core_;
    std::mutex startMutex_;  // guards what follows
    bool started_ = false;
    WorkerThread thread_;
};

}  // namespace Vorda::Gige
