// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Ipv4.h"
#include "MacAddress.h"

#include <map>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** One IPv4 address of a running network interface. */
struct HostInterface {
    std::string name;
    Ipv4 address;
    Ipv4 mask;
    Ipv4 gateway;  ///< of its default route; 0.0.0.0 where it has none
    MacAddress mac;
    std::uint32_t mtuBytes = 0;
    bool canBroadcast = false;

    bool operator==(const HostInterface&) const = default;
    /** True for an address that a single host of the interface's subnet may have. */
    [[nodiscard]] bool reaches(Ipv4 other) const;
    [[nodiscard]] Ipv4 subnetBroadcast() const { return Ipv4{address.value | ~mask.value}; }
    /** "eth0 192.168.1.1/24" */
    [[nodiscard]] std::string description() const;
};

/** "192.168.1.1/24"; a mask with holes is written in full. */
[[nodiscard]] std::string subnetText(Ipv4 address, Ipv4 mask);

/**
 * The running interfaces' IPv4 addresses, in the system's order, narrowed to KESTRO_INTERFACES when
 * that is set. Empty when there are none.
 */
[[nodiscard]] std::vector<HostInterface> runningInterfaces();

/** The default gateways by interface name, from the text of the kernel's routing table. */
[[nodiscard]] std::map<std::string, Ipv4> parseDefaultGateways(const std::string& routingTable);

}  // namespace Vorda::Gige
