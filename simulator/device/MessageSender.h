// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Cable.h"
#include "CameraClock.h"
#include "EventMessage.h"
#include "RegisterMap.h"
#include "UdpSocket.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace kestrosim {

/**
 * The message channel: tells the application of events, one after the other, on a thread of its
 * own. Each is sent again until it is acknowledged, as often as the registers say. Threads: any.
 */
class MessageSender {
 public:
    /** Throws std::runtime_error when there is no socket for that address. */
    MessageSender(std::uint32_t address, RegisterMap& registers, const CameraClock& clock,
                  const Cable& cable);
    ~MessageSender();
    MessageSender(const MessageSender&) = delete;
    MessageSender& operator=(const MessageSender&) = delete;

    /**
     * Takes note of an event that the application wants to be told of, and returns at once. With
     * very many still to be told it is dropped.
     */
    void raise(const Happening& happening);
    /**
     * Tells of so many events at once and waits for no acknowledge. It takes turns with those that
     * the application wants to be told of; one that wants none is told nothing.
     */
    void flood(std::uint32_t events);
    /** Sends from another address of this host from now on. Throws as the constructor. */
    void moveTo(std::uint32_t address);
    [[nodiscard]] std::uint64_t eventsSent() const { return eventsSent_; }
    [[nodiscard]] std::uint64_t eventsAcknowledged() const { return eventsAcknowledged_; }

 private:
    using Clock = std::chrono::steady_clock;

    struct Waiting {
        Happening happening;
        Endpoint to;
    };
    /** A message on its way. */
    struct Sent {
        std::vector<std::uint8_t> datagram;
        Endpoint to;
        std::uint32_t retriesLeft = 0;
        std::chrono::milliseconds patience{};
        Clock::time_point giveUpAt;
    };

    [[nodiscard]] Endpoint destination() const;
    void publishPort(const UdpSocket& socket);
    void run();
    void changeSocket();
    void takeAcknowledges();
    void advance();
    [[nodiscard]] bool isWanted(CameraEvent event) const;
    [[nodiscard]] std::uint16_t nextId();
    void sendFlood();
    [[nodiscard]] bool sendNext();
    void sendAgain();
    [[nodiscard]] int pollTimeoutMs() const;

    RegisterMap& registers_;
    const CameraClock& clock_;
    const Cable& cable_;
    UdpSocket socket_;  ///< the thread's
    int wakeDescriptor_;
    std::atomic<bool> quit_{false};
    std::atomic<std::uint64_t> flood_{0};  ///< events of it that are still to be told
    std::atomic<std::uint64_t> eventsSent_{0};
    std::atomic<std::uint64_t> eventsAcknowledged_{0};

    std::mutex mutex_;  ///< guards these two
    std::deque<Waiting> waiting_;
    std::optional<UdpSocket> nextSocket_;

    std::optional<Sent> sent_;  ///< the thread's, as lastId_
    std::uint16_t lastId_ = 0;

    std::thread thread_;
};

}  // namespace kestrosim
