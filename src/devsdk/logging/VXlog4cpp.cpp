// SPDX-License-Identifier: Apache-2.0
#include "VXlog4cpp.h"

#include "ForkGate.h"
#include "FormatText.h"

#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace VXlog4cpp {

class Category {
 public:
    explicit Category(const char* name) {
        const auto passage = ForkGate::enter();
        logger = log4cplus::Logger::getInstance(name);
    }
    log4cplus::Logger logger;
};

}  // namespace VXlog4cpp

namespace {

constexpr const char* kLibraryLogger = "kestro";
constexpr const char* kDeviceLogger = "kestro.device";

std::atomic<bool> configLoaded{false};

log4cplus::LogLevel toLogLevel(int level) {
    if (level <= VXlog4cpp::kError) return log4cplus::ERROR_LOG_LEVEL;
    if (level <= VXlog4cpp::kWarning) return log4cplus::WARN_LOG_LEVEL;
    if (level <= VXlog4cpp::kDebug) return log4cplus::DEBUG_LOG_LEVEL;
    return log4cplus::TRACE_LOG_LEVEL;
}

log4cplus::LogLevel levelOfEnvironment() {
    const char* wanted = std::getenv("KESTRO_LOG");
    const std::string_view name = wanted ? wanted : "";
    if (name == "trace") return log4cplus::TRACE_LOG_LEVEL;
    if (name == "debug") return log4cplus::DEBUG_LOG_LEVEL;
    if (name == "error") return log4cplus::ERROR_LOG_LEVEL;
    if (name == "off") return log4cplus::OFF_LOG_LEVEL;
    return log4cplus::WARN_LOG_LEVEL;
}

bool hasAppender(log4cplus::Logger logger) { return !logger.getAllAppenders().empty(); }

/** True when nobody would see a failure, without having asked for that. */
bool losesFailures() {
    const auto library = log4cplus::Logger::getInstance(kLibraryLogger);
    return library.isEnabledFor(log4cplus::ERROR_LOG_LEVEL) && !hasAppender(library) &&
           !hasAppender(log4cplus::Logger::getRoot()) &&
           !hasAppender(log4cplus::Logger::getInstance(kDeviceLogger));
}

}  // namespace

namespace VXlog4cpp {

// The categories are never destroyed: threads may log until the process ends.
Category* CVxLog::Logger_vxsdk() {
    if (ForkGate::isShut()) return nullptr;
    static Category* const category = new Category(kLibraryLogger);
    return category;
}

Category* CVxLog::Logger_device() {
    if (ForkGate::isShut()) return nullptr;
    static Category* const category = new Category(kDeviceLogger);
    return category;
}

void CVxLog::Log(Category* category, int level, const char* format, ...) {
    if (!isLevelEnabled(category, level)) return;
    std::va_list arguments;
    va_start(arguments, format);
    try {
        const std::string text = formatText(format, arguments);
        if (const auto passage = ForkGate::enter()) category->logger.log(toLogLevel(level), text);
    } catch (...) {  // NOLINT(bugprone-empty-catch): a line that cannot be written is lost
    }
    va_end(arguments);
}

bool CVxLog::isLevelEnabled(Category* category, int level) {
    if (ForkGate::isShut()) return false;
    try {
        return category->logger.isEnabledFor(toLogLevel(level));
    } catch (...) {
        return false;
    }
}

bool CVxLog::isConfigloaded() {
    const auto passage = ForkGate::enter();
    if (configLoaded || !passage) return configLoaded;
    // A host application that uses log4cplus itself has given appenders to the root logger, or to
    // ours alone.
    return hasAppender(log4cplus::Logger::getRoot()) ||
           hasAppender(log4cplus::Logger::getInstance(kLibraryLogger));
}

bool CVxLog::LoadConfig(const char* path) {
    try {
        const auto passage = ForkGate::enter();
        if (!passage) return false;
        // The configurator would take a missing file for an empty one.
        if (!path || !std::ifstream(path)) return false;
        log4cplus::PropertyConfigurator::doConfigure(path);
        // So does a directory open, and so does a file that is about something else.
        if (losesFailures()) return false;
        configLoaded = true;
        return true;
    } catch (...) {
        return false;
    }
}

void CVxLog::LoadDefault() {
    try {
        const auto passage = ForkGate::enter();
        if (!passage) return;
        constexpr bool kToStderr = true;
        constexpr bool kFlushEachLine = true;
        log4cplus::SharedAppenderPtr console(
            new log4cplus::ConsoleAppender(kToStderr, kFlushEachLine));
        console->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%H:%M:%S.%q} %-5p %m%n"));
        log4cplus::Logger logger = log4cplus::Logger::getInstance(kLibraryLogger);
        logger.setAdditivity(false);  // the host's own appenders are not ours to write to
        logger.setLogLevel(levelOfEnvironment());
        logger.addAppender(console);
        configLoaded = true;
    } catch (...) {  // NOLINT(bugprone-empty-catch): without a log the library works on
    }
}

}  // namespace VXlog4cpp
