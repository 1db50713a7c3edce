// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DeviceLog.h"

#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * While one lives, the lines that its thread writes by GIGE_LOG_UNLOCKED wait; they are written
 * when it goes. Made before a mutex is locked under which there is more to do than can be overseen,
 * it keeps the log's sinks out of that. One inside another leaves its lines to the outer one.
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
#define GIGE_LOG_UNLOCKED(level, text) \
    ::Vorda::Gige::HeldLines::write({::VXlog4cpp::level, __FILE_NAME__, __LINE__, __func__, (text)})
