// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraActions.h"
#include "CameraClock.h"
#include "ControlPrivilege.h"
#include "GigeWire.h"
#include "RegisterMap.h"
#include "StreamSender.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kestrosim {

/** What clients had done since the camera was switched on. One thread counts; threads: any. */
struct CommandCounts {
    std::atomic<std::uint64_t> registersRead{0};     ///< words, by READREG
    std::atomic<std::uint64_t> registersWritten{0};  ///< words, by WRITEREG
    std::atomic<std::uint64_t> memoryReads{0};       ///< READMEM commands
    std::atomic<std::uint64_t> memoryWrites{0};      ///< WRITEMEM commands
    std::atomic<std::uint64_t> refused{0};           ///< answered with another status than success
};

/** Understands GVCP commands, carries them out and words the answers. One thread. */
class GvcpCommands {
 public:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::span<const std::uint8_t>;

    GvcpCommands(const NetworkIdentity& identity, RegisterMap& registers, CameraClock& clock,
                 StreamSender& stream, bool ignoresHeartbeat);

    /** Whether a datagram may be meant for every camera at once. */
    [[nodiscard]] static bool mayBeBroadcast(Bytes datagram);
    /** The acknowledge to a datagram; empty when it deserves or wants none. */
    [[nodiscard]] std::vector<std::uint8_t> answer(Bytes datagram, const Endpoint& from);
    /** Takes control back from an application that has been silent too long. */
    void expireControl(Clock::time_point now);
    /** Takes control back from the application that has it, and ends what it set going. */
    void loseControl();
    /** When expireControl() has something to do at the earliest; empty while nothing can expire. */
    [[nodiscard]] std::optional<Clock::time_point> controlExpiry() const;
    /** The address that a FORCEIP gave the camera since the last call. */
    [[nodiscard]] std::optional<std::uint32_t> takeForcedAddress();
    [[nodiscard]] const CommandCounts& counts() const { return counts_; }

 private:
    struct Request {
        std::uint8_t flags = 0;
        Command command{};
        std::uint16_t id = 0;
        Bytes payload;
        Endpoint from;
    };
    struct Answer {
        Status status = Status::success;
        std::vector<std::uint8_t> payload;
        bool silent = false;
    };

    /** A write and its answer: sent once more by a client that missed it, it is not done again. */
    struct Write {
        Endpoint from;
        std::vector<std::uint8_t> datagram;
        Answer answer;
    };

    [[nodiscard]] bool isSignOfLife(const Request& request) const;
    [[nodiscard]] Answer carryOutOnce(const Request& request, Bytes datagram);
    [[nodiscard]] Answer carryOut(const Request& request);
    [[nodiscard]] Answer discovery() const;
    [[nodiscard]] Answer forceIp(const Request& request);
    [[nodiscard]] Answer packetResend(const Request& request);
    [[nodiscard]] Answer readRegisters(const Request& request);
    [[nodiscard]] Answer writeRegisters(const Request& request);
    [[nodiscard]] Answer readMemory(const Request& request);
    [[nodiscard]] Answer writeMemory(const Request& request);

    [[nodiscard]] bool isForThisCamera(Bytes forceIpPayload) const;
    [[nodiscard]] Status read(const Endpoint& from, std::uint32_t address,
                              std::span<std::uint8_t> to);
    [[nodiscard]] Status write(const Endpoint& from, std::uint32_t address, Bytes bytes);
    [[nodiscard]] Status writeControl(const Endpoint& from, std::uint32_t value);
    void publishControl();

    NetworkIdentity identity_;
    RegisterMap& registers_;
    StreamSender& stream_;
    CameraActions actions_;
    ControlPrivilege privilege_;
    const bool ignoresHeartbeat_;
    std::optional<std::uint32_t> forcedAddress_;
    Write lastWrite_;
    CommandCounts counts_;
};

}  // namespace kestrosim
