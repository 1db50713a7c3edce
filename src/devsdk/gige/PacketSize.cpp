// SPDX-License-Identifier: Apache-2.0
#include "PacketSize.h"

#include "Gvcp.h"
#include "LastError.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using Sizes = std::vector<std::uint32_t>;

constexpr std::uint32_t kSmallestBytes = 576;  // every IP network takes that
constexpr std::uint32_t kEthernetBytes = 1500;
constexpr std::uint32_t kJumboBytes = 9000;

/** Each size is tried twice, for a packet may get lost whatever its size. */
constexpr int kShots = 2;
/** Four sizes that do not arrive take a tenth of a second. */
constexpr auto kWaitForShot = 12ms;
/** A camera that streams already must not hold up its own start. */
constexpr int kMostPackets = 4096;

/** Largest first. */
Sizes sizesToTry(const PacketSizeBasis& basis) {
    const PacketSizeLimits& limits = basis.limits;
    Sizes sizes;
    for (const std::int64_t size : {std::int64_t{basis.mtuBytes}, std::int64_t{kJumboBytes},
                                    std::int64_t{kEthernetBytes}, std::int64_t{kSmallestBytes}}) {
        if (size > basis.mtuBytes || size > limits.max || size < limits.min) continue;
        sizes.push_back(static_cast<std::uint32_t>(size - (size - limits.min) % limits.step));
    }
    std::ranges::sort(sizes, std::greater());
    sizes.erase(std::unique(sizes.begin(), sizes.end()), sizes.end());
    return sizes;
}

/** The size that the camera makes of `size`; empty when it does not take it. */
std::optional<std::uint32_t> fire(RegisterPort& camera, std::uint32_t flags, std::uint32_t size) {
    const std::uint32_t order = flags | Gvcp::kPacketSizeFireTest | size;
    if (!camera.writeRegister(Gvcp::Register::kStreamPacketSize, order)) return std::nullopt;
    std::uint32_t held = 0;
    if (!camera.readRegister(Gvcp::Register::kStreamPacketSize, held)) return std::nullopt;
    return held & Gvcp::kPacketSizeMask;
}

std::uint32_t awaitOneOf(StreamInlet& inlet, const Sizes& sizes) {
    const auto until = std::chrono::steady_clock::now() + kWaitForShot;
    for (int i = 0; i < kMostPackets; ++i) {
        const std::uint32_t bytes = inlet.awaitPacket(until);
        if (bytes == 0 || std::ranges::count(sizes, bytes) != 0) return bytes;
    }
    return 0;
}

/** 0 when no test packet arrives. One that is late counts as long as smaller ones are tried. */
std::uint32_t largestThatArrives(RegisterPort& camera, StreamInlet& inlet, std::uint32_t flags,
                                 const Sizes& sizes) {
    const KeepLastError refusals;  // a camera that is gone does not answer the next question either
    Sizes fired;
    for (const std::uint32_t size : sizes) {
        for (int shot = 0; shot < kShots; ++shot) {
            const auto held = fire(camera, flags, size);
            if (!held) break;
            fired.push_back(*held);
            if (const std::uint32_t arrived = awaitOneOf(inlet, fired)) return arrived;
        }
    }
    return 0;
}

/** Writes the register unless it holds that already; `bytes` is the size that it holds then. */
bool settle(RegisterPort& camera, std::uint32_t wanted, std::uint32_t& bytes) {
    constexpr std::uint32_t kAt = Gvcp::Register::kStreamPacketSize;
    std::uint32_t held = 0;
    if (!camera.readRegister(kAt, held)) return false;
    if (held != wanted && (!camera.writeRegister(kAt, wanted) || !camera.readRegister(kAt, held)))
        return false;
    bytes = held & Gvcp::kPacketSizeMask;
    return true;
}

}  // namespace

PacketSizeLimits packetSizeLimits(const Features& features) {
    const KeepLastError unlimited;
    PacketSizeLimits limits;
    FeatureRange<std::int64_t> range;
    if (!features.getRange(kPacketSizeFeature, range)) return limits;
    limits.min = std::max(limits.min, range.min);
    limits.max = std::min(limits.max, range.max);
    std::int64_t step = 0;
    if (features.getIncrement(kPacketSizeFeature, step)) limits.step = std::max(limits.step, step);
    return limits;
}

bool choosePacketSize(RegisterPort& camera, StreamInlet& inlet, const PacketSizeBasis& basis,
                      PacketSize& chosen) {
    std::uint32_t before = 0;
    if (!camera.readRegister(Gvcp::Register::kStreamPacketSize, before)) return false;
    const std::uint32_t held = before & Gvcp::kPacketSizeMask;
    const std::uint32_t flags = before & ~(Gvcp::kPacketSizeMask | Gvcp::kPacketSizeFireTest);
    const bool fits = held >= kSmallestBytes && held <= basis.mtuBytes;
    std::uint32_t wanted = flags | held;
    if (basis.isGiven && fits) {
        chosen.reason = "as the application set it";
    } else if (const std::uint32_t whole = flags | Gvcp::kPacketSizeDoNotFragment,
               arrived = largestThatArrives(camera, inlet, whole, sizesToTry(basis));
               arrived != 0) {
        wanted = whole | arrived;
        chosen.reason = "the largest whose test packet arrived";
    } else if (fits) {
        chosen.reason = "the camera's own, for no test packet arrived";
    } else {
        wanted = flags | std::min(basis.mtuBytes, kEthernetBytes);
        chosen.reason = "no test packet arrived, and the camera's own does not fit the interface";
    }
    if (!settle(camera, wanted, chosen.bytes)) return false;
    chosen.isChanged = chosen.bytes != held;
    return true;
}

}  // namespace Vorda::Gige
