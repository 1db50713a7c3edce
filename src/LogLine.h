// SPDX-License-Identifier: Apache-2.0
//
// The shape of every log line: "[%s(%d) %s] " with the source file's base name, the line and the
// function, then the message. KESTRO_LOG_ERROR and its like are expanded in the body of the
// function that the line names, never in a lambda or a shared helper; these get a LogSite.
#pragma once

#include "VXlog4cpp.h"

#include <string>
#include <string_view>

namespace kestro {

/**
 * The file name in a path: what follows the last backslash, or, only where there is none, the last
 * slash; else the whole path. The result is a tail of `path`.
 */
constexpr const char* logFileName(const char* path) {
    const std::string_view text(path);
    std::size_t cut = text.rfind('\\');
    if (cut == std::string_view::npos) cut = text.rfind('/');
    return cut == std::string_view::npos ? path : path + cut + 1;
}

/**
 * The device SDK's most recent error on this thread: "code: 0x0000000b, msg: timeout." Read it
 * right after the failed call: the next one may set another.
 */
std::string lastErrorText();

/** What the exception says that is being handled; for catch blocks only. */
std::string exceptionText();

/** The place that a log line names, for lines that are written on behalf of another function. */
struct LogSite {
    const char* file;
    int line;
    const char* function;
};

}  // namespace kestro

/** The LogSite of the function in whose body this stands. */
#define KESTRO_LOG_SITE() (::kestro::LogSite{::kestro::logFileName(__FILE__), __LINE__, __func__})

#define KESTRO_LOG_FROM(site, level, format, ...)                                               \
    ::VXlog4cpp::CVxLog::Log(::VXlog4cpp::CVxLog::Logger_vxsdk(), level, "[%s(%d) %s] " format, \
                             (site).file, (site).line, (site).function __VA_OPT__(, ) __VA_ARGS__)

#define KESTRO_LOG_AT(level, format, ...)                                                       \
    ::VXlog4cpp::CVxLog::Log(::VXlog4cpp::CVxLog::Logger_vxsdk(), level, "[%s(%d) %s] " format, \
                             ::kestro::logFileName(__FILE__), __LINE__,                         \
                             __func__ __VA_OPT__(, ) __VA_ARGS__)

#define KESTRO_LOG_ERROR(...) KESTRO_LOG_AT(::VXlog4cpp::kError, __VA_ARGS__)
#define KESTRO_LOG_WARNING(...) KESTRO_LOG_AT(::VXlog4cpp::kWarning, __VA_ARGS__)
#define KESTRO_LOG_DEBUG(...) KESTRO_LOG_AT(::VXlog4cpp::kDebug, __VA_ARGS__)

/** True when trace lines are written: the logger is asked twice, and both answers must be yes. */
#define KESTRO_TRACE_ENABLED()                                                \
    (::VXlog4cpp::CVxLog::isLevelEnabled(::VXlog4cpp::CVxLog::Logger_vxsdk(), \
                                         ::VXlog4cpp::kTrace) &&              \
     ::VXlog4cpp::CVxLog::isLevelEnabled(::VXlog4cpp::CVxLog::Logger_vxsdk(), \
                                         ::VXlog4cpp::kTrace))

/** Evaluates its arguments only when trace lines are written. */
#define KESTRO_LOG_TRACE(...)                                                        \
    do {                                                                             \
        if (KESTRO_TRACE_ENABLED()) KESTRO_LOG_AT(::VXlog4cpp::kTrace, __VA_ARGS__); \
    } while (false)
