// SPDX-License-Identifier: Apache-2.0
#include "HostChecks.h"
#include "Ipv4Text.h"
#include "Text.h"

#include <arpa/inet.h>
#include <algorithm>
#include <locale>
#include <sstream>

namespace kestrocli {
namespace {

struct Route {
    std::string interface;
    std::uint32_t destination = 0;
    std::uint32_t mask = 0;
    std::uint32_t metric = 0;
};

std::vector<HostAddress> usedOnCables(const Host& host) {
    std::vector<HostAddress> used = host.usedAddresses();
    std::erase_if(used, [](const HostAddress& each) { return each.isLoopback; });
    return used;
}

/** The kernel's table: a line of titles, then addresses as the machine holds them. */
std::vector<Route> routesOf(const Host& host) {
    constexpr unsigned kUp = 1;
    std::vector<Route> routes;
    for (const auto& line : host.lines("/proc/net/route")) {
        std::istringstream fields(line);
        fields.imbue(std::locale::classic());
        Route route;
        std::uint32_t gateway = 0;
        std::uint32_t unused = 0;
        unsigned flags = 0;
        fields >> route.interface >> std::hex >> route.destination >> gateway >> flags >>
            std::dec >> unused >> unused >> route.metric >> std::hex >> route.mask;
        if (!fields || (flags & kUp) == 0) continue;
        route.destination = ntohl(route.destination);
        route.mask = ntohl(route.mask);
        routes.push_back(route);
    }
    return routes;
}

/** The way that the kernel takes: the narrowest, of these the cheapest; null for none. */
const Route* routeTo(const std::vector<Route>& routes, std::uint32_t address) {
    const Route* best = nullptr;
    for (const auto& route : routes) {
        if (((address ^ route.destination) & route.mask) != 0) continue;
        const bool isBetter = best == nullptr || route.mask > best->mask ||
                              (route.mask == best->mask && route.metric < best->metric);
        if (isBetter) best = &route;
    }
    return best;
}

Finding checkSubnets(const Host& host) {
    const std::string name = "subnets";
    const std::vector<HostAddress> used = usedOnCables(host);
    for (std::size_t i = 0; i < used.size(); ++i) {
        for (std::size_t j = i + 1; j < used.size(); ++j) {
            const HostAddress& one = used[i];
            const HostAddress& other = used[j];
            if (one.interface == other.interface) continue;
            if (!one.holds(other.address) && !other.holds(one.address)) continue;
            return {Verdict::warn, name,
                    visible(one.interface) + " and " + visible(other.interface) + " share " +
                        dotted(one.address & one.mask, one.mask) +
                        ": what is sent there goes out of one of them only",
                    "sudo ip addr del " + dotted(other.address, other.mask) + " dev " +
                        visible(other.interface) + "; then give it a subnet of its own"};
        }
    }
    if (used.empty()) return {Verdict::skip, name, "no network card is used", {}};
    return {Verdict::pass, name, "each interface has one of its own", {}};
}

Finding checkWays(const Host& host) {
    const std::string name = "routes";
    const std::vector<HostAddress> used = usedOnCables(host);
    if (used.empty()) return {Verdict::skip, name, "no network card is used", {}};
    const std::vector<Route> routes = routesOf(host);
    if (routes.empty()) {
        return {Verdict::skip, name, "the kernel's table (/proc/net/route) is empty", {}};
    }
    for (const auto& each : used) {
        const std::string subnet = dotted(each.address & each.mask, each.mask);
        const Route* route = routeTo(routes, each.address);
        if (route != nullptr && route->interface == each.interface) continue;
        const std::string seen = route == nullptr ? "none leads to " + subnet + ", the subnet of "
                                                  : "what is sent to " + subnet + " goes out of " +
                                                        visible(route->interface) + ", not of ";
        return {
            Verdict::warn, name, seen + visible(each.interface),
            "sudo ip route replace " + subnet + " dev " + visible(each.interface) + " metric 0"};
    }
    return {Verdict::pass, name, "each subnet is reached through its own interface", {}};
}

Finding checkReversePath(const Host& host) {
    constexpr std::int64_t kStrict = 1;
    const std::string name = "rp_filter";
    const std::string folder = "/proc/sys/net/ipv4/conf/";
    const auto all = host.number(folder + "all/rp_filter");
    if (!all) return {Verdict::skip, name, "net.ipv4.conf.all.rp_filter cannot be read", {}};
    std::vector<std::string> cards;
    std::vector<std::string> strict;
    for (const auto& each : usedOnCables(host)) {
        if (std::find(cards.begin(), cards.end(), each.interface) != cards.end()) continue;
        cards.push_back(each.interface);
        const auto own = host.number(folder + each.interface + "/rp_filter");
        if (std::max(*all, own.value_or(0)) == kStrict) strict.push_back(each.interface);
    }
    if (strict.empty()) return {Verdict::pass, name, "not strict", {}};
    const std::string seen = "strict on " + visible(strict.front());
    if (cards.size() < 2) return {Verdict::pass, name, seen + ", the one card that is used", {}};
    return {Verdict::warn, name,
            seen + ": answers of cameras in another subnet, or that come in elsewhere, are dropped",
            "sudo sysctl -w net.ipv4.conf.all.rp_filter=0 net.ipv4.conf." +
                visible(strict.front()) + ".rp_filter=0"};
}

}  // namespace

Findings checkRoutes(const Host& host) {
    return {checkSubnets(host), checkWays(host), checkReversePath(host)};
}

}  // namespace kestrocli
