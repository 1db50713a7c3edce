// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FaultPlan.h"
#include "SeededRandom.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace kestrosim {

/** What happens to a packet on its way; those of PacketFaults, in its order. */
enum class PacketFault { none, loss, reorder, duplicate, delay, truncate, wrongSize, foreign };

/** What happens to one packet, and a number that says how exactly. */
struct PacketFate {
    PacketFault fault = PacketFault::none;
    std::uint64_t detail = 0;
};

/**
 * Decides the fates of packets, one after the other. Each takes the same share of the chances,
 * whatever is planned: a plan with one fault more lets those before it in PacketFaults happen to
 * the same packets.
 */
class FateDice {
 public:
    FateDice(const PacketFaults& faults, std::uint64_t seed) : faults_(faults), chance_(seed) {}

    [[nodiscard]] PacketFate next();

 private:
    PacketFaults faults_;
    SeededRandom chance_;
};

/** Whether anything is planned for packets at all. */
[[nodiscard]] bool hasAny(const PacketFaults& faults);

/**
 * Which of several things happens, at most one, each with its chance: its place in the list, or
 * the list's size for none. The chances together are at most 1.
 */
[[nodiscard]] std::size_t pick(std::uint64_t draw, std::initializer_list<double> chances);

using Datagram = std::vector<std::uint8_t>;

/** Cuts it off somewhere: every other time within the header, down to nothing. */
void truncate(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail);
/** Makes it longer, or leaves the header alone. */
void missize(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail);
/** Has other bytes behind the same header. */
void falsify(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail);

}  // namespace kestrosim
