// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DeviceLog.h"

#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * While one lives, the lines that its thread writes by GIGE_LOG_WHEN_FREE wait; they are written
 * when it goes. Made before a mutex is locked that is held for long and through many functions, it
 * keeps what the log calls out of that. One inside another leaves its lines to the outer one.
 */
class HeldLines {
 public:
    HeldLines();
    HeldLines(const HeldLines&) = delete;
    HeldLines& operator=(const HeldLines&) = delete;
    ~HeldLines();

    struct Line {
        int level;
        const char* file;
        int number;
        const char* function;
        std::string text;

        void write() const;
    };
    /** At once where none lives. */
    static void write(Line line);

 private:
    std::vector<Line> lines_;
    HeldLines* const outer_;
};

}  // namespace Vorda::Gige

/** For what may run while a mutex is held further out. */
#define GIGE_LOG_WHEN_FREE(level, text) \
    ::Vorda::Gige::HeldLines::write({::VXlog4cpp::level, __FILE_NAME__, __LINE__, __func__, (text)})
