// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"

#include <cmath>

/** How results are told, whatever they are packed in. */
namespace kestrosim {

[[nodiscard]] inline const char* statusName(ReadStatus status) {
    switch (status) {
        case ReadStatus::complete:
            return "Complete";
        case ReadStatus::partial:
            return "Partial";
        case ReadStatus::noRead:
            break;
    }
    return "NoRead";
}

/** To a thousandth: a float's own digits would only show how it is stored. */
[[nodiscard]] inline double shortenedPixelsPerModule(const SceneCode& code) {
    return std::round(static_cast<double>(code.pixelsPerModule) * 1000) / 1000;
}

[[nodiscard]] inline bool isMatrix(const SceneCode& code) { return code.type == "QR"; }

}  // namespace kestrosim
