// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Scene.h"
#include "Symbologies.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

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

/** The place of the name in the list of all that a reader may say: NA, Complete, NoRead ... */
[[nodiscard]] inline std::uint32_t statusNumber(ReadStatus status) {
    switch (status) {
        case ReadStatus::complete:
            return 2;
        case ReadStatus::partial:
            return 4;
        case ReadStatus::noRead:
            break;
    }
    return 3;
}

/** To a thousandth: a float's own digits would only show how it is stored. */
[[nodiscard]] inline double shortenedPixelsPerModule(const SceneCode& code) {
    return std::round(static_cast<double>(code.pixelsPerModule) * 1000) / 1000;
}

/** Whether the QR reader's results tell of it; what is not known counts as a bar code. */
[[nodiscard]] inline bool isMatrix(const SceneCode& code) {
    const std::size_t place = symbologyOf(code.type);
    return place < kSymbologies.size() && kSymbologies[place].isMatrix;
}

}  // namespace kestrosim
