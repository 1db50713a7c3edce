// SPDX-License-Identifier: Apache-2.0
#include "SpareMemory.h"

#include <malloc.h>

namespace Vorda::Gige {

void returnSpareMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

}  // namespace Vorda::Gige
