// SPDX-License-Identifier: Apache-2.0
#include "HostChecks.h"

#include <algorithm>
#include <iterator>

namespace kestrocli {
namespace {

Finding checkBuffer(const Host& host) {
    const std::string name = "receive buffer";
    const std::string granted = sizeText(host.grantedBuffer);
    const auto limit = host.number("/proc/sys/net/core/rmem_max");
    const bool isLifted = limit && host.grantedBuffer > static_cast<std::uint64_t>(*limit);
    const std::string rights = isLifted ? " (CAP_NET_ADMIN lifts net.core.rmem_max, " +
                                              sizeText(static_cast<std::uint64_t>(*limit)) + ")"
                                        : "";
    if (host.grantedBuffer >= kMostStreamBuffer) {
        return {Verdict::pass, name, granted + ", enough for every camera" + rights, {}};
    }
    if (host.grantedBuffer >= kLeastStreamBuffer) {
        return {Verdict::pass,
                name,
                granted + ", enough for frames of up to " +
                    sizeText(host.grantedBuffer / kPayloadsInBuffer),
                {}};
    }
    return {Verdict::warn, name,
            granted + " of the " + sizeText(kLeastStreamBuffer) +
                " that a stream wants at least: frames may be lost",
            bufferMend()};
}

/** Whoever switched a firewall on by one of the usual means. */
std::string firewallName(const Host& host) {
    if (isUfwOn(host)) return "ufw is on; ";
    return isFirewalldOn(host) ? "firewalld is on; " : "";
}

Finding checkFirewall(const Host& host) {
    return {
        Verdict::skip,
        "firewall",
        firewallName(host) +
            "its rules cannot be read without rights; a stream of a camera shows what they let in",
        {}};
}

Finding checkClock(const Host& host) {
    if (host.isClockSynchronised) return {Verdict::pass, "clock", "synchronised", {}};
    return {Verdict::warn, "clock", "not synchronised: the times of results drift",
            "sudo timedatectl set-ntp true"};
}

}  // namespace

bool isUfwOn(const Host& host) {
    const std::vector<std::string> lines = host.lines("/etc/ufw/ufw.conf");
    return std::find(lines.begin(), lines.end(), "ENABLED=yes") != lines.end();
}

bool isFirewalldOn(const Host& host) {
    // As a service of systemd it leaves no trace in /run unless it has written rules to a file.
    constexpr const char* kTraces[] = {"/run/firewalld", "/run/firewalld.pid",
                                       "/sys/fs/cgroup/system.slice/firewalld.service"};
    return std::any_of(std::begin(kTraces), std::end(kTraces),
                       [&](const char* path) { return host.exists(path); });
}

std::uint64_t wantedBuffer(std::uint64_t payloadBytes) {
    if (payloadBytes > kMostStreamBuffer) return kMostStreamBuffer;
    return std::clamp(payloadBytes * kPayloadsInBuffer, kLeastStreamBuffer, kMostStreamBuffer);
}

std::string sizeText(std::uint64_t bytes) {
    constexpr std::uint64_t kKibi = 1024;
    if (bytes >= kKibi * kKibi) return std::to_string(bytes / (kKibi * kKibi)) + " MiB";
    return std::to_string(bytes / kKibi) + " KiB";
}

std::string bufferMend() {
    return "sudo sysctl -w net.core.rmem_max=" + std::to_string(kMostStreamBuffer);
}

Findings checkKernel(const Host& host) {
    return {checkBuffer(host), checkFirewall(host), checkClock(host)};
}

}  // namespace kestrocli
