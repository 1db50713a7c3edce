// SPDX-License-Identifier: Apache-2.0
#include "VXlog4cpp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// Each test that changes the process-wide configuration does so in a child process (a death test
// that ends with exit code 0), so that the tests do not see each other.

namespace {

using VXlog4cpp::CVxLog;
namespace fs = std::filesystem;

class LoggingDeathTest : public testing::Test {
 protected:
    void SetUp() override {
        testing::FLAGS_gtest_death_test_style = "fast";
        fs::create_directories(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
        const fs::path path = folder_ / name;
        std::ofstream(path) << text;
        return path.string();
    }

    fs::path folder_ = fs::temp_directory_path() / ("kestro-logging-" + std::to_string(getpid()));
};

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void logOneOfEach() {
    CVxLog::Log(CVxLog::Logger_vxsdk(), 300, "an error of %s", "the library");
    CVxLog::Log(CVxLog::Logger_vxsdk(), 400, "a warning");
    CVxLog::Log(CVxLog::Logger_device(), 700, "a debug line");
    CVxLog::Log(CVxLog::Logger_device(), 800, "a trace line");
}

TEST_F(LoggingDeathTest, DefaultWritesWarningsAndErrorsToStderrOnly) {
    EXPECT_EXIT(
        {
            unsetenv("KESTRO_LOG");
            CVxLog::LoadDefault();
            logOneOfEach();
            const bool quiet = !CVxLog::isLevelEnabled(CVxLog::Logger_vxsdk(), 700) &&
                               CVxLog::isLevelEnabled(CVxLog::Logger_vxsdk(), 400);
            std::_Exit(quiet ? 0 : 1);
        },
        testing::ExitedWithCode(0), "ERROR an error of the library\n.*WARN  a warning\n$");
}

TEST_F(LoggingDeathTest, EnvironmentNamesTheLevelOfTheDefault) {
    EXPECT_EXIT(
        {
            setenv("KESTRO_LOG", "trace", 1);
            CVxLog::LoadDefault();
            logOneOfEach();
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "DEBUG a debug line\n.*TRACE a trace line\n$");
}

TEST_F(LoggingDeathTest, EnvironmentMaySilenceTheDefault) {
    EXPECT_EXIT(
        {
            setenv("KESTRO_LOG", "off", 1);
            CVxLog::LoadDefault();
            logOneOfEach();
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

// A host application that uses log4cplus itself.
void addAppender(log4cplus::Logger logger) {
    logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
}

TEST_F(LoggingDeathTest, AHostThatGaveRootOrOurLoggerAnAppenderHasConfigured) {
    const auto configuresWith = [](log4cplus::Logger logger) {
        const bool before = CVxLog::isConfigloaded();
        addAppender(std::move(logger));
        std::_Exit(!before && CVxLog::isConfigloaded() ? 0 : 1);
    };
    EXPECT_EXIT(configuresWith(log4cplus::Logger::getRoot()), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(configuresWith(log4cplus::Logger::getInstance("kestro")),
                testing::ExitedWithCode(0), "");
}

TEST_F(LoggingDeathTest, TheDefaultWritesNothingToTheAppendersOfTheHost) {
    EXPECT_EXIT(
        {
            unsetenv("KESTRO_LOG");
            CVxLog::LoadDefault();
            log4cplus::Logger::getRoot().addAppender(
                log4cplus::SharedAppenderPtr(new log4cplus::ConsoleAppender(true, true)));
            CVxLog::Log(CVxLog::Logger_device(), 300, "once");
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "^[^\n]*ERROR once\n$");
}

TEST_F(LoggingDeathTest, LoadsAPropertiesFile) {
    const std::string log = (folder_ / "kestro.log").string();
    const std::string config =
        write("log.properties",
              "log4cplus.rootLogger=DEBUG, F\n"
              "log4cplus.appender.F=log4cplus::FileAppender\n"
              "log4cplus.appender.F.File=" +
                  log +
                  "\n"
                  "log4cplus.appender.F.layout=log4cplus::PatternLayout\n"
                  "log4cplus.appender.F.layout.ConversionPattern=%p %c %m%n\n");
    EXPECT_EXIT(
        {
            const bool before = CVxLog::isConfigloaded();
            const bool loaded = CVxLog::LoadConfig(config.c_str());
            logOneOfEach();
            std::_Exit(!before && loaded && CVxLog::isConfigloaded() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^$");
    EXPECT_EQ(contentOf(log),
              "ERROR kestro an error of the library\nWARN kestro a warning\n"
              "DEBUG kestro.device a debug line\n");
}

TEST_F(LoggingDeathTest, RefusesAFileThatCannotBeReadOrSaysNothing) {
    const std::string other = write("other.properties", "some = [thing\n");
    EXPECT_EXIT(
        {
            const bool refused = !CVxLog::LoadConfig("no-such-file.properties") &&
                                 !CVxLog::LoadConfig(nullptr) &&
                                 !CVxLog::LoadConfig(folder_.c_str()) &&
                                 !CVxLog::LoadConfig(other.c_str()) && !CVxLog::isConfigloaded();
            std::_Exit(refused ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LoggingDeathTest, TakesAFileThatAsksForSilence) {
    const std::string config = write("log.properties", "log4cplus.logger.kestro=OFF\n");
    EXPECT_EXIT(
        {
            const bool loaded = CVxLog::LoadConfig(config.c_str());
            logOneOfEach();
            std::_Exit(loaded && CVxLog::isConfigloaded() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^$");
}

TEST_F(LoggingDeathTest, TakesTheExampleFileAsItShips) {
    const std::string folder = folder_.string();
    EXPECT_EXIT(
        {
            if (chdir(folder.c_str()) != 0) std::_Exit(2);
            const bool loaded = CVxLog::LoadConfig(KESTRO_EXAMPLE_CONFIG);
            logOneOfEach();
            std::_Exit(loaded ? 0 : 1);
        },
        testing::ExitedWithCode(0), "ERROR.*an error of the library");
    EXPECT_NE(contentOf(folder + "/kestro.log").find("a debug line"), std::string::npos);
}

TEST_F(LoggingDeathTest, LinesOfManyThreadsStayWhole) {
    EXPECT_EXIT(
        {
            CVxLog::LoadDefault();
            std::vector<std::thread> threads;
            for (int thread = 0; thread < 8; ++thread) {
                threads.emplace_back([] {
                    for (int line = 0; line < 50; ++line) {
                        CVxLog::Log(CVxLog::Logger_vxsdk(), 300, "<%s>",
                                    "abcdefghijklmnopqrstuvwxyz");
                    }
                });
            }
            for (std::thread& thread : threads) thread.join();
            std::_Exit(0);
        },
        testing::ExitedWithCode(0),
        testing::ResultOf(
            [](const std::string& text) {
                std::istringstream lines(text);
                int whole = 0;
                for (std::string line; std::getline(lines, line);) {
                    if (line.ends_with("ERROR <abcdefghijklmnopqrstuvwxyz>")) ++whole;
                }
                return whole;
            },
            testing::Eq(400)));
}

}  // namespace
