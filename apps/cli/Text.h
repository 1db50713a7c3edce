// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrocli {

[[nodiscard]] bool isUtf8(std::string_view bytes);
/** The bytes as UTF-8: each byte that belongs to no character becomes U+FFFD. */
[[nodiscard]] std::string toUtf8(std::string_view bytes);
[[nodiscard]] std::string base64(std::string_view bytes);

/**
 * The bytes as one line that a terminal may show.
 *
 * Whatever could steer a terminal or reorder a line (control characters, bidirectional overrides,
 * line separators) and bytes that are not UTF-8 appear as escapes; a backslash is doubled.
 */
[[nodiscard]] std::string visible(std::string_view bytes);

/** Two digits for each byte. */
[[nodiscard]] std::string hexDigits(std::span<const std::uint8_t> bytes);
/** Sixteen bytes a line: the address, the bytes, and those that are ASCII characters. */
[[nodiscard]] std::string hexDump(std::uint64_t address, std::span<const std::uint8_t> bytes);
/** 0x and at least eight digits. */
[[nodiscard]] std::string hexNumber(std::uint64_t value);

/** The text filled up with blanks to `columns` characters. */
[[nodiscard]] std::string padded(std::string_view text, std::size_t columns);
/** The text cut to at most `columns` characters, three of them dots; whole below three columns. */
[[nodiscard]] std::string shortened(std::string_view text, std::size_t columns);
/** Rows as lines with aligned columns, two blanks apart; each line ends in a newline. */
[[nodiscard]] std::string table(const std::vector<std::vector<std::string>>& rows);

/** "2026-01-31T23:59:59.000001Z" */
[[nodiscard]] std::string isoTime(std::chrono::system_clock::time_point time);
/** What stands before the first newline. */
[[nodiscard]] std::string firstLine(std::string_view text);
/** "1 frame", "2 frames" */
[[nodiscard]] std::string counted(std::uint64_t count, const char* what);
/** The number with a fixed count of decimals, whatever the locale. */
[[nodiscard]] std::string fixed(double value, int decimals);

}  // namespace kestrocli
