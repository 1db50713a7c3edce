// SPDX-License-Identifier: Apache-2.0
#include "StopSignal.h"

#include "Wake.h"

#include <atomic>
#include <csignal>

namespace kestrocli {
namespace {

// Lock-free atomics are what a signal handler may touch.
std::atomic<bool> stopRequested{false};
std::atomic<const Wake*> wakeOfLoop{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onStopSignal(int) {
    stopRequested = true;
    if (const Wake* wake = wakeOfLoop) wake->notify();
}

void handle(int flags, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

StopSignal::StopSignal(const Wake& wake) {
    stopRequested = false;
    wakeOfLoop = &wake;
    handle(static_cast<int>(SA_RESETHAND), onStopSignal);
}

StopSignal::~StopSignal() {
    handle(0, SIG_DFL);
    wakeOfLoop = nullptr;
}

bool StopSignal::requested() noexcept { return stopRequested; }

}  // namespace kestrocli
