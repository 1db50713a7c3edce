// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace kestro {

/** The calls of a callback that are under way, for those who wait for their end. Threads: any. */
class RunningCalls {
 public:
    /** A call that runs on this thread for as long as the object lives. */
    class Call {
     public:
        explicit Call(RunningCalls& all) : all_(all), number_(all.begin()) {}
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        ~Call() { all_.end(number_); }

     private:
        RunningCalls& all_;
        const std::uint64_t number_;
    };

    /**
     * Waits for the calls that are under way now, not for later ones. On the thread of one of them
     * it waits for none.
     */
    void waitUntilOver();

 private:
    struct Running {
        std::thread::id thread;
        std::uint64_t number;
    };

    [[nodiscard]] std::uint64_t begin();
    void end(std::uint64_t number);

    std::mutex mutex_;  // guards what follows
    std::condition_variable ended_;
    std::vector<Running> running_;
    std::uint64_t newest_ = 0;
};

}  // namespace kestro
