// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <signal.h>

#include <thread>
#include <utility>

namespace Vorda::Gige {

/**
 * Starts a thread with a name (at most 15 characters) that takes no signals: those are the
 * application's, for its own threads. Throws std::system_error like std::thread.
 */
template <typename Function>
[[nodiscard]] std::thread startNamedThread(const char* name, Function&& function) {
    struct BlockSignals {
        BlockSignals() {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_BLOCK, &all, &before);
        }
        ~BlockSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
        sigset_t before{};
    };
    const BlockSignals blocked;  // the new thread inherits the mask
    std::thread thread(std::forward<Function>(function));
    pthread_setname_np(thread.native_handle(), name);
    return thread;
}

}  // namespace Vorda::Gige
