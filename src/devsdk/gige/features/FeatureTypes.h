// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <string>

namespace Vorda::Gige {

/** GenICam's name of the size of a stream's packets. */
inline constexpr const char* kPacketSizeFeature = "GevSCPSPacketSize";

enum class FeatureKind {
    unknown,
    integer,
    floating,
    enumeration,
    boolean,
    text,
    command,
    category
};

/** One entry of an enumeration. */
struct FeatureEntry {
    std::int64_t value = 0;
    std::string symbol;
    std::string description;
};

/** Limits of a number; a side that nothing limits has the type's own. */
template <typename T>
struct FeatureRange {
    T min = std::numeric_limits<T>::lowest();
    T max = std::numeric_limits<T>::max();
};

}  // namespace Vorda::Gige
