// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <shared_mutex>

namespace VXlog4cpp {

/**
 * Keeps fork() and the end of the program out of log4cplus. A child that was made while another
 * thread wrote a line would inherit its locks, held for ever. So fork() waits until nobody writes,
 * and nobody writes in a child of a process that has.
 *
 * At the end of the program the library's threads may still run, and log4cplus ends before them: so
 * nobody writes from then on either.
 *
 * It also sees to the end of every child: log4cplus has threads of its own from the moment that it
 * is loaded, and when it ends with a child it would wait for them, who are not there, for ever.
 */
class ForkGate {
 public:
    /** Held while log4cplus is used; it holds nothing (false) once the gate is shut. */
    [[nodiscard]] static std::shared_lock<std::shared_mutex> enter();
    /** True in a child of a process that has used log4cplus, and at the end of the program. */
    [[nodiscard]] static bool isShut();
};

}  // namespace VXlog4cpp
