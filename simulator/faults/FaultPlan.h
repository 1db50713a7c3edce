// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrosim {

/**
 * What goes wrong on the way of the stream's packets, resent ones included. Each share, 0 to 1, is
 * the chance of one packet; a packet meets one fault at most, so together they are at most 1.
 */
struct PacketFaults {
    double loss = 0;       ///< never sent
    double reorder = 0;    ///< sent after the packet behind it
    double duplicate = 0;  ///< sent twice
    double delay = 0;      ///< sent later by delayedBy
    double truncate = 0;   ///< cut off somewhere, its header included
    double wrongSize = 0;  ///< of another size than it says: longer, or empty behind the header
    /** A packet of the same stream with other bytes comes from another address or port before it.
     */
    double foreign = 0;
    std::chrono::milliseconds delayedBy{20};
};

/** What goes wrong with the answers to commands. Each share, 0 to 1, is the chance of one answer;
 * together they are at most 1. */
struct ControlFaults {
    double missingAck = 0;  ///< carried out, never answered
    double lateAck = 0;     ///< answered after ackDelay
    double pendingAck = 0;  ///< PENDING_ACK first, the answer after ackDelay
    std::chrono::milliseconds ackDelay{300};
    /** The camera does not take what an application reads as a sign of life: it gives the control
     * up when the heartbeat's time is over. */
    bool ignoresHeartbeat = false;
};

/** What goes wrong with the results inside a frame that is sent whole. Each share is of frames;
 * together they are at most 1. */
struct ResultFaults {
    double cut = 0;      ///< the block of results ends early
    double corrupt = 0;  ///< some of its bytes are others
};

/** Something that happens once. */
struct Incident {
    enum class Kind {
        disconnect,      ///< nothing is sent or answered for `lasts`; the camera itself runs on
        powerCycle,      ///< off for `lasts`, then on again as if new, at `address` if there is one
        blockIdRestart,  ///< the next frame has block id 1
        clockJump,       ///< the camera's clock goes on `jump` later, or earlier
        eventFlood,      ///< `count` events at once on the message channel
        loseControl,     ///< the camera gives the application's control up
    };
    Kind kind{};
    /** When: once so many frames were sent since the camera was switched on first; 0: at `after`.
     */
    std::uint64_t atFrame = 0;
    /** When, if not by frames: so long after the camera was switched on first. */
    std::chrono::milliseconds after{0};
    std::chrono::milliseconds lasts{1000};
    std::string address = {};
    std::chrono::milliseconds jump{0};
    std::uint32_t count = 0;
};

/**
 * What goes wrong with a simulated camera. The same plan with the same seed makes the same
 * decisions in the same order for the same packets.
 */
struct FaultPlan {
    std::uint64_t seed = 1;
    PacketFaults packets;
    ControlFaults control;
    ResultFaults results;
    /** Packets larger than this (IP and UDP headers included) vanish on the way; 0: none. */
    std::uint32_t pathMtuBytes = 0;
    /** The camera takes no packet size above this, whatever is written; 0: its own limit. */
    std::uint32_t packetSizeMax = 0;
    std::vector<Incident> incidents = {};
};

/**
 * The plan with all that a scenario file says: a JSON object, see docs/simulator.md. Throws
 * std::runtime_error with a text that names what is wrong and says what would be right.
 */
[[nodiscard]] FaultPlan parseScenario(const std::string& text, FaultPlan plan = {});
/** Adds one fault as the command line writes it: "loss=0.01", "disconnect@100=2s". Throws as above.
 */
void addFault(FaultPlan& plan, const std::string& fault);
/** Throws as above where shares that are at most 1 together are more. */
void requirePossible(const FaultPlan& plan);

}  // namespace kestrosim
