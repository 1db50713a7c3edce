// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventData.h"
#include "Ipv4.h"
#include "PayloadLayout.h"
#include "RegisterPort.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** What a message channel needs. */
struct MessageSetup {
    Ipv4 host;    ///< address of the interface that the camera is reached through
    Ipv4 camera;  ///< messages from other addresses are dropped
    std::shared_ptr<const PayloadLayout> layout;
    std::shared_ptr<EventData> data;  ///< updated before onEvent
    /** Told the features that an event carries, in order; on the channel's thread, no lock held. */
    std::function<void(const std::vector<std::string>&)> onEvent;
};

/**
 * The camera's message channel: takes EVENT and EVENTDATA on a socket and a thread of its own and
 * acknowledges them. A message that is sent again is acknowledged again, and counts once.
 *
 * Threads: one owner.
 */
class MessageChannel {
 public:
    /**
     * Opens the channel and tells the camera its port. Empty, with the last error, when that fails;
     * a camera that has no message channel gives a channel that stays silent.
     */
    [[nodiscard]] static std::unique_ptr<MessageChannel> open(RegisterPort& camera,
                                                              MessageSetup setup);
    /** Ends the thread. */
    ~MessageChannel();
    MessageChannel(const MessageChannel&) = delete;
    MessageChannel& operator=(const MessageChannel&) = delete;

    /** Tells the camera to send no more messages; quiet on one that is gone. */
    void close(RegisterPort& camera);

 private:
    struct Impl;
    explicit MessageChannel(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

}  // namespace Vorda::Gige
