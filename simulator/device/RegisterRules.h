// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RegisterValues.h"

namespace kestrosim {

/**
 * Brings written values into the shape that they are kept in: bits that only set something going
 * read back as 0, what the standard lets a device round is rounded, and what follows from other
 * registers follows. `before` is what was kept until now.
 */
void settle(RegisterValues& values, const RegisterValues& before);

/** Whether every register is within its limits and fits the others. */
[[nodiscard]] bool isValid(const RegisterValues& values);

}  // namespace kestrosim
