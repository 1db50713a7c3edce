// SPDX-License-Identifier: Apache-2.0
//
// The device SDK's own log lines: "[%s(%d) %s] " with file, line and function, then the message.
// Never expanded with a lock held; what may run under one of its callers uses HeldLines.
#pragma once

#include "VXlog4cpp.h"

#define GIGE_LOG(level, format, ...)                                                   \
    ::VXlog4cpp::CVxLog::Log(::VXlog4cpp::CVxLog::Logger_device(), ::VXlog4cpp::level, \
                             "[%s(%d) %s] " format, __FILE_NAME__, __LINE__,           \
                             __func__ __VA_OPT__(, ) __VA_ARGS__)

/** Evaluates its arguments only when trace lines are written. */
#define GIGE_TRACE(...)                                                               \
    do {                                                                              \
        if (::VXlog4cpp::CVxLog::isLevelEnabled(::VXlog4cpp::CVxLog::Logger_device(), \
                                                ::VXlog4cpp::kTrace))                 \
            GIGE_LOG(kTrace, __VA_ARGS__);                                            \
    } while (false)
