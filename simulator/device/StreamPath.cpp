// SPDX-License-Identifier: Apache-2.0
#include "StreamPath.h"

#include "Cable.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace kestrosim {
namespace {

constexpr std::uint32_t kBurstMaxPackets = 32;
// Sendings of the second and later times have a stream of chances of their own: when they are asked
// for is the receiver's doing and must not change what happens to the packets of later frames.
constexpr std::uint64_t kAgainSeed = 0x9e3779b97f4a7c15;
/** The last packet before a pause has none behind it. */
constexpr auto kLongestReordering = std::chrono::milliseconds(10);

std::size_t bytesOf(const StreamPacket& packet) { return packet.headBytes + packet.body.size(); }

Datagram datagramOf(const StreamPacket& packet) {
    Datagram datagram(packet.head.begin(),
                      packet.head.begin() + static_cast<std::ptrdiff_t>(packet.headBytes));
    datagram.insert(datagram.end(), packet.body.begin(), packet.body.end());
    return datagram;
}

/**
 * A socket of somebody else's. A receiver knows its camera by the address; where this host has no
 * other one to send from, only the port is another.
 */
UdpSocket strangerTo(std::uint32_t camera, const Cable& cable) {
    for (const std::uint32_t address : neighboursOf(camera)) {
        try {
            return {{address, 0}, UdpSocket::Sharing::exclusive, cable};
        } catch (const std::runtime_error&) {
            continue;  // gone meanwhile
        }
    }
    return {{camera, 0}, UdpSocket::Sharing::exclusive, cable};
}

}  // namespace

/** Up to kBurstMaxPackets packets to one receiver as one system call takes them. */
class StreamPath::Burst {
 public:
    Burst(const UdpSocket& socket, const Endpoint& to)
        : socket_(socket), to_(to), address_(socketAddress(to)) {}

    void add(const StreamPacket& packet) {
        packets_[count_] = packet;
        StreamPacket& own = packets_[count_];
        pieces_[count_] = {iovec{own.head.data(), own.headBytes},
                           iovec{const_cast<std::uint8_t*>(own.body.data()), own.body.size()}};
        msghdr& header = messages_[count_].msg_hdr;
        header.msg_name = &address_;
        header.msg_namelen = sizeof address_;
        header.msg_iov = pieces_[count_].data();
        header.msg_iovlen = own.body.empty() ? 1 : 2;
        ++count_;
    }

    /** Sends what was added; a packet that the kernel refuses is left out and not counted. */
    void flush() {
        std::uint32_t done = 0;
        while (done < count_) {
            const int sent =
                ::sendmmsg(socket_.descriptor(), messages_.data() + done, count_ - done, 0);
            if (sent < 0 && errno == EINTR) continue;
            sent_.packets += static_cast<std::uint32_t>(std::max(sent, 0));
            done += static_cast<std::uint32_t>(std::max(sent, 1));
        }
        count_ = 0;
    }

    [[nodiscard]] const UdpSocket& socket() const { return socket_; }
    [[nodiscard]] const Endpoint& to() const { return to_; }
    [[nodiscard]] SentPackets& sent() { return sent_; }

 private:
    const UdpSocket& socket_;
    const Endpoint to_;
    sockaddr_in address_;
    std::array<StreamPacket, kBurstMaxPackets> packets_{};
    std::array<std::array<iovec, 2>, kBurstMaxPackets> pieces_{};
    std::array<mmsghdr, kBurstMaxPackets> messages_{};
    std::uint32_t count_ = 0;
    SentPackets sent_;
};

StreamPath::StreamPath(const FaultPlan& plan, std::uint32_t address, const Cable& cable)
    : plan_(plan),
      cable_(cable),
      harmsPackets_(hasAny(plan.packets) || plan.pathMtuBytes != 0),
      firstTime_(plan.packets, plan.seed),
      again_(plan.packets, plan.seed ^ kAgainSeed) {
    moveTo(address);
}

void StreamPath::moveTo(std::uint32_t address) {
    if (plan_.packets.foreign > 0) stranger_ = strangerTo(address, cable_);
}

SentPackets StreamPath::send(const UdpSocket& socket, const Endpoint& to, const StreamFrame& frame,
                             const PacketRun& run) {
    if (!cable_.isPlugged()) return {};
    FateDice& dice = run.status == Status::packetResend ? again_ : firstTime_;
    Burst burst(socket, to);
    for (std::uint32_t i = 0; i < run.count; ++i) {
        pass(burst, frame.packet(run.first + i, run.status), dice);
    }
    burst.flush();
    return burst.sent();
}

SentPackets StreamPath::send(const UdpSocket& socket, const Endpoint& to,
                             const StreamPacket& answer) {
    if (!cable_.isPlugged()) return {};
    Burst burst(socket, to);
    pass(burst, answer, again_);
    burst.flush();
    return burst.sent();
}

bool StreamPath::carries(std::size_t datagramBytes) const {
    return plan_.pathMtuBytes == 0 || datagramBytes + kIpUdpHeaderBytes <= plan_.pathMtuBytes;
}

void StreamPath::pass(Burst& burst, const StreamPacket& packet, FateDice& dice) {
    if (!harmsPackets_) return burst.add(packet);
    const PacketFate fate = dice.next();
    if (!carries(bytesOf(packet))) {
        ++burst.sent().packets;
        ++burst.sent().faults.tooLarge;
    } else if (fate.fault == PacketFault::none) {
        burst.add(packet);
    } else {
        burst.flush();
        harm(burst, packet, fate);
        ++burst.sent().packets;
        if (fate.fault <= PacketFault::reorder || fate.fault == PacketFault::delay) return;
    }
    if (held_.empty()) return;
    burst.flush();
    letOvertakenPass(burst.socket());
}

// A packet counts as sent once, whatever becomes of it.
void StreamPath::harm(Burst& burst, const StreamPacket& packet, const PacketFate& fate) {
    PacketFaultCounts& counts = burst.sent().faults;
    Datagram datagram = datagramOf(packet);
    const auto now = Clock::now();
    switch (fate.fault) {
        case PacketFault::none:
            break;
        case PacketFault::loss:
            ++counts.lost;
            return;
        case PacketFault::reorder:
            ++counts.reordered;
            return hold({std::move(datagram), burst.to(), now + kLongestReordering, true});
        case PacketFault::delay:
            ++counts.delayed;
            return hold({std::move(datagram), burst.to(), now + plan_.packets.delayedBy, false});
        case PacketFault::duplicate:
            ++counts.duplicated;
            static_cast<void>(burst.socket().sendTo(burst.to(), datagram));
            break;
        case PacketFault::truncate:
            ++counts.truncated;
            truncate(datagram, headerBytesOf(packet), fate.detail);
            break;
        case PacketFault::wrongSize:
            ++counts.wrongSize;
            missize(datagram, headerBytesOf(packet), fate.detail);
            break;
        case PacketFault::foreign: {
            ++counts.foreign;
            Datagram foreign = datagram;
            falsify(foreign, headerBytesOf(packet), fate.detail);
            static_cast<void>(stranger_.sendTo(burst.to(), foreign));
            break;
        }
    }
    static_cast<void>(burst.socket().sendTo(burst.to(), datagram));
}

void StreamPath::hold(Held held) { held_.push_back(std::move(held)); }

void StreamPath::letOvertakenPass(const UdpSocket& socket) {
    std::erase_if(held_, [&](const Held& held) {
        if (held.isReordered) static_cast<void>(socket.sendTo(held.to, held.datagram));
        return held.isReordered;
    });
}

std::optional<StreamPath::Clock::time_point> StreamPath::due() const {
    const auto first = std::min_element(held_.begin(), held_.end(),
                                        [](const Held& a, const Held& b) { return a.due < b.due; });
    if (first == held_.end()) return std::nullopt;
    return first->due;
}

void StreamPath::sendHeld(const UdpSocket& socket, Clock::time_point until) {
    std::erase_if(held_, [&](const Held& held) {
        const bool isDue = held.due <= until;
        if (isDue) static_cast<void>(socket.sendTo(held.to, held.datagram));
        return isDue;
    });
}

}  // namespace kestrosim
