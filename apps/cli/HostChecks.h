// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Finding.h"
#include "Host.h"

namespace kestrocli {

// What `kestro doctor` checks without a camera. Each gives a finding a check, in the order in which
// they are shown.

/** The interfaces themselves: addresses, packet size, link, packets that they dropped. */
[[nodiscard]] Findings checkInterfaces(const Host& host);
/** Which way packets go and may come: subnets, routes, the reverse-path filter. */
[[nodiscard]] Findings checkRoutes(const Host& host);
/** The rest: receive buffer, firewall, clock. */
[[nodiscard]] Findings checkKernel(const Host& host);

/** True where ufw says that it is on. */
[[nodiscard]] bool isUfwOn(const Host& host);
/** True where firewalld runs. */
[[nodiscard]] bool isFirewalldOn(const Host& host);
/** What a stream of frames of so many bytes asks for. */
[[nodiscard]] std::uint64_t wantedBuffer(std::uint64_t payloadBytes);
/** "4 MiB", "208 KiB" */
[[nodiscard]] std::string sizeText(std::uint64_t bytes);
/** What raises the limit of the receive buffer, for now. */
[[nodiscard]] std::string bufferMend();

}  // namespace kestrocli
