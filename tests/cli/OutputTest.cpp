// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"
#include "Output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

using namespace kestrocli;
using testing::HasSubstr;

namespace {

TEST(Output, SaysWhyTheDiskTookNothing) {
    const int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    try {
        Output(full).write("line\n");
        ADD_FAILURE();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::failure);
        EXPECT_THAT(failure.what(), HasSubstr("No space left"));
    }
    close(full);
}

TEST(Output, FailsWhereNothingCanBeWritten) {
    const int readOnly = open("/dev/null", O_RDONLY);
    EXPECT_THROW(Output(readOnly).write("line\n"), Failure);
    close(readOnly);
    EXPECT_THROW(Output(readOnly).write("line\n"), Failure);
}

TEST(Output, EndsQuietlyWhenTheReaderIsGone) {
    prepareStandardStreams();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_THROW(Output(ends[1]).write("line\n"), OutputClosed);
    close(ends[1]);
}

TEST(Output, HasColoursOnATerminalOnly) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(Output(ends[1]).bold("text"), "text");
    close(ends[0]);
    close(ends[1]);

    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    EXPECT_EQ(Output(terminal).bold("text"), "\033[1mtext\033[0m");
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(Output(terminal).bold("text"), "text");
    unsetenv("NO_COLOR");
    close(terminal);
}

}  // namespace
