// SPDX-License-Identifier: Apache-2.0
//
// Values of features in the bytes of a chunk or an event. Pure; every load is checked.
#pragma once

#include "Bytes.h"

#include <array>
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

/** Room for every integer and for the shortest text of every float. */
using Digits = std::array<char, 32>;

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

    [[nodiscard]] bool isIn(ByteView payload) const {
        return offset <= payload.size() && length <= payload.size() - offset;
    }
    /** Empty when the slot's bytes are not all in the payload. Texts end at their first NUL. */
    [[nodiscard]] std::optional<LoadedValue> load(ByteView payload) const;
    /**
     * The text of the value, as PayloadForm::textOf() gives it where the form changes nothing.
     * Needs isIn().
     */
    [[nodiscard]] std::string_view textOf(ByteView payload, Digits& digits) const;
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

    /** True when valueOf() gives what the slot has, and textOf() knows nothing but the value. */
    [[nodiscard]] bool isPlainFor(const PayloadSlot& slot) const;
    /** Of enumerations the number. Empty for a text where a number is needed, and the reverse. */
    [[nodiscard]] std::optional<LoadedValue> valueOf(const LoadedValue& loaded) const;
    /**
     * The text of a value that valueOf() gave: integers decimal, floats in the fewest digits that
     * read back the same, whatever the locale; enumerations by symbol. Borrows the payload's bytes,
     * this form's or those of `digits`.
     */
    [[nodiscard]] std::string_view textOf(const LoadedValue& value, Digits& digits) const;

 private:
    /** Null when no entry has the value. */
    [[nodiscard]] const std::string* symbolOf(std::int64_t value) const;
};

}  // namespace Vorda::Gige
