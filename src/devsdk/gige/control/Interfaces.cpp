// SPDX-License-Identifier: Apache-2.0
#include "Interfaces.h"

#include "Environment.h"
#include "UdpSocket.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace Vorda::Gige {
namespace {

struct FreeAddresses {
    void operator()(ifaddrs* list) const { ::freeifaddrs(list); }
};

Ipv4 toIpv4(const sockaddr* address) {
    if (address == nullptr) return {};
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof internet);
    return Ipv4{ntohl(internet.sin_addr.s_addr)};
}

std::map<std::string, MacAddress> macAddresses(const ifaddrs* list) {
    std::map<std::string, MacAddress> macs;
    for (; list != nullptr; list = list->ifa_next) {
        if (list->ifa_addr == nullptr || list->ifa_addr->sa_family != AF_PACKET) continue;
        sockaddr_ll link{};
        std::memcpy(&link, list->ifa_addr, sizeof link);
        MacAddress mac;
        if (link.sll_halen == mac.bytes.size())
            std::copy_n(std::begin(link.sll_addr), mac.bytes.size(), mac.bytes.begin());
        macs[list->ifa_name] = mac;
    }
    return macs;
}

std::uint32_t mtuBytes(const UdpSocket& socket, const char* name) {
    constexpr std::uint32_t kEthernetMtu = 1500;
    ifreq request{};
    std::strncpy(request.ifr_name, name, sizeof request.ifr_name - 1);
    if (::ioctl(socket.fd(), SIOCGIFMTU, &request) != 0 || request.ifr_mtu <= 0)
        return kEthernetMtu;
    return static_cast<std::uint32_t>(request.ifr_mtu);
}

std::string routingTable() {
    std::ifstream file("/proc/net/route");
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isRunningIpv4(const ifaddrs& entry) {
    constexpr unsigned kRunning = IFF_UP | IFF_RUNNING;
    return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET &&
           (entry.ifa_flags & kRunning) == kRunning;
}

std::size_t labelStart(std::string_view name) { return name.find(':'); }

std::vector<HostInterface> allInterfaces() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, FreeAddresses> list(first);
    const auto macs = macAddresses(list.get());
    const auto gateways = parseDefaultGateways(routingTable());
    UdpSocket socket;
    if (!socket.open({})) return {};
    std::vector<HostInterface> found;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (!isRunningIpv4(*entry)) continue;
        HostInterface each;
        // A second address may bear a label, "eth0:1".
        each.name = std::string_view(entry->ifa_name).substr(0, labelStart(entry->ifa_name));
        each.address = toIpv4(entry->ifa_addr);
        each.mask = toIpv4(entry->ifa_netmask);
        if (const auto gateway = gateways.find(each.name); gateway != gateways.end())
            each.gateway = gateway->second;
        if (const auto mac = macs.find(each.name); mac != macs.end()) each.mac = mac->second;
        each.mtuBytes = mtuBytes(socket, entry->ifa_name);
        each.canBroadcast = (entry->ifa_flags & (IFF_BROADCAST | IFF_LOOPBACK)) != 0;
        found.push_back(std::move(each));
    }
    return found;
}

}  // namespace

bool HostInterface::reaches(Ipv4 other) const {
    if (!address.inSameSubnet(other, mask) || other.isZero()) return false;
    const std::uint32_t hostBits = ~mask.value;
    // A subnet of one or two addresses has neither a network nor a broadcast address.
    if (hostBits <= 1) return true;
    const std::uint32_t host = other.value & hostBits;
    return host != 0 && host != hostBits;
}

std::string HostInterface::description() const { return name + " " + subnetText(address, mask); }

std::string subnetText(Ipv4 address, Ipv4 mask) {
    const int prefix = std::countl_one(mask.value);
    const bool hasHoles = std::popcount(mask.value) != prefix;
    return address.text() + "/" + (hasHoles ? mask.text() : std::to_string(prefix));
}

std::vector<HostInterface> runningInterfaces() {
    std::vector<HostInterface> all = allInterfaces();
    const std::vector<std::string> names = Environment::interfaceNames();
    if (names.empty()) return all;
    for (const std::string& name : names) {
        if (std::ranges::find(all, name, &HostInterface::name) == all.end())
            Environment::warnOnce("KESTRO_INTERFACES: no running IPv4 interface: [" + name + "]");
    }
    std::erase_if(all, [&names](const HostInterface& each) {
        return std::ranges::find(names, each.name) == names.end();
    });
    return all;
}

std::map<std::string, Ipv4> parseDefaultGateways(const std::string& routingTable) {
    constexpr unsigned kHasGateway = 2;
    std::map<std::string, Ipv4> gateways;
    std::istringstream lines(routingTable);
    std::string line;
    std::getline(lines, line);  // the column titles
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        fields.imbue(std::locale::classic());
        std::string name;
        std::uint32_t destination = 0;
        std::uint32_t gateway = 0;
        unsigned flags = 0;
        unsigned skipped = 0;
        std::uint32_t mask = 0;
        fields >> name >> std::hex >> destination >> gateway >> flags >> std::dec >> skipped >>
            skipped >> skipped >> std::hex >> mask;
        if (!fields || destination != 0 || mask != 0 || (flags & kHasGateway) == 0) continue;
        // Addresses are printed as the machine holds them: in network order.
        gateways.emplace(name, Ipv4{ntohl(gateway)});
    }
    return gateways;
}

}  // namespace Vorda::Gige
