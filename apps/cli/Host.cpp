// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include "Text.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/timex.h>
#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <utility>

namespace kestrocli {
namespace {

constexpr const char* kCards = "/sys/class/net/";

struct FreeAddresses {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

std::uint32_t numberOf(const sockaddr* address) {
    if (address == nullptr) return 0;
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof internet);
    return ntohl(internet.sin_addr.s_addr);
}

using AddressList = std::unique_ptr<ifaddrs, FreeAddresses>;

AddressList listAddresses() {
    ifaddrs* first = nullptr;
    return AddressList(getifaddrs(&first) == 0 ? first : nullptr);
}

std::int64_t mtuOf(const char* name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name, sizeof request.ifr_name - 1);
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return 0;
    const bool isTold = ioctl(descriptor, SIOCGIFMTU, &request) == 0;  // NOLINT(*-vararg)
    close(descriptor);
    return isTold ? request.ifr_mtu : 0;
}

std::string macOf(const sockaddr* address) {
    sockaddr_ll link{};
    std::memcpy(&link, address, sizeof link);
    std::string text;
    for (unsigned i = 0; i < link.sll_halen && i < std::size(link.sll_addr); ++i) {
        text += (text.empty() ? "" : ":") + hexDigits({&link.sll_addr[i], 1});
    }
    return text;
}

/** A program that was put into another network namespace may still have the /sys of the first. */
bool isSysOurs(const Host& host, const AddressList& list) {
    std::set<std::string> there;
    for (const auto& name : host.names(kCards)) {
        if (host.exists(std::string(kCards) + name + "/ifindex")) there.insert(name);
    }
    std::set<std::string> here;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
        const std::string name = entry->ifa_name;
        here.insert(name);
        const std::string mac = macOf(entry->ifa_addr);
        if (host.line(std::string(kCards) + name + "/address").value_or("") != mac) return false;
    }
    return here == there;
}

std::vector<HostAddress> addressesOf(const AddressList& list) {
    constexpr unsigned kRunning = IFF_UP | IFF_RUNNING;
    std::vector<HostAddress> found;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if ((entry->ifa_flags & kRunning) != kRunning) continue;
        // A second address may bear a label, "eth0:1".
        const std::string name = entry->ifa_name;
        found.push_back({name.substr(0, name.find(':')), numberOf(entry->ifa_addr),
                         numberOf(entry->ifa_netmask), (entry->ifa_flags & IFF_LOOPBACK) != 0,
                         mtuOf(entry->ifa_name)});
    }
    return found;
}

/** Asked of a socket, as the library does: rights that lift the kernel's limit count, too. */
std::uint64_t grantedBuffer() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return 0;
    const int wanted = static_cast<int>(kMostStreamBuffer);
    if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0) {
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    }
    int doubled = 0;  // the kernel tells twice what it was asked for
    socklen_t length = sizeof doubled;
    getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &doubled, &length);
    close(descriptor);
    return static_cast<std::uint64_t>(std::max(doubled, 0)) / 2;
}

bool isClockSynchronised() {
    timex state{};
    return adjtimex(&state) != TIME_ERROR;
}

}  // namespace

std::vector<std::string> Host::lines(const std::string& path) const {
    std::vector<std::string> found;
    std::ifstream file(root + path);
    for (std::string line; std::getline(file, line);) found.push_back(line);
    return found;
}

std::optional<std::string> Host::line(const std::string& path) const {
    std::ifstream file(root + path);
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    return line;
}

std::optional<std::int64_t> Host::number(const std::string& path) const {
    const auto text = line(path);
    std::int64_t value = 0;
    if (!text) return std::nullopt;
    const auto parsed = std::from_chars(text->data(), text->data() + text->size(), value);
    if (parsed.ec != std::errc()) return std::nullopt;
    return value;
}

std::vector<std::string> Host::names(const std::string& folder) const {
    std::vector<std::string> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(root + folder, error)) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::optional<std::string> Host::cardText(const std::string& card, const std::string& what) const {
    return isSysOurs ? line(std::string(kCards) + card + "/" + what) : std::nullopt;
}

std::optional<std::int64_t> Host::cardNumber(const std::string& card,
                                             const std::string& what) const {
    return isSysOurs ? number(std::string(kCards) + card + "/" + what) : std::nullopt;
}

bool Host::exists(const std::string& path) const {
    std::error_code error;
    return std::filesystem::exists(root + path, error);
}

std::vector<std::string> Host::chosenNames() const {
    constexpr std::string_view kBlanks = " \t";
    std::vector<std::string> names;
    std::string name;
    for (const char c : chosenInterfaces + ",") {
        if (kBlanks.find(c) != std::string_view::npos) continue;
        if (c != ',') {
            name += c;
        } else if (!name.empty()) {
            names.push_back(std::exchange(name, {}));
        }
    }
    return names;
}

std::vector<HostAddress> Host::usedAddresses() const {
    const std::vector<std::string> chosen = chosenNames();
    std::vector<HostAddress> used;
    for (const auto& each : addresses) {
        const bool isChosen = chosen.empty() || std::find(chosen.begin(), chosen.end(),
                                                          each.interface) != chosen.end();
        if (isChosen) used.push_back(each);
    }
    return used;
}

Host thisHost() {
    const char* chosen = std::getenv("KESTRO_INTERFACES");
    Host host;
    const AddressList list = listAddresses();
    host.addresses = addressesOf(list);
    host.isSysOurs = isSysOurs(host, list);
    host.chosenInterfaces = chosen == nullptr ? "" : chosen;
    host.grantedBuffer = grantedBuffer();
    host.isClockSynchronised = isClockSynchronised();
    return host;
}

}  // namespace kestrocli
