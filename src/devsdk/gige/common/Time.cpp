// SPDX-License-Identifier: Apache-2.0
#include "VordaInfra.h"

#include <chrono>

namespace Vorda::Infra {

std::uint64_t CTime::getCurrentMicroSecond() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count());
}

}  // namespace Vorda::Infra
