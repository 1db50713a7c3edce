// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventData.h"
#include "Ipv4.h"
#include "RegisterPort.h"
#include "WorkerThread.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** What a message channel needs. The functions are called on its thread, with no lock held. */
struct MessageSetup {
    Ipv4 host;    ///< address of the interface that the camera is reached through
    Ipv4 camera;  ///< messages from other addresses are dropped
    /** The features that an event carries, in order; none for one that nobody knows. */
    std::function<std::vector<std::string>(std::uint32_t eventId)> featuresOf;
    std::shared_ptr<EventData> data;  ///< updated before onEvent, with events that have features
    /** Told the features of each event that comes in. */
    std::function<void(const std::vector<std::string>&)> onEvent;
};

/**
 * The camera's message channel: takes EVENT and EVENTDATA on a socket and a thread of its own and
 * acknowledges them. A message that is sent again is acknowledged again, and counts once.
 */
class MessageChannel {
 public:
    /**
     * Opens the channel and tells the camera its port. A camera that has no message channel, or
     * does not give it, makes one that stays silent; empty, with the last error, when the
     * connection is lost or the operating system refuses.
     */
    [[nodiscard]] static std::unique_ptr<MessageChannel> open(RegisterPort& camera,
                                                              MessageSetup setup);
    /** Ends the thread. */
    ~MessageChannel();
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;

    /**
     * Tells the camera to send no more messages, quietly where it is gone, and ends the thread.
     * Threads: any, also the channel's own; may be repeated, then it does nothing and does not
     * wait.
     */
    void close(RegisterPort& camera);

 private:
    class Core;
    explicit MessageChannel(std::shared_ptr<Core> core);
    void stop();

    std::shared_ptr<Core> core_;
    WorkerThread thread_;
    bool isSilent_ = true;  ///< the camera does not know our port; constant once open
    std::atomic<bool> closed_{false};
};

}  // namespace Vorda::Gige
