// SPDX-License-Identifier: Apache-2.0
#include "Wake.h"

#include "Failure.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace kestrocli {

Wake::Wake() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw Failure(std::string("no event descriptor: ") + std::strerror(errno));
}

Wake::~Wake() { close(descriptor_); }

void Wake::notify() const noexcept {
    const int before = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
    errno = before;
}

void Wake::waitUntil(std::chrono::steady_clock::time_point deadline) const {
    using std::chrono::milliseconds;
    constexpr milliseconds kLongest = std::chrono::hours(1);
    const auto now = std::chrono::steady_clock::now();
    const auto rest = deadline <= now             ? milliseconds(0)
                      : deadline - now > kLongest ? kLongest
                                                  : std::chrono::ceil<milliseconds>(deadline - now);
    pollfd readable{descriptor_, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(rest.count())) <= 0) return;
    std::uint64_t notifications = 0;
    [[maybe_unused]] const ssize_t taken = read(descriptor_, &notifications, sizeof notifications);
}

}  // namespace kestrocli
