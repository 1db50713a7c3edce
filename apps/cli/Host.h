// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrocli {

/** An IPv4 address of an interface that is up and has a link. */
struct HostAddress {
    std::string interface;
    std::uint32_t address = 0;
    std::uint32_t mask = 0;
    bool isLoopback = false;
    std::int64_t mtuBytes = 0;  ///< of the interface

    [[nodiscard]] bool holds(std::uint32_t other) const { return ((address ^ other) & mask) == 0; }
};

/** What `kestro doctor` looks at on this side of the network. */
struct Host {
    std::string root;  ///< the folder that stands for "/"; empty: "/" itself
    std::vector<HostAddress> addresses;
    bool isSysOurs = true;         ///< /sys/class/net is of this network namespace, not of another
    std::string chosenInterfaces;  ///< KESTRO_INTERFACES
    std::uint64_t grantedBuffer = 0;  ///< bytes of kMostStreamBuffer that the kernel gives a socket
    bool isClockSynchronised = true;

    /** The first line of a file; empty when it cannot be read. */
    [[nodiscard]] std::optional<std::string> line(const std::string& path) const;
    [[nodiscard]] std::vector<std::string> lines(const std::string& path) const;
    /** The number that a file begins with; empty when there is none. */
    [[nodiscard]] std::optional<std::int64_t> number(const std::string& path) const;
    /** The names in a folder, sorted. */
    [[nodiscard]] std::vector<std::string> names(const std::string& folder) const;
    [[nodiscard]] bool exists(const std::string& path) const;

    /** Those that the library uses: all, or those that KESTRO_INTERFACES names. */
    [[nodiscard]] std::vector<HostAddress> usedAddresses() const;
    /** What /sys tells of a card; empty when it tells nothing, or nothing of ours. */
    [[nodiscard]] std::optional<std::string> cardText(const std::string& card,
                                                      const std::string& what) const;
    [[nodiscard]] std::optional<std::int64_t> cardNumber(const std::string& card,
                                                         const std::string& what) const;

    /** The names in KESTRO_INTERFACES. */
    [[nodiscard]] std::vector<std::string> chosenNames() const;
};

// What the library asks the kernel for, for the packets of a stream that wait: four times the
// payload, within these.
constexpr std::uint64_t kLeastStreamBuffer = std::uint64_t{4} << 20U;
constexpr std::uint64_t kMostStreamBuffer = std::uint64_t{32} << 20U;
constexpr std::uint64_t kPayloadsInBuffer = 4;

/** This machine as it is now. */
[[nodiscard]] Host thisHost();

}  // namespace kestrocli
