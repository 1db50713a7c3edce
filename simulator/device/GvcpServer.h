// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AnswerSender.h"
#include "GvcpCommands.h"
#include "UdpSocket.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

namespace kestrosim {

/**
 * The camera's control port: takes GVCP datagrams, its own and broadcasts, on a thread of its own.
 *
 * Broadcasts are answered from the camera's own address, and only those that came in on the
 * interface that the address is on.
 */
class GvcpServer {
 public:
    /** Takes the sockets; throws std::runtime_error when a port is taken. */
    GvcpServer(std::uint32_t address, RegisterMap& registers, StreamSender& stream,
               MessageSender& messages, const Cable& cable, const FaultPlan& faults);
    ~GvcpServer();
    GvcpServer(const GvcpServer&) = delete;
    GvcpServer& operator=(const GvcpServer&) = delete;

    /** Begins to answer. */
    void start(GvcpCommands& commands);
    /** The application that controls the camera does so no more. */
    void loseControl();
    /** What was sent in answer; threads: any. */
    [[nodiscard]] const AnswerSender& answers() const { return answers_; }

 private:
    /** Takes the sockets of an address and returns the control socket of the one before. */
    [[nodiscard]] UdpSocket listenAt(std::uint32_t address);
    void run(GvcpCommands& commands);
    [[nodiscard]] int pollTimeoutMs(const GvcpCommands& commands) const;
    void serveAll(GvcpCommands& commands);
    [[nodiscard]] bool serve(GvcpCommands& commands, const UdpSocket& socket);
    [[nodiscard]] std::optional<UdpSocket> followForcedAddress(GvcpCommands& commands);

    RegisterMap& registers_;
    StreamSender& stream_;
    MessageSender& messages_;
    const Cable& cable_;
    UdpSocket own_;
    std::vector<UdpSocket> broadcasts_;
    int interfaceIndex_ = 0;
    int wakeDescriptor_;
    std::atomic<bool> quit_{false};
    std::atomic<bool> losesControl_{false};
    AnswerSender answers_;
    std::thread thread_;
};

}  // namespace kestrosim
