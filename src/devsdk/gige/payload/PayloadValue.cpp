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

std::uint64_t loadBits(ByteView bytes, bool isBigEndian) {
    std::uint64_t value = 0;
    if (bytes.size() == sizeof(std::uint32_t)) {  // nearly always
        std::uint32_t word = 0;
        std::memcpy(&word, bytes.data(), sizeof word);
        const bool isOurs = isBigEndian == (std::endian::native == std::endian::big);
        value = isOurs ? word : __builtin_bswap32(word);
    } else if (isBigEndian) {
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

float loadFloat(const PayloadSlot& slot, ByteView bytes) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(loadBits(bytes, slot.isBigEndian)));
}

double loadDouble(const PayloadSlot& slot, ByteView bytes) {
    return std::bit_cast<double>(loadBits(bytes, slot.isBigEndian));
}

ByteView bytesOf(const PayloadSlot& slot, ByteView payload) {
    return payload.subspan(static_cast<std::size_t>(slot.offset),
                           static_cast<std::size_t>(slot.length));
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
std::string_view write(T value, Digits& digits) {
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), static_cast<std::size_t>(written.ptr - digits.data())};
}

}  // namespace

std::optional<LoadedValue> PayloadSlot::load(ByteView payload) const {
    if (!isIn(payload)) return std::nullopt;
    const ByteView bytes = bytesOf(*this, payload);
    switch (kind) {
        case Kind::integer:
            return loadInteger(*this, bytes);
        case Kind::floating:
            if (length == sizeof(float)) return loadFloat(*this, bytes);
            return loadDouble(*this, bytes);
        case Kind::text:
            return loadText(bytes);
    }
    return std::nullopt;
}

std::string_view PayloadSlot::textOf(ByteView payload, Digits& digits) const {
    const ByteView bytes = bytesOf(*this, payload);
    switch (kind) {
        case Kind::integer:
            return write(loadInteger(*this, bytes), digits);
        case Kind::floating:
            if (length == sizeof(float)) return write(loadFloat(*this, bytes), digits);
            return write(loadDouble(*this, bytes), digits);
        case Kind::text:
            return loadText(bytes);
    }
    return {};
}

bool PayloadForm::isPlainFor(const PayloadSlot& slot) const {
    return (kind == Kind::integer && slot.kind == PayloadSlot::Kind::integer) ||
           (kind == Kind::floating && slot.kind == PayloadSlot::Kind::floating) ||
           (kind == Kind::text && slot.kind == PayloadSlot::Kind::text);
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

std::string_view PayloadForm::textOf(const LoadedValue& value, Digits& digits) const {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        const std::string* symbol = kind == Kind::enumeration ? symbolOf(*integer) : nullptr;
        return symbol ? *symbol : write(*integer, digits);
    }
    if (const auto* single = std::get_if<float>(&value)) return write(*single, digits);
    if (const auto* real = std::get_if<double>(&value)) return write(*real, digits);
    return std::get<std::string_view>(value);
}

}  // namespace Vorda::Gige
