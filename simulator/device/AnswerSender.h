// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FaultPlan.h"
#include "SeededRandom.h"
#include "UdpSocket.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace kestrosim {

/**
 * Sends the answers to commands, as far as the fault plan lets it: some never, some late, some
 * after a PENDING_ACK. One thread, but for the counters.
 *
 * One that is late holds up no other: it is the way that is slow, and the answers to what was asked
 * later overtake it. That is the worst that a network does, and what a client has to stand.
 * Answers to DISCOVERY and FORCEIP meet no fault: they are repeated anyhow, and a camera that is
 * not found takes part in no test.
 */
class AnswerSender {
 public:
    using Clock = std::chrono::steady_clock;

    explicit AnswerSender(const FaultPlan& plan);

    void send(const UdpSocket& socket, const Endpoint& to, std::vector<std::uint8_t> answer);
    /** Sends what was held back until now. */
    void sendDue(const UdpSocket& socket, Clock::time_point now);
    /** When sendDue() has something to send at the earliest. */
    [[nodiscard]] std::optional<Clock::time_point> nextDue() const;
    [[nodiscard]] std::uint64_t sent() const { return sent_; }
    /** Answers that met a fault. */
    [[nodiscard]] std::uint64_t faults() const { return faults_; }

 private:
    enum class Fault { none, missing, late, pending };
    struct Held {
        Clock::time_point due;
        Endpoint to;
        std::vector<std::uint8_t> answer;
    };

    [[nodiscard]] Fault draw();
    void sendNow(const UdpSocket& socket, const Endpoint& to,
                 const std::vector<std::uint8_t>& answer);
    void hold(const Endpoint& to, std::vector<std::uint8_t> answer);

    const ControlFaults plan_;
    SeededRandom random_;
    std::deque<Held> held_;  ///< in the order in which they are due
    std::atomic<std::uint64_t> sent_{0};
    std::atomic<std::uint64_t> faults_{0};
};

}  // namespace kestrosim
