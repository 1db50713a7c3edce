// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Vorda::Gige {

/**
 * Gives freed memory back to the system, as far as it lies in whole pages. For what is large and
 * seldom: the C library keeps what one thread frees for that thread's next need. Some milliseconds.
 */
void returnSpareMemory();

}  // namespace Vorda::Gige
