// SPDX-License-Identifier: Apache-2.0
#include "WorkerThread.h"

#include "LastError.h"
#include "NamedThread.h"

#include <string>
#include <system_error>

namespace Vorda::Gige {

bool WorkerThread::start(const char* name, std::function<void()> body) {
    try {
        thread_ = startNamedThread(name, [body = std::move(body)]() mutable {
            body();
            // What the body holds goes before the thread does, whoever waits for it.
            body = nullptr;
        });
        return true;
    } catch (const std::system_error& error) {
        return fail(Error::system, std::string("cannot start a thread: ") + error.what());
    }
}

void WorkerThread::finish() {
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
}

}  // namespace Vorda::Gige
