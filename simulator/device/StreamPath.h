// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PacketFate.h"
#include "Simulator.h"
#include "StreamFrame.h"
#include "UdpSocket.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kestrosim {

/** Packets that were sent, as the camera takes it, and what happened to them on their way. */
struct SentPackets {
    std::uint64_t packets = 0;
    PacketFaultCounts faults;
};

/** Consecutive packets of a frame. */
struct PacketRun {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    Status status = Status::success;
};

/**
 * The way of the stream's packets to a receiver: what is planned to happen to them happens here,
 * and nothing is done for it where nothing is planned. One thread at a time.
 */
class StreamPath {
 public:
    using Clock = std::chrono::steady_clock;

    /** `address` is the camera's. */
    StreamPath(const FaultPlan& plan, std::uint32_t address, const Cable& cable);

    [[nodiscard]] SentPackets send(const UdpSocket& socket, const Endpoint& to,
                                   const StreamFrame& frame, const PacketRun& run);
    /** Sends a packet that answers for one that is not sent again. */
    [[nodiscard]] SentPackets send(const UdpSocket& socket, const Endpoint& to,
                                   const StreamPacket& answer);
    /** Whether a datagram of that size, its UDP and IP headers not counted, gets through. */
    [[nodiscard]] bool carries(std::size_t datagramBytes) const;

    /** When the next packet that is held back is to go on; empty when none is. */
    [[nodiscard]] std::optional<Clock::time_point> due() const;
    /** Lets packets go on that were held back and are due until then. */
    void sendHeld(const UdpSocket& socket, Clock::time_point until);
    /** The camera has that address from now on. */
    void moveTo(std::uint32_t address);

 private:
    class Burst;

    /** A copy, so that the frame may be gone by then. */
    struct Held {
        Datagram datagram;
        Endpoint to;
        Clock::time_point due;
        bool isReordered = false;  ///< goes on behind the next packet, if that is earlier
    };

    void pass(Burst& burst, const StreamPacket& packet, FateDice& dice);
    void harm(Burst& burst, const StreamPacket& packet, const PacketFate& fate);
    void hold(Held held);
    void letOvertakenPass(const UdpSocket& socket);

    const FaultPlan plan_;
    const Cable& cable_;
    const bool harmsPackets_;
    FateDice firstTime_;
    FateDice again_;
    UdpSocket stranger_;  ///< that foreign packets come from
    std::vector<Held> held_;
};

}  // namespace kestrosim
