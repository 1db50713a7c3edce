// SPDX-License-Identifier: Apache-2.0
#include "FormatText.h"

#include <cstdio>
#include <string_view>

namespace VXlog4cpp {

std::string portableFormat(const char* format) {
    static constexpr std::string_view kFlagsAndWidth = "-+ #0123456789.*'";
    std::string out;
    std::string_view rest(format);
    while (!rest.empty()) {
        const std::size_t percent = rest.find('%');
        if (percent == std::string_view::npos) break;
        const std::size_t after = rest.find_first_not_of(kFlagsAndWidth, percent + 1);
        if (after == std::string_view::npos) break;
        out += rest.substr(0, after);
        rest.remove_prefix(after);
        if (rest.starts_with("I64")) {
            out += "ll";
            rest.remove_prefix(3);
        } else {  // the conversion itself, so that the second sign of "%%" starts nothing
            out += rest.front();
            rest.remove_prefix(1);
        }
    }
    out += rest;
    return out;
}

std::string formatText(const char* format, std::va_list arguments) {
    const std::string portable = portableFormat(format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, portable.c_str(), again);
    va_end(again);
    if (length < 0) return format;
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), portable.c_str(), arguments);
    text.pop_back();
    return text;
}

}  // namespace VXlog4cpp
