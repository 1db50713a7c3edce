// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <string>

namespace VXlog4cpp {

/**
 * A printf format whose "%I64" (the way some run-times write 64-bit conversions) became "%ll".
 * glibc would read the I as a flag and 64 as a width. Only conversions change, never a "%%I64".
 */
[[nodiscard]] std::string portableFormat(const char* format);

/** vsnprintf into a text of whatever length it takes; a format that fails gives the format itself.
 */
[[nodiscard]] std::string formatText(const char* format, std::va_list arguments);

}  // namespace VXlog4cpp
