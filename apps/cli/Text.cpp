// SPDX-License-Identifier: Apache-2.0
#include "Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace kestrocli {
namespace {

/** One character of a text, or one byte that belongs to none. */
struct Character {
    std::uint32_t codePoint = 0;
    std::size_t length = 1;
    bool valid = false;
};

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

std::size_t announcedLength(std::uint8_t lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

bool isScalar(std::uint32_t codePoint, std::size_t length) {
    constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
    return codePoint >= kSmallest[length] && codePoint <= 0x10FFFF &&
           (codePoint < 0xD800 || codePoint > 0xDFFF);
}

Character characterAt(std::string_view text, std::size_t position) {
    const std::uint8_t lead = byteAt(text, position);
    const std::size_t length = announcedLength(lead);
    if (length == 0 || text.size() - position < length) return {};
    if (length == 1) return {lead, 1, true};
    std::uint32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const std::uint8_t next = byteAt(text, position + i);
        if ((next & 0xC0U) != 0x80) return {};
        codePoint = (codePoint << 6U) | (next & 0x3FU);
    }
    if (!isScalar(codePoint, length)) return {};
    return {codePoint, length, true};
}

bool steersATerminal(std::uint32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F) || codePoint == 0x061C ||
           codePoint == 0x200E || codePoint == 0x200F ||
           (codePoint >= 0x2028 && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

std::string hexEscape(std::uint32_t value, const char* format) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string escaped(std::uint32_t codePoint) {
    switch (codePoint) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return hexEscape(codePoint, codePoint < 0x80 ? "\\x%02X" : "\\u{%X}");
    }
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<std::uint8_t>(c) & 0xC0U) != 0x80;
    }));
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size();) {
        const Character character = characterAt(bytes, i);
        if (!character.valid) return false;
        i += character.length;
    }
    return true;
}

std::string toUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const Character character = characterAt(bytes, i);
        text += character.valid ? bytes.substr(i, character.length) : "\xEF\xBF\xBD";
        i += character.length;
    }
    return text;
}

std::string base64(std::string_view bytes) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            group = (group << 8U) | (j < count ? byteAt(bytes, i + j) : 0U);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            text += j <= count ? kDigits[(group >> (18 - 6 * j)) & 0x3FU] : '=';
        }
    }
    return text;
}

std::string visible(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const Character character = characterAt(bytes, i);
        if (!character.valid) {
            text += hexEscape(byteAt(bytes, i), "\\x%02X");
        } else if (character.codePoint == '\\') {
            text += "\\\\";
        } else if (steersATerminal(character.codePoint)) {
            text += escaped(character.codePoint);
        } else {
            text += bytes.substr(i, character.length);
        }
        i += character.length;
    }
    return text;
}

std::string hexDigits(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 15U];
    }
    return text;
}

std::string hexNumber(std::uint64_t value) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%08llx", static_cast<unsigned long long>(value));
    return text.data();
}

std::string hexDump(std::uint64_t address, std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kBytesALine = 16;
    constexpr std::size_t kHexColumns = 3 * kBytesALine + 2;
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += kBytesALine) {
        std::string hex;
        std::string letters;
        for (std::size_t i = at; i < std::min(at + kBytesALine, bytes.size()); ++i) {
            hex += (i == at + kBytesALine / 2 ? "  " : " ") + hexDigits(bytes.subspan(i, 1));
            letters += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
        }
        text += hexNumber(address + at) + " " + padded(hex, kHexColumns) + " " + letters + "\n";
    }
    return text;
}

std::string padded(std::string_view text, std::size_t columns) {
    const std::size_t length = characterCount(text);
    return std::string(text) + std::string(length < columns ? columns - length : 0, ' ');
}

std::string shortened(std::string_view text, std::size_t columns) {
    constexpr std::string_view kMore = "...";
    if (characterCount(text) <= columns || columns < kMore.size()) return std::string(text);
    std::size_t end = 0;
    for (std::size_t left = columns - kMore.size(); end < text.size(); ++end) {
        const bool isNext = (byteAt(text, end) & 0xC0U) != 0x80;
        if (isNext && left-- == 0) break;
    }
    return std::string(text.substr(0, end)).append(kMore);
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], characterCount(row[i]));
        }
    }
    std::string text;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += i + 1 < row.size() ? padded(row[i], widths[i] + 2) : row[i];
        }
        text += '\n';
    }
    return text;
}

std::string isoTime(std::chrono::system_clock::time_point time) {
    using std::chrono::microseconds;
    const auto since = std::chrono::floor<microseconds>(time.time_since_epoch()).count();
    const std::int64_t fraction = ((since % 1'000'000) + 1'000'000) % 1'000'000;
    const std::time_t seconds = (since - fraction) / 1'000'000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%06lldZ",
                  static_cast<long long>(fraction));
    return text.data();
}

std::string fixed(double value, int decimals) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, decimals);
    return end.ec == std::errc() ? std::string(text.data(), end.ptr) : "-";
}

std::string firstLine(std::string_view text) {
    return std::string(text.substr(0, text.find('\n')));
}

std::string counted(std::uint64_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace kestrocli
