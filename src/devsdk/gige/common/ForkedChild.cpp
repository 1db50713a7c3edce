// SPDX-License-Identifier: Apache-2.0
#include "VordaInfra.h"

#include <pthread.h>

#include <atomic>

namespace {

enum class Process { unused, used, forkedChild };

std::atomic<Process> process{Process::unused};

void becomeForkedChild() {
    if (process == Process::used) process = Process::forkedChild;
}

}  // namespace

namespace Vorda::Infra {

bool isForkedChild() {
    const Process now = process.load(std::memory_order_relaxed);
    if (now != Process::unused) return now == Process::forkedChild;
    // Before it counts as used, so that no child is missed; two threads that come here at once
    // register it twice, which does no harm.
    ::pthread_atfork(nullptr, nullptr, becomeForkedChild);
    process = Process::used;
    return false;
}

}  // namespace Vorda::Infra
