// SPDX-License-Identifier: Apache-2.0
//
// The logging library for tests: formats every line (so that a wrong argument shows under the
// sanitizers), keeps it, and lets a test script the configuration calls.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kestro::test {

struct LogRecord {
    int level = 0;
    bool fromDevice = false;  ///< went to the device SDK's category
    std::string file;         ///< the three fields of the prefix; empty where there is none
    int line = 0;
    std::string function;
    std::string message;  ///< what follows the prefix
    std::string text;     ///< the whole line
};

/** What CVxLog was told. Threads: any. Call reset() first in every test that looks at lines. */
class RecordingLogger {
 public:
    static RecordingLogger& instance();

    /** Forgets everything; afterwards level 800 is off and a configuration counts as loaded. */
    void reset();
    /** Levels up to this number are enabled; lines above it are recorded all the same. */
    void setEnabledLevel(int level);
    /** The answers of isConfigloaded() and of LoadConfig(). */
    void scriptConfiguration(bool isLoaded, bool canLoad);
    /** Called for each line, on the thread that logs it, with no lock held. */
    void onLine(std::function<void(const LogRecord&)> hook);

    std::vector<LogRecord> records() const;
    /** Each line as "300 create: message", from `fromLevel` up to `toLevel`. */
    std::vector<std::string> lines(int fromLevel = 0, int toLevel = 1000) const;
    /** How often isLevelEnabled was asked. */
    int questions() const;
    /** How often the library's category was fetched. */
    int categoryFetches() const;
    /** Configuration calls in order, e.g. "isConfigloaded", "LoadConfig(a.properties)". */
    std::vector<std::string> configurationCalls() const;
};

}  // namespace kestro::test
