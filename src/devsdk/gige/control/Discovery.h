// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Gvcp.h"
#include "Interfaces.h"
#include "UdpSocket.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

namespace Vorda::Gige {

/** What tells one camera from another, whatever its address. */
using DeviceIdentity = std::tuple<MacAddress, std::string, std::string>;
[[nodiscard]] DeviceIdentity identityOf(const Gvcp::Announcement& device);

/** A camera's answer and the way it came. */
struct FoundDevice {
    Gvcp::Announcement device;
    HostInterface via;
    bool answeredItsAddress = false;  ///< it answered a request sent to its own address
};

/**
 * The sockets for questions to every camera behind one interface.
 *
 * The port tells the interface: one socket is bound to the interface's address, and a second one,
 * for the answers that a camera with a foreign address broadcasts, to the same port.
 */
class BroadcastPort {
 public:
    [[nodiscard]] static std::optional<BroadcastPort> open(const HostInterface& via);

    [[nodiscard]] const HostInterface& via() const { return via_; }
    /** Sends to every host behind the interface; false when that was impossible. */
    [[nodiscard]] bool broadcast(ByteView packet) const;
    [[nodiscard]] bool sendTo(ByteView packet, Ipv4 address) const;
    /** A waiting datagram; it lives in `buffer`. */
    [[nodiscard]] std::optional<ByteView> receive(std::span<std::uint8_t> buffer) const;
    [[nodiscard]] std::vector<int> fds() const { return {direct_.fd(), broadcast_.fd()}; }

 private:
    HostInterface via_;
    UdpSocket direct_;
    UdpSocket broadcast_;
};

/** The id in an answer tells which kind of question it answers, also in a late one. */
inline constexpr std::uint16_t kBroadcastQuestion = 0xffff;
inline constexpr std::uint16_t kAddressedQuestion = 0xfffe;

/** The camera in an answer to either question; empty for any other datagram. */
[[nodiscard]] std::optional<FoundDevice> decodeAnswer(ByteView datagram, const HostInterface& via);

/** The port of the interface through which the system sends to `address`; null when there is none.
 */
[[nodiscard]] const BroadcastPort* portTowards(const std::vector<BroadcastPort>& ports,
                                               Ipv4 address);

/**
 * Finds cameras. The sockets stay open from call to call, so that an answer that came too late for
 * one call is there for the next. Threads: any; calls run one after the other.
 */
class Discovery {
 public:
    /** Every camera that answered, each once; empty (and the last error) without an interface. */
    [[nodiscard]] std::optional<std::vector<FoundDevice>> run();

 private:
    using Clock = std::chrono::steady_clock;
    struct Search;

    [[nodiscard]] bool collect(Search& search);
    void openPorts(Search& search);
    void forgetOldAnswers();
    void ask(Search& search);
    void takeAnswers(Search& search);
    [[nodiscard]] bool knownAnswered(const Search& search) const;

    std::mutex mutex_;  // guards all below, for the length of a call
    std::vector<BroadcastPort> ports_;
    std::set<DeviceIdentity> known_;  ///< the cameras of the previous call
    Clock::time_point lastEnd_{};
};

/**
 * Waits until the camera with this identity answers from `address` through `via`; empty when it
 * does not within `timeout`.
 */
[[nodiscard]] std::optional<FoundDevice> findAgain(const HostInterface& via,
                                                   const DeviceIdentity& identity, Ipv4 address,
                                                   std::chrono::milliseconds timeout);

/**
 * Gives the camera with this MAC address another IP address, by broadcast through `via`; true when
 * the camera acknowledged it.
 */
[[nodiscard]] bool sendForceIp(const HostInterface& via, const MacAddress& mac, Ipv4 address,
                               Ipv4 mask, Ipv4 gateway);

}  // namespace Vorda::Gige
