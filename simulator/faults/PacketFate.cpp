// SPDX-License-Identifier: Apache-2.0
#include "PacketFate.h"

#include <algorithm>

namespace kestrosim {
namespace {

constexpr std::uint64_t kMostBytesTooMany = 64;

/** The draw as a number from 0 to below 1. */
double shareOf(std::uint64_t draw) { return static_cast<double>(draw >> 11) * 0x1p-53; }

}  // namespace

std::size_t pick(std::uint64_t draw, std::initializer_list<double> chances) {
    double left = shareOf(draw);
    std::size_t place = 0;
    for (const double chance : chances) {
        if (left < chance) break;
        left -= chance;
        ++place;
    }
    return place;
}

PacketFate FateDice::next() {
    constexpr PacketFault kFaults[] = {
        PacketFault::loss,     PacketFault::reorder,   PacketFault::duplicate, PacketFault::delay,
        PacketFault::truncate, PacketFault::wrongSize, PacketFault::foreign,   PacketFault::none};
    const std::size_t fault =
        pick(chance_.next(), {faults_.loss, faults_.reorder, faults_.duplicate, faults_.delay,
                              faults_.truncate, faults_.wrongSize, faults_.foreign});
    return {kFaults[fault], chance_.next()};
}

bool hasAny(const PacketFaults& faults) {
    return faults.loss > 0 || faults.reorder > 0 || faults.duplicate > 0 || faults.delay > 0 ||
           faults.truncate > 0 || faults.wrongSize > 0 || faults.foreign > 0;
}

void truncate(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail) {
    const bool isInHeader = detail % 2 == 0;
    const std::size_t end = isInHeader ? std::min(headerBytes, datagram.size()) : datagram.size();
    if (end > 0) datagram.resize((detail >> 1) % end);
}

void missize(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail) {
    const bool isTooLong = detail % 2 == 0;
    if (!isTooLong) return datagram.resize(std::min(headerBytes, datagram.size()));
    const std::uint64_t tooMany = 1 + (detail >> 1) % kMostBytesTooMany;
    datagram.insert(datagram.end(), tooMany, static_cast<std::uint8_t>(detail >> 32));
}

void falsify(Datagram& datagram, std::size_t headerBytes, std::uint64_t detail) {
    const auto change = static_cast<std::uint8_t>(detail | 1);  // so that every byte is another
    for (std::size_t i = headerBytes; i < datagram.size(); ++i) datagram[i] ^= change;
}

}  // namespace kestrosim
