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
std::atomic<bool> forkedChildOfUser{false};
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
    closedByUs = wasUsed && !forkedChildOfUser;
    if (closedByUs) gate().lock();
}

void afterForkInParent() {
    if (closedByUs) gate().unlock();
}

// The gate stays closed here: nobody passes it any more, and to open it is for the thread that
// closed it, which the child's is not.
void afterForkInChild() {
    isAnyChild = true;
    forkedChildOfUser = wasUsed.load();
}

// As soon as the library is loaded, because the threads of log4cplus are there by then, too.
[[gnu::constructor]] void watchForks() {
    ::pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

// The program's own handlers and objects have had their turn; what is left of exit() is the end of
// the libraries, and log4cplus' would be the next.
[[gnu::destructor]] void endChild() {
    if (!isAnyChild) return;
    std::cout.flush();
    std::clog.flush();
    std::fflush(nullptr);
    ::_exit(exitStatus);
}

}  // namespace

namespace VXlog4cpp {

std::shared_lock<std::shared_mutex> ForkGate::enter() {
    if (isForkedChild()) return {};
    wasUsed = true;
    return std::shared_lock(gate());
}

bool ForkGate::isForkedChild() { return forkedChildOfUser; }

}  // namespace VXlog4cpp
