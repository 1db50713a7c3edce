// SPDX-License-Identifier: Apache-2.0
#include "ForkGate.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace {

std::atomic<bool> wasUsed{false};
std::atomic<bool> shut{false};
bool isAnyChild = false;
int exitStatus = 0;
thread_local bool closedByUs = false;

// Never destroyed: threads may log until the process ends.
std::shared_mutex& gate() {
    static auto& instance = *new std::shared_mutex;
    return instance;
}

void beforeFork() {
    [[maybe_unused]] static const int registered =
        ::on_exit([](int status, void*) { exitStatus = status; }, nullptr);
    closedByUs = wasUsed && !shut;
    if (closedByUs) gate().lock();
}

void afterForkInParent() {
    if (closedByUs) gate().unlock();
}

// The gate stays closed here: nobody passes it any more, and to open it is for the thread that
// closed it, which the child's is not.
void afterForkInChild() {
    isAnyChild = true;
    if (wasUsed) shut = true;
}

// As soon as the library is loaded, because the threads of log4cplus are there by then, too.
[[gnu::constructor]] void watchForks() {
    ::pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

[[noreturn]] void endChild() {
    std::cout.flush();
    std::clog.flush();
    std::fflush(nullptr);
    ::_exit(exitStatus);
}

// The program's own handlers and objects have had their turn; what is left of exit() is the end of
// the libraries, and log4cplus' will be the next. Whoever writes is waited for.
[[gnu::destructor]] void shutForGood() {
    if (isAnyChild) endChild();
    shut = true;
    const std::lock_guard lastWriterIsOut(gate());
}

}  // namespace

namespace VXlog4cpp {

std::shared_lock<std::shared_mutex> ForkGate::enter() {
    if (isShut()) return {};
    wasUsed = true;
    std::shared_lock passage(gate());
    if (isShut()) return {};
    return passage;
}

bool ForkGate::isShut() { return shut; }

}  // namespace VXlog4cpp
