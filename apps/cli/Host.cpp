// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/timex.h>
#include <unistd.h>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

namespace kestrocli {
namespace {

struct FreeAddresses {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

std::uint32_t numberOf(const sockaddr* address) {
    if (address == nullptr) return 0;
    sockaddr_in internet{};
    std::memcpy(&internet, address, sizeof internet);
    return ntohl(internet.sin_addr.s_addr);
}

std::vector<HostAddress> addressesNow() {
    constexpr unsigned kRunning = IFF_UP | IFF_RUNNING;
    std::vector<HostAddress> found;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return found;
    const std::unique_ptr<ifaddrs, FreeAddresses> list(first);
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if ((entry->ifa_flags & kRunning) != kRunning) continue;
        // A second address may bear a label, "eth0:1".
        const std::string name = entry->ifa_name;
        found.push_back({name.substr(0, name.find(':')), numberOf(entry->ifa_addr),
                         numberOf(entry->ifa_netmask), (entry->ifa_flags & IFF_LOOPBACK) != 0});
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
    host.addresses = addressesNow();
    host.chosenInterfaces = chosen == nullptr ? "" : chosen;
    host.grantedBuffer = grantedBuffer();
    host.isClockSynchronised = isClockSynchronised();
    return host;
}

}  // namespace kestrocli
