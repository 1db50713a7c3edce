// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <shared_mutex>

namespace VXlog4cpp {

/**
 * Keeps fork() out of log4cplus. A child that was made while another thread wrote a line would
 * inherit its locks, held for ever. So fork() waits until nobody writes, and nobody writes in a
 * child of a process that has.
 *
 * It also sees to the end of every child: log4cplus has threads of its own from the moment that it
 * is loaded, and when it ends with a child it would wait for them, who are not there, for ever.
 */
class ForkGate {
 public:
    /** Held while log4cplus is used. In a child of a process that has used it: nothing (false). */
    [[nodiscard]] static std::shared_lock<std::shared_mutex> enter();
    /** True in a child of a process that has used log4cplus. */
    [[nodiscard]] static bool isForkedChild();
};

}  // namespace VXlog4cpp
