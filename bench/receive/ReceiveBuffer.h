// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace kestro::bench {

/**
 * Gives the socket of this process that listens at a port a receive buffer of so many bytes: beyond
 * net.core.rmem_max, too, where the process may do that. The bytes that the kernel granted.
 */
std::uint64_t forceReceiveBuffer(std::uint16_t port, std::uint64_t bytes);

}  // namespace kestro::bench
