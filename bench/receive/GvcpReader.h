// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>

#include <cstdint>

namespace kestro::bench {

/** Where a camera is to send its stream, and how large its packets are to be. */
struct StreamChannel {
    sockaddr_in destination{};
    std::uint32_t packetBytes = 0;  ///< with IP and UDP headers
    [[nodiscard]] bool isOpen() const { return destination.sin_port != 0; }
};

/** `address` in host byte order. */
[[nodiscard]] sockaddr_in socketAddressOf(std::uint32_t address, std::uint16_t port);

/**
 * What an application has written into the camera's registers of its stream channel. Throws
 * std::runtime_error when the camera does not answer.
 */
[[nodiscard]] StreamChannel readStreamChannel(std::uint32_t camera);

}  // namespace kestro::bench
