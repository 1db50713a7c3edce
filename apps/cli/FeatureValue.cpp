// SPDX-License-Identifier: Apache-2.0
#include "FeatureValue.h"

#include "Text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace kestrocli {
namespace {

using kestro::ParameterType;
using kestro::ParameterVisibility;

/** Plain digits as long as people can count them: 1000000, not 1e+06. */
std::string floatText(double value) {
    constexpr double kSmallest = 1e-5;
    constexpr double kLargest = 1e15;
    const double size = std::fabs(value);
    const bool isPlain = size == 0 || (size >= kSmallest && size < kLargest);
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   isPlain ? std::chars_format::fixed : std::chars_format::general);
    return {text.data(), end.ptr};
}

std::optional<FeatureValue> booleanFrom(std::string_view text) {
    std::string word;
    for (const char c : text) word += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    if (word == "true" || word == "1") return true;
    if (word == "false" || word == "0") return false;
    return std::nullopt;
}

std::optional<FeatureValue> floatFrom(std::string_view text) {
    double value = 0;
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool fits = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    if (!fits || !std::isfinite(value)) return std::nullopt;
    return value;
}

std::string entriesText(const FeatureRecord& feature, std::string_view between) {
    std::string text;
    for (const auto& entry : feature.entries) {
        if (!text.empty()) text += between;
        text += visible(entry.symbol);
    }
    return text;
}

std::string limitText(const std::optional<FeatureValue>& limit) {
    return limit ? textOf(*limit) : std::string();
}

std::string numbersAllowed(const FeatureRecord& feature) {
    const char* kind = feature.type == ParameterType::Int ? "any whole number" : "any number";
    std::string text = kind;
    if (feature.least && feature.most) {
        text = limitText(feature.least) + " to " + limitText(feature.most);
    } else if (feature.least) {
        text = "from " + limitText(feature.least) + " on";
    } else if (feature.most) {
        text = "up to " + limitText(feature.most);
    }
    if (feature.increment.value_or(1) > 1) {
        text += " in steps of " + std::to_string(*feature.increment);
    }
    return feature.unit.empty() ? text : text + " " + visible(feature.unit);
}

}  // namespace

std::string textOf(const FeatureValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
    if (const auto* real = std::get_if<double>(&value)) return floatText(*real);
    if (const auto* flag = std::get_if<bool>(&value)) return {*flag ? "true" : "false"};
    return std::get<std::string>(value);
}

std::optional<std::int64_t> wholeNumberFrom(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    std::uint64_t size = 0;
    const auto parsed =
        std::from_chars(text.data(), text.data() + text.size(), size, isHex ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return std::nullopt;
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    if (size > kMost + (isNegative ? 1 : 0)) return std::nullopt;
    return static_cast<std::int64_t>(isNegative ? 0 - size : size);
}

std::optional<FeatureValue> valueFrom(ParameterType type, std::string_view text) {
    switch (type) {
        case ParameterType::Int:
            if (const auto number = wholeNumberFrom(text)) return *number;
            return std::nullopt;
        case ParameterType::Float:
            return floatFrom(text);
        case ParameterType::Bool:
            return booleanFrom(text);
        case ParameterType::Enum:
        case ParameterType::String:
            return std::string(text);
        default:
            return std::nullopt;
    }
}

std::string_view typeName(ParameterType type) {
    constexpr std::array<std::string_view, 8> kNames = {"unknown", "int",    "float",   "enum",
                                                        "bool",    "string", "command", "category"};
    const auto index = static_cast<std::size_t>(type);
    return index < kNames.size() ? kNames[index] : kNames[0];
}

std::string_view visibilityName(ParameterVisibility visibility) {
    constexpr std::array<std::string_view, 4> kNames = {"beginner", "expert", "guru", "invisible"};
    const auto index = static_cast<std::size_t>(visibility);
    return index < kNames.size() ? kNames[index] : "unknown";
}

std::string_view accessText(const FeatureRecord& feature) {
    if (!feature.isAvailable()) return "--";
    if (feature.isWritable()) return feature.isReadable() ? "rw" : "wo";
    return feature.isReadable() ? "ro" : "--";
}

std::string rangeText(const FeatureRecord& feature) {
    if (!feature.entries.empty()) return entriesText(feature, "|");
    if (feature.longest) return "up to " + std::to_string(*feature.longest) + " bytes";
    std::string text;
    if (feature.least || feature.most) {
        text = limitText(feature.least) + ".." + limitText(feature.most);
    }
    if (feature.increment.value_or(1) > 1) text += " /" + std::to_string(*feature.increment);
    if (!feature.unit.empty()) text += " " + visible(feature.unit);
    return text.starts_with(' ') ? text.substr(1) : text;
}

std::string allowedText(const FeatureRecord& feature) {
    switch (feature.type) {
        case ParameterType::Int:
        case ParameterType::Float:
            return numbersAllowed(feature);
        case ParameterType::Bool:
            return "true or false";
        case ParameterType::Enum:
            return "one of " + entriesText(feature, ", ");
        case ParameterType::String:
            return feature.longest ? "a text of at most " + std::to_string(*feature.longest) +
                                         (*feature.longest == 1 ? " byte" : " bytes")
                                   : "a text";
        default:
            return "nothing";
    }
}

}  // namespace kestrocli
