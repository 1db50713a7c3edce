// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace Vorda::Gige {

/** Something that happens once and ends waits in poll(). Threads: any. */
class Signal {
 public:
    Signal() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() {
        if (fd_ >= 0) ::close(fd_);
    }

    void raise() {
        raised_ = true;
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(fd_, &one, sizeof one);
    }
    [[nodiscard]] bool isRaised() const { return raised_; }
    /** Readable once raised; negative, which ends no wait, when there was no descriptor left. */
    [[nodiscard]] int fd() const { return fd_; }

 private:
    const int fd_;
    std::atomic<bool> raised_{false};
};

}  // namespace Vorda::Gige
