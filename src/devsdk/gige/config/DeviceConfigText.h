// SPDX-License-Identifier: Apache-2.0
//
// Configuration files as text: GenICam's feature persistence.
//
//     # {05D8C294-F295-4dfb-9D01-096BD04049F4}
//     # GenApi persistence file (version 3.1.0)
//     # Device = Acme:1
//     Width<TAB>640
//
// The first line names the format; more comments and empty lines may stand anywhere. A value is
// everything behind the first tab. Lines end in LF or CR LF.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Vorda::Gige {

inline constexpr std::size_t kMaxConfigurationBytes = 16 << 20;
inline constexpr std::size_t kMaxConfigurationLines = 100'000;
inline constexpr std::size_t kMaxConfigurationLineBytes = 1 << 16;

/** A feature and its value; the lines of a file are counted from 1. */
struct ConfigurationEntry {
    std::size_t line = 0;
    std::string name;
    std::string value;
};

/** A line that is no feature and value, and a sentence that says so. */
struct ConfigurationFault {
    std::size_t line = 0;
    std::string text;
};

struct ConfigurationText {
    std::vector<ConfigurationEntry> entries;
    std::vector<ConfigurationFault> faults;
};

/** The comments that such a file begins with. */
[[nodiscard]] std::string configurationHeader(std::string_view device);
void appendSetting(std::string& text, std::string_view name, std::string_view value);
/** False for a value that would not come back from a line: one with control characters. */
[[nodiscard]] bool isStorable(std::string_view value);
/** False with the last error set when `text` is no configuration, or more than anybody needs. */
[[nodiscard]] bool parseConfiguration(std::string_view text, ConfigurationText& parsed);

}  // namespace Vorda::Gige
