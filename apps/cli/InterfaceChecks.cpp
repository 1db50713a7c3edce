// SPDX-License-Identifier: Apache-2.0
#include "HostChecks.h"
#include "Ipv4Text.h"
#include "Text.h"

#include <algorithm>
#include <locale>
#include <sstream>

namespace kestrocli {
namespace {

constexpr const char* kCards = "/sys/class/net/";

bool hasAddress(const Host& host, const std::string& name) {
    return std::any_of(host.addresses.begin(), host.addresses.end(),
                       [&name](const HostAddress& each) { return each.interface == name; });
}

/** Cards with a link on which nothing is asked, because they have no address. */
std::vector<std::string> cardsWithoutAddress(const Host& host) {
    std::vector<std::string> found;
    const std::vector<std::string> chosen = host.chosenNames();
    if (!host.isSysOurs) return found;
    for (const auto& name : host.names(kCards)) {
        const bool isChosen =
            chosen.empty() || std::find(chosen.begin(), chosen.end(), name) != chosen.end();
        const bool isCard = host.exists(kCards + name + "/device");
        const bool hasLink = host.cardNumber(name, "carrier") == 1;
        if (isChosen && isCard && hasLink && !hasAddress(host, name)) found.push_back(name);
    }
    return found;
}

std::string addressList(const std::vector<HostAddress>& addresses) {
    std::string text;
    for (const auto& each : addresses) {
        text += (text.empty() ? "" : ", ") + visible(each.interface) + " " +
                dotted(each.address, each.mask);
    }
    return text;
}

/** Names of interfaces, each once, that the library uses; those of cables only. */
std::vector<std::string> usedCards(const Host& host) {
    std::vector<std::string> names;
    for (const auto& each : host.usedAddresses()) {
        const bool isNew = std::find(names.begin(), names.end(), each.interface) == names.end();
        if (!each.isLoopback && isNew) names.push_back(each.interface);
    }
    return names;
}

std::string limitText(const Host& host) {
    return host.chosenNames().empty() ? "" : "KESTRO_INTERFACES=" + visible(host.chosenInterfaces);
}

/** What keeps the search from cards that are there; empty when nothing does. */
std::string missedCards(const Host& host, const std::vector<std::string>& bare) {
    for (const auto& chosen : host.chosenNames()) {
        if (hasAddress(host, chosen)) continue;
        return "; " + limitText(host) + " names " + visible(chosen) +
               ", which is not up or has no IPv4 address";
    }
    if (!bare.empty()) {
        return "; " + visible(bare.front()) +
               " has a link but no IPv4 address, nothing is asked there";
    }
    const bool isLimited = !host.chosenNames().empty();
    return isLimited || !usedCards(host).empty()
               ? ""
               : ": no network card is up that has an IPv4 address";
}

Finding checkAddresses(const Host& host) {
    const std::string name = "interfaces";
    const std::string limit = limitText(host);
    const std::vector<HostAddress> used = host.usedAddresses();
    const std::vector<std::string> bare = cardsWithoutAddress(host);
    const std::string mend =
        "sudo ip addr add 192.168.1.1/24 dev " + (bare.empty() ? "eth1" : visible(bare.front()));
    if (host.addresses.empty()) {
        return {Verdict::fail, name, "none is up that has an IPv4 address", mend};
    }
    if (used.empty()) {
        return {Verdict::fail, name, limit + " names none that is up and has an IPv4 address",
                "unset KESTRO_INTERFACES, or name one of: " + addressList(host.addresses)};
    }
    if (const std::string missed = missedCards(host, bare); !missed.empty()) {
        const bool isUnknown = !limit.empty() && bare.empty();
        return {Verdict::warn, name, addressList(used) + missed,
                isUnknown ? "ip -br -4 addr shows what is there" : mend};
    }
    return {Verdict::pass, name, addressList(used) + (limit.empty() ? "" : " (" + limit + ")"), {}};
}

/** Tunnels, bridges of containers: what they are is for others to decide. */
bool isVirtual(const Host& host, const std::string& card) {
    return host.isSysOurs && !host.exists(kCards + card + "/device");
}

std::int64_t mtuOf(const Host& host, const std::string& card) {
    for (const auto& each : host.addresses) {
        if (each.interface == card) return each.mtuBytes;
    }
    return 0;
}

Finding checkPacketSizes(const Host& host) {
    constexpr std::int64_t kEthernet = 1500;
    std::string text;
    std::string small;
    for (const auto& card : usedCards(host)) {
        const std::int64_t bytes = mtuOf(host, card);
        if (bytes == 0) continue;
        text += (text.empty() ? "" : ", ") + visible(card) + " " + std::to_string(bytes);
        if (bytes < kEthernet && small.empty() && !isVirtual(host, card)) small = card;
    }
    if (text.empty()) return {Verdict::skip, "mtu", "no network card is used", {}};
    if (small.empty()) return {Verdict::pass, "mtu", text + " bytes", {}};
    return {Verdict::warn, "mtu", text + " bytes: less than Ethernet takes means more packets",
            "sudo ip link set " + visible(small) + " mtu 1500"};
}

/** What a card tells of its link; empty for one that tells nothing. */
std::string linkText(const Host& host, const std::string& card) {
    const auto speed = host.cardNumber(card, "speed");
    if (speed.value_or(0) <= 0) return {};
    const auto duplex = host.cardText(card, "duplex");
    const bool isTold = duplex == "half" || duplex == "full";
    return visible(card) + " " + std::to_string(*speed) + " Mb/s" +
           (isTold ? " " + *duplex + " duplex" : "");
}

Finding checkLinks(const Host& host) {
    constexpr std::int64_t kGigabit = 1000;
    std::string text;
    std::string slow;
    for (const auto& card : usedCards(host)) {
        const std::string link = linkText(host, card);
        if (link.empty()) continue;
        text += (text.empty() ? "" : ", ") + link;
        const bool isSlow = host.cardNumber(card, "speed").value_or(0) < kGigabit ||
                            host.cardText(card, "duplex") == "half";
        if (isSlow && slow.empty()) slow = card;
    }
    if (usedCards(host).empty()) return {Verdict::skip, "link", "no network card is used", {}};
    if (text.empty()) {
        return {Verdict::skip,
                "link",
                host.isSysOurs ? "no card tells its speed (a virtual one does not)"
                               : "/sys is of another network namespace",
                {}};
    }
    if (slow.empty()) return {Verdict::pass, "link", text, {}};
    return {
        Verdict::warn, "link", text + ": cameras send at a gigabit a second",
        "another cable or switch port; ethtool " + visible(slow) + " shows what was negotiated"};
}

/** What the kernel counted of a card since it is there. */
struct Received {
    std::int64_t packets = 0;
    std::int64_t damaged = 0;
    std::int64_t dropped = 0;
    std::int64_t missed = 0;  ///< the card had no room
};

/** From lines "eth1: bytes packets errs drop fifo frame ...", below two lines of titles. */
Received receivedBy(const Host& host, const std::string& card) {
    Received received;
    for (const auto& line : host.lines("/proc/net/dev")) {
        std::istringstream fields(line);
        fields.imbue(std::locale::classic());
        std::string name;
        std::int64_t bytes = 0;
        std::int64_t errors = 0;
        std::getline(fields >> std::ws, name, ':');
        if (name != card) continue;
        fields >> bytes >> received.packets >> errors >> received.dropped >> received.missed >>
            received.damaged;
    }
    return received;
}

Finding checkDrops(const Host& host) {
    // Fewer are the price of a start, or packets of protocols that nobody here speaks.
    constexpr std::int64_t kOneIn = 10'000;
    std::string text;
    std::string mend;
    for (const auto& card : usedCards(host)) {
        const auto [all, bad, dropped, missed] = receivedBy(host, card);
        if ((missed + dropped + bad) * kOneIn <= all) continue;
        text += (text.empty() ? "" : "; ") + visible(card) + " received " + std::to_string(all) +
                " packets, dropped " + std::to_string(dropped) + ", missed " +
                std::to_string(missed) + ", damaged " + std::to_string(bad);
        if (!mend.empty()) continue;
        mend = bad > missed + dropped
                   ? "another cable: " + visible(card) + " received damaged packets"
                   : "sudo ethtool -G " + visible(card) + " rx 4096";
    }
    if (usedCards(host).empty()) return {Verdict::skip, "drops", "no network card is used", {}};
    if (!text.empty()) return {Verdict::warn, "drops", text + " (since it is up)", mend};
    return {Verdict::pass, "drops", "none to speak of", {}};
}

}  // namespace

Findings checkInterfaces(const Host& host) {
    return {checkAddresses(host), checkPacketSizes(host), checkLinks(host), checkDrops(host)};
}

}  // namespace kestrocli
