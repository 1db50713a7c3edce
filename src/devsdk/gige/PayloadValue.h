// SPDX-License-Identifier: Apache-2.0
//
// Values of features in the bytes of a chunk or an event. Pure; every load is checked.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Vorda::Gige {

/** A value that came in a chunk or an event. */
using PayloadValue = std::variant<std::int64_t, double, std::string>;

/**
 * The same as it is read. A text borrows the payload's bytes; a float of 4 bytes stays one, so that
 * its text is not that of the double nearest to it.
 */
using LoadedValue = std::variant<std::int64_t, float, double, std::string_view>;

/** A register in the payload. */
struct PayloadSlot {
    enum class Kind : std::uint8_t { integer, floating, text };

    std::uint64_t offset = 0;
    std::uint64_t length = 0;  ///< bytes; of integers at most 8, of floats 4 or 8
    Kind kind = Kind::integer;
    bool isBigEndian = false;
    bool isSigned = false;
    std::uint8_t firstBit = 0;  ///< counted from the least significant
    std::uint8_t bitCount = 0;  ///< 0: all

    /** Empty when the slot's bytes are not all in the payload. Texts end at their first NUL. */
    [[nodiscard]] std::optional<LoadedValue> load(ByteView payload) const;
};

/** What a feature makes of the value in its register. */
struct PayloadForm {
    enum class Kind : std::uint8_t { integer, floating, boolean, enumeration, text };
    struct Entry {
        std::int64_t value = 0;
        std::string symbol;
    };

    Kind kind = Kind::integer;
    std::int64_t onValue = 1;    ///< of booleans
    std::vector<Entry> entries;  ///< of enumerations, by ascending values

    /** Of enumerations the number. Empty for a text where a number is needed, and the reverse. */
    [[nodiscard]] std::optional<LoadedValue> valueOf(const LoadedValue& loaded) const;
    /**
     * Appends the text of a value that valueOf() gave: integers decimal, floats in the fewest
     * digits that read back the same, whatever the locale; enumerations by symbol.
     */
    void appendText(const LoadedValue& value, std::string& text) const;

 private:
    /** Null when no entry has the value. */
    [[nodiscard]] const std::string* symbolOf(std::int64_t value) const;
};

}  // namespace Vorda::Gige
