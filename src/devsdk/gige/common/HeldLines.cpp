// SPDX-License-Identifier: Apache-2.0
#include "HeldLines.h"

#include "LastError.h"

#include <utility>

namespace Vorda::Gige {
namespace {

thread_local HeldLines* current = nullptr;

}  // namespace

HeldLines::HeldLines() : outer_(std::exchange(current, this)) {}

HeldLines::~HeldLines() {
    const KeepLastError ofTheWork;  // whoever is called by the log may use the library
    current = outer_;
    for (Line& line : lines_) write(std::move(line));
}

void HeldLines::write(Line line) {
    if (current != nullptr)
        current->lines_.push_back(std::move(line));
    else
        line.write();
}

void HeldLines::Line::write() const {
    ::VXlog4cpp::CVxLog::Log(::VXlog4cpp::CVxLog::Logger_device(), level, "[%s(%d) %s] %s", file,
                             number, function, text.c_str());
}

}  // namespace Vorda::Gige
