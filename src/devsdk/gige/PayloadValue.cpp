// SPDX-License-Identifier: Apache-2.0
#include "PayloadValue.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace Vorda::Gige {

namespace {

constexpr unsigned kByteBits = 8;
constexpr unsigned kValueBits = 64;
/** Enough for every integer and for the shortest text of every float. */
constexpr std::size_t kLongestNumber = 32;

std::uint64_t loadBits(ByteView bytes, bool isBigEndian) {
    std::uint64_t value = 0;
    if (isBigEndian) {
        for (const std::uint8_t byte : bytes) value = value << kByteBits | byte;
    } else {
        for (std::size_t i = bytes.size(); i-- > 0;) value = value << kByteBits | bytes[i];
    }
    return value;
}

std::int64_t loadInteger(const PayloadSlot& slot, ByteView bytes) {
    std::uint64_t value = loadBits(bytes, slot.isBigEndian) >> slot.firstBit;
    const auto bits =
        static_cast<unsigned>(slot.bitCount ? slot.bitCount : bytes.size() * kByteBits);
    if (bits >= kValueBits) return static_cast<std::int64_t>(value);
    value &= (std::uint64_t{1} << bits) - 1;
    const std::uint64_t signBit = std::uint64_t{1} << (bits - 1);
    if (slot.isSigned) value = (value ^ signBit) - signBit;
    return static_cast<std::int64_t>(value);
}

LoadedValue loadFloat(const PayloadSlot& slot, ByteView bytes) {
    const std::uint64_t value = loadBits(bytes, slot.isBigEndian);
    if (bytes.size() == sizeof(double)) return std::bit_cast<double>(value);
    return std::bit_cast<float>(static_cast<std::uint32_t>(value));
}

std::string_view loadText(ByteView bytes) {
    if (bytes.empty()) return {};
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    return {text, ::strnlen(text, bytes.size())};
}

/** A float toward zero; what does not fit gives the nearest limit. */
std::int64_t truncated(const LoadedValue& loaded) {
    const auto* single = std::get_if<float>(&loaded);
    const double value = single ? *single : std::get<double>(loaded);
    constexpr double kBeyond = 9223372036854775808.0;  // 2^63
    if (std::isnan(value)) return 0;
    if (value >= kBeyond) return std::numeric_limits<std::int64_t>::max();
    if (value < -kBeyond) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

template <typename T>
void appendNumber(T value, std::string& text) {
    char digits[kLongestNumber];
    const auto written = std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, written.ptr);
}

}  // namespace

std::optional<LoadedValue> PayloadSlot::load(ByteView payload) const {
    if (offset > payload.size() || length > payload.size() - offset) return std::nullopt;
    const ByteView bytes =
        payload.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
    switch (kind) {
        case Kind::integer:
            return loadInteger(*this, bytes);
        case Kind::floating:
            return loadFloat(*this, bytes);
        case Kind::text:
            return loadText(bytes);
    }
    return std::nullopt;
}

const std::string* PayloadForm::symbolOf(std::int64_t value) const {
    const auto entry = std::lower_bound(
        entries.begin(), entries.end(), value,
        [](const Entry& candidate, std::int64_t wanted) { return candidate.value < wanted; });
    return entry != entries.end() && entry->value == value ? &entry->symbol : nullptr;
}

std::optional<LoadedValue> PayloadForm::valueOf(const LoadedValue& loaded) const {
    const auto* integer = std::get_if<std::int64_t>(&loaded);
    if (std::holds_alternative<std::string_view>(loaded) != (kind == Kind::text))
        return std::nullopt;
    switch (kind) {
        case Kind::text:
            return loaded;
        case Kind::floating:
            return integer ? LoadedValue(static_cast<double>(*integer)) : loaded;
        case Kind::integer:
        case Kind::enumeration:
            return integer ? *integer : truncated(loaded);
        case Kind::boolean:
            return std::int64_t{(integer ? *integer : truncated(loaded)) == onValue};
    }
    return std::nullopt;
}

void PayloadForm::appendText(const LoadedValue& value, std::string& text) const {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        const std::string* symbol = kind == Kind::enumeration ? symbolOf(*integer) : nullptr;
        if (symbol) {
            text += *symbol;
        } else {
            appendNumber(*integer, text);
        }
    } else if (const auto* single = std::get_if<float>(&value)) {
        appendNumber(*single, text);
    } else if (const auto* real = std::get_if<double>(&value)) {
        appendNumber(*real, text);
    } else {
        text += std::get<std::string_view>(value);
    }
}

}  // namespace Vorda::Gige
