// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Parameter.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrocli {

/** A feature's value; an enumeration's is the symbol of its entry. */
using FeatureValue = std::variant<std::int64_t, double, bool, std::string>;

/** "640", "0.1", "true", "Mono8"; of floats the fewest digits that read back the same. */
[[nodiscard]] std::string textOf(const FeatureValue& value);

/**
 * What a text means for a feature of this kind: whole numbers decimal or after 0x hexadecimal,
 * booleans true, false, 1 or 0. Empty when it means nothing; what is meant may still be refused.
 */
[[nodiscard]] std::optional<FeatureValue> valueFrom(kestro::ParameterType type,
                                                    std::string_view text);

/** A whole number, decimal or after 0x hexadecimal, as in valueFrom(). */
[[nodiscard]] std::optional<std::int64_t> wholeNumberFrom(std::string_view text);

/** All that a camera tells of one feature at one moment. */
struct FeatureRecord {
    struct Entry {
        std::string symbol;
        std::uint64_t value = 0;
    };

    std::string name;
    kestro::ParameterType type = kestro::ParameterType::Unknown;
    kestro::ParameterVisibility visibility = kestro::ParameterVisibility::Unknown;
    unsigned access = 0;                ///< the bits of Parameter::getAccessibility()
    std::optional<FeatureValue> value;  ///< empty: it cannot be read
    std::optional<FeatureValue> least;  ///< empty: no limit that the camera sets
    std::optional<FeatureValue> most;
    std::optional<std::int64_t> increment;
    std::string unit;
    std::vector<Entry> entries;
    std::optional<unsigned> longest;  ///< bytes of a text
    std::vector<std::string> selectors;

    [[nodiscard]] bool isAvailable() const { return (access & 1U) != 0; }
    [[nodiscard]] bool isReadable() const { return (access & 2U) != 0; }
    [[nodiscard]] bool isWritable() const { return (access & 4U) != 0; }
};

/** "int", "float", "enum", "bool", "string", "command", "category" or "unknown". */
[[nodiscard]] std::string_view typeName(kestro::ParameterType type);
/** "beginner", "expert", "guru", "invisible" or "unknown". */
[[nodiscard]] std::string_view visibilityName(kestro::ParameterVisibility visibility);
/** "rw", "ro", "wo", or "--" for what is not available. */
[[nodiscard]] std::string_view accessText(const FeatureRecord& feature);
/** What it may be set to, short: "64..1280 /16", "Off|On". Empty without a limit. */
[[nodiscard]] std::string rangeText(const FeatureRecord& feature);
/** The same as a phrase: "64 to 1280 in steps of 16", "one of Off, On". */
[[nodiscard]] std::string allowedText(const FeatureRecord& feature);

}  // namespace kestrocli
