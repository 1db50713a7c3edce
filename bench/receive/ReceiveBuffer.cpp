// SPDX-License-Identifier: Apache-2.0
#include "ReceiveBuffer.h"

#include <netinet/in.h>
#include <sys/socket.h>

namespace kestro::bench {

namespace {

/** Whether the descriptor is the socket that listens at a port. */
bool isAt(int descriptor, std::uint16_t port) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &length) == 0 &&
           local.sin_family == AF_INET && ntohs(local.sin_port) == port;
}

}  // namespace

std::uint64_t forceReceiveBuffer(std::uint16_t port, std::uint64_t bytes) {
    constexpr int kMostDescriptors = 1024;
    for (int i = 0; i < kMostDescriptors; ++i) {
        if (!isAt(i, port)) continue;
        const int wanted = static_cast<int>(bytes);
        if (::setsockopt(i, SOL_SOCKET, SO_RCVBUFFORCE, &wanted, sizeof wanted) != 0)
            ::setsockopt(i, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
        int doubled = 0;  // the kernel tells twice what it was asked for
        socklen_t length = sizeof doubled;
        ::getsockopt(i, SOL_SOCKET, SO_RCVBUF, &doubled, &length);
        return static_cast<std::uint64_t>(doubled) / 2;
    }
    return 0;
}

}  // namespace kestro::bench
