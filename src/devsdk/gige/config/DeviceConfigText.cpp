// SPDX-License-Identifier: Apache-2.0
#include "DeviceConfigText.h"

#include "LastError.h"

#include <algorithm>

namespace Vorda::Gige {
namespace {

constexpr std::string_view kFormat = "{05D8C294-F295-4dfb-9D01-096BD04049F4}";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7f;
}

// Not <cctype>'s: what is a letter must not depend on the application's locale.
bool isLetter(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           character == '_';
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

char lower(char character) {
    const bool isUpper = character >= 'A' && character <= 'Z';
    return isUpper ? static_cast<char>(character - 'A' + 'a') : character;
}

bool isName(std::string_view text) {
    return !text.empty() && isLetter(text.front()) &&
           std::ranges::all_of(text, [](char each) { return isLetter(each) || isDigit(each); });
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

/** Takes the next line off `text`, without its end. */
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

/** A comment that says of the file what it is; in hexadecimal, case means nothing. */
bool namesTheFormat(std::string_view line) {
    if (!line.starts_with('#')) return false;
    const std::string_view format = trimmed(line.substr(1));
    return std::ranges::equal(format, kFormat, {}, lower, lower);
}

/** Why `line` is no setting; null when it is one. */
const char* faultOf(std::string_view line, std::size_t tab) {
    if (line.size() > kMaxConfigurationLineBytes) return "too long";
    if (tab == std::string_view::npos) return "there is no tab between a name and a value";
    if (!isName(trimmed(line.substr(0, tab)))) return "no name of a feature before the tab";
    if (!isStorable(line.substr(tab + 1))) return "control characters in the value";
    return nullptr;
}

void parseLine(std::string_view line, std::size_t number, ConfigurationText& parsed) {
    if (line.starts_with('#') || trimmed(line).empty()) return;
    const std::size_t tab = line.find('\t');
    if (const char* fault = faultOf(line, tab)) {
        parsed.faults.push_back({number, "line " + std::to_string(number) + ": " + fault});
        return;
    }
    parsed.entries.push_back(
        {number, std::string(trimmed(line.substr(0, tab))), std::string(line.substr(tab + 1))});
}

}  // namespace

std::string configurationHeader(std::string_view device) {
    std::string name(device);
    std::ranges::replace_if(name, isControl, '?');
    return "# " + std::string(kFormat) + "\n# GenApi persistence file (version 3.1.0)\n" +
           "# Device = " + name + "\n";
}

void appendSetting(std::string& text, std::string_view name, std::string_view value) {
    text.append(name).append("\t").append(value).append("\n");
}

bool isStorable(std::string_view value) { return std::ranges::none_of(value, isControl); }

bool parseConfiguration(std::string_view text, ConfigurationText& parsed) {
    if (text.size() > kMaxConfigurationBytes)
        return fail(Error::invalidArgument, "the file is too large for a configuration");
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    if (!namesTheFormat(takeLine(text)))
        return fail(
            Error::invalidArgument,
            "the file is no configuration: its first line is not # " + std::string(kFormat));
    for (std::size_t number = 2; !text.empty(); ++number) {
        if (number > kMaxConfigurationLines)
            return fail(Error::invalidArgument, "the file has too many lines for a configuration");
        parseLine(takeLine(text), number, parsed);
    }
    return true;
}

}  // namespace Vorda::Gige
