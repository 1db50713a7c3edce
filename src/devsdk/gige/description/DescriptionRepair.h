// SPDX-License-Identifier: Apache-2.0
//
// Only the .cpp files that evaluate descriptions include this: GLib goes no further.
#pragma once

#include <arv.h>

namespace Vorda::Gige {

/**
 * Rewrites a description so that the node map, which reads it to the letter, takes it for what it
 * means: names and keywords without the blanks around them, booleans as variables of formulas, and
 * formulas that do not end the process. To be done before the first evaluation.
 */
void repairDescription(ArvGc* nodes);

}  // namespace Vorda::Gige
