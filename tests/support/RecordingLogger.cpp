// SPDX-License-Identifier: Apache-2.0
#include "RecordingLogger.h"

#include "VXlog4cpp.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <utility>

namespace VXlog4cpp {
class Category {};
}  // namespace VXlog4cpp

namespace kestro::test {

namespace {

struct State {
    std::mutex mutex;  // guards all below
    int enabledLevel = 700;
    bool isLoaded = true;
    bool canLoad = true;
    std::function<void(const LogRecord&)> hook;
    std::vector<LogRecord> records;
    std::vector<std::string> configurationCalls;
    int questions = 0;
    int categoryFetches = 0;
};

State& state() {
    static State* const only = new State;  // outlives everything that may log at exit
    return *only;
}

VXlog4cpp::Category libraryCategory;
VXlog4cpp::Category deviceCategory;

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

std::string format(const char* formatText, std::va_list arguments) {
    const std::string ours = replaceAll(formatText, "%I64", "%ll");
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, ours.c_str(), again);
    va_end(again);
    if (length < 0) return "unformattable: " + ours;
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), ours.c_str(), arguments);
    text.pop_back();
    return text;
}

// "[file(line) function] message"
LogRecord split(int level, bool fromDevice, std::string text) {
    LogRecord record;
    record.level = level;
    record.fromDevice = fromDevice;
    record.message = text;
    const std::size_t open = text.find('(');
    const std::size_t close = text.find(") ");
    const std::size_t end = text.find("] ");
    if (text.starts_with('[') && open < close && close < end && end != std::string::npos) {
        record.file = text.substr(1, open - 1);
        record.line = std::atoi(text.c_str() + open + 1);
        record.function = text.substr(close + 2, end - close - 2);
        record.message = text.substr(end + 2);
    }
    record.text = std::move(text);
    return record;
}

void keep(LogRecord record) {
    std::function<void(const LogRecord&)> hook;
    {
        const std::lock_guard lock(state().mutex);
        state().records.push_back(record);
        hook = state().hook;
    }
    if (hook) hook(record);
}

}  // namespace

RecordingLogger& RecordingLogger::instance() {
    static RecordingLogger only;
    return only;
}

void RecordingLogger::reset() {
    const std::lock_guard lock(state().mutex);
    state().enabledLevel = 700;
    state().isLoaded = state().canLoad = true;
    state().hook = nullptr;
    state().records.clear();
    state().configurationCalls.clear();
    state().questions = state().categoryFetches = 0;
}

void RecordingLogger::setEnabledLevel(int level) {
    const std::lock_guard lock(state().mutex);
    state().enabledLevel = level;
}

void RecordingLogger::scriptConfiguration(bool isLoaded, bool canLoad) {
    const std::lock_guard lock(state().mutex);
    state().isLoaded = isLoaded;
    state().canLoad = canLoad;
}

void RecordingLogger::onLine(std::function<void(const LogRecord&)> hook) {
    const std::lock_guard lock(state().mutex);
    state().hook = std::move(hook);
}

std::vector<LogRecord> RecordingLogger::records() const {
    const std::lock_guard lock(state().mutex);
    return state().records;
}

std::vector<std::string> RecordingLogger::lines(int fromLevel, int toLevel) const {
    std::vector<std::string> lines;
    for (const LogRecord& record : records()) {
        if (record.level < fromLevel || record.level > toLevel) continue;
        lines.push_back(std::to_string(record.level) + " " + record.function + ": " +
                        record.message);
    }
    return lines;
}

int RecordingLogger::questions() const {
    const std::lock_guard lock(state().mutex);
    return state().questions;
}

int RecordingLogger::categoryFetches() const {
    const std::lock_guard lock(state().mutex);
    return state().categoryFetches;
}

std::vector<std::string> RecordingLogger::configurationCalls() const {
    const std::lock_guard lock(state().mutex);
    return state().configurationCalls;
}

}  // namespace kestro::test

namespace VXlog4cpp {

using kestro::test::state;

Category* CVxLog::Logger_vxsdk() {
    const std::lock_guard lock(state().mutex);
    ++state().categoryFetches;
    return &kestro::test::libraryCategory;
}

Category* CVxLog::Logger_device() { return &kestro::test::deviceCategory; }

void CVxLog::Log(Category* category, int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = kestro::test::format(format, arguments);
    va_end(arguments);
    const bool fromDevice = category == &kestro::test::deviceCategory;
    kestro::test::keep(kestro::test::split(level, fromDevice, std::move(text)));
}

bool CVxLog::isLevelEnabled(Category*, int level) {
    const std::lock_guard lock(state().mutex);
    ++state().questions;
    return level <= state().enabledLevel;
}

bool CVxLog::isConfigloaded() {
    const std::lock_guard lock(state().mutex);
    state().configurationCalls.emplace_back("isConfigloaded");
    return state().isLoaded;
}

bool CVxLog::LoadConfig(const char* path) {
    const std::lock_guard lock(state().mutex);
    state().configurationCalls.push_back("LoadConfig(" + std::string(path) + ")");
    return state().canLoad;
}

void CVxLog::LoadDefault() {
    const std::lock_guard lock(state().mutex);
    state().configurationCalls.emplace_back("LoadDefault");
}

}  // namespace VXlog4cpp
