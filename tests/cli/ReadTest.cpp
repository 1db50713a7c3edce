// SPDX-License-Identifier: Apache-2.0
#include "Fakes.h"
#include "Read.h"
#include "StatusLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>

using namespace kestrocli;
using kestrotest::FakeCamera;
using kestrotest::frameWithCode;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/** A pipe as stdout, whose other end collects. */
class Pipe {
 public:
    Pipe() {
        if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int writer() const { return ends_[1]; }
    void closeReader() { closeEnd(ends_[0]); }
    void closeWriter() { closeEnd(ends_[1]); }
    /** Waits for some output. */
    std::string readSome() {
        char buffer[4096];
        pollfd readable{ends_[0], POLLIN, 0};
        if (poll(&readable, 1, 10'000) <= 0) return {};
        const ssize_t count = read(ends_[0], buffer, sizeof buffer);
        return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
    }
    std::string readAll() {
        closeWriter();
        std::string all;
        for (std::string some = readSome(); !some.empty(); some = readSome()) all += some;
        return all;
    }

 private:
    static void closeEnd(int& end) {
        if (end >= 0) close(end);
        end = -1;
    }
    int ends_[2] = {-1, -1};
};

class ReadCommand : public testing::Test {
 protected:
    ReadCommand() {
        prepareStandardStreams();
        options_.timeoutSeconds = 10;
        unsetenv("KESTRO_RECONNECT");
    }

    ExitCode run() {
        Output output(pipe_.writer());
        testing::internal::CaptureStderr();
        CameraRecord record;
        record.key = "Fake:F1";
        record.serialNumber = "F1";
        const ExitCode code = readCamera({camera_, record}, options_, output);
        stderr_ = testing::internal::GetCapturedStderr();
        EXPECT_FALSE(camera_->isGrabbing());
        EXPECT_FALSE(camera_->connected);
        return code;
    }

    void give(std::initializer_list<std::uint64_t> blockIds) {
        for (const std::uint64_t id : blockIds) {
            camera_->frames.push_back(frameWithCode(id, "text" + std::to_string(id)));
        }
    }

    std::shared_ptr<FakeCamera> camera_ = std::make_shared<FakeCamera>();
    ReadOptions options_;
    Pipe pipe_;
    std::string stderr_;
};

TEST_F(ReadCommand, PrintsALineForEachCodeAndTheSummary) {
    give({1, 2, 5});
    camera_->frames.push_back(frameWithCode(6, "\x1b[31mred\n"));
    options_.frames = 4;
    EXPECT_EQ(run(), ExitCode::ok);
    EXPECT_EQ(pipe_.readAll(),
              "       1  CODE128     text1\n"
              "       2  CODE128     text2\n"
              "       5  CODE128     text5\n"
              "       6  CODE128     \\x1B[31mred\\n\n");
    EXPECT_THAT(stderr_, HasSubstr("4 frames"));
    EXPECT_THAT(stderr_, HasSubstr("4 codes"));
    EXPECT_THAT(stderr_, HasSubstr("read rate 100.0 %"));
    EXPECT_THAT(stderr_, HasSubstr("2 missed"));
}

TEST_F(ReadCommand, EndsAfterExactlyTheFramesAskedFor) {
    camera_->endless = true;
    options_.frames = 25;
    options_.json = true;
    EXPECT_EQ(run(), ExitCode::ok);
    const std::string lines = pipe_.readAll();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 25);
    EXPECT_THAT(lines, HasSubstr("\"block_id\":25,"));
}

TEST_F(ReadCommand, EndsWhenTheTimeIsUp) {
    give({1, 2});
    options_.seconds = 0.05;
    EXPECT_EQ(run(), ExitCode::ok);
    EXPECT_THAT(stderr_, HasSubstr("2 frames"));
}

TEST_F(ReadCommand, SaysSoWhenNoFrameComes) {
    options_.timeoutSeconds = 0.05;
    EXPECT_EQ(run(), ExitCode::timedOut);
    EXPECT_THAT(stderr_, HasSubstr("trigger"));
    EXPECT_THAT(stderr_, HasSubstr("firewall"));
    options_.timeoutSeconds = 5;
    options_.seconds = 0.05;
    EXPECT_EQ(run(), ExitCode::timedOut);
    options_.timeoutSeconds = 0;
    EXPECT_EQ(run(), ExitCode::ok) << "the user said that no frame may come";
    EXPECT_THAT(stderr_, HasSubstr("0 frames"));
}

class ReadCommandWithoutReconnect : public ReadCommand, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(, ReadCommandWithoutReconnect, testing::Bool());

TEST_P(ReadCommandWithoutReconnect, PrintsWhatCameBeforeTheCameraWasLost) {
    give({1, 2, 3});
    camera_->goesOffline = true;
    options_.noReconnect = GetParam();
    if (!options_.noReconnect) setenv("KESTRO_RECONNECT", "0", 1);
    EXPECT_EQ(run(), ExitCode::lost);
    EXPECT_STREQ(getenv("KESTRO_RECONNECT"), "0") << "the library goes by it";
    EXPECT_THAT(pipe_.readAll(), EndsWith("text3\n"));
    EXPECT_THAT(stderr_, HasSubstr("3 frames"));
    EXPECT_THAT(stderr_, HasSubstr("lost"));
}

TEST_F(ReadCommand, GoesOnWhenTheCameraIsBack) {
    give({1, 2, 4});
    camera_->goesOffline = true;
    // Its ids start anew; the first of them, or more, may be lost on the way.
    for (const std::uint64_t id : {60'000U, 60'001U})
        camera_->framesAfter.push_back(frameWithCode(id, "back"));
    options_.frames = 5;
    EXPECT_EQ(run(), ExitCode::ok);
    EXPECT_THAT(pipe_.readAll(), HasSubstr("60001  CODE128     back\n"));
    EXPECT_THAT(stderr_, testing::ContainsRegex("^camera F1 lost at 20[-0-9T:.]*Z, waiting for it\n"
                                                "camera F1 is back after [0-9]*\\.[0-9] s\n"
                                                "5 frames, .* 1 missed, 1 reconnect\n"));
}

TEST_F(ReadCommand, DoesNotTakeAnEndlessAbsenceForSuccess) {
    camera_->goesOffline = true;
    options_.timeoutSeconds = 0.05;
    EXPECT_EQ(run(), ExitCode::timedOut) << "the wait for the first frame is no longer for that";
    EXPECT_THAT(stderr_, HasSubstr("did not come back"));
    give({1});
    options_.seconds = 0.05;
    EXPECT_EQ(run(), ExitCode::lost);
    EXPECT_THAT(stderr_, HasSubstr("1 frame,"));
}

class ReadCommandSignal : public ReadCommand, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(, ReadCommandSignal, testing::Values(SIGINT, SIGTERM));

TEST_P(ReadCommandSignal, EndsItWithTheSummaryThoughTheReaderHasStoppedReading) {
    camera_->endless = true;
    auto killed = std::async(std::launch::async, [this] {
        pipe_.readSome();
        return kill(getpid(), GetParam());
    });
    EXPECT_EQ(run(), ExitCode::ok);
    EXPECT_EQ(killed.get(), 0);
    EXPECT_THAT(stderr_, HasSubstr("frames/s"));
}

TEST_P(ReadCommandSignal, EndsItWhileTheCameraIsAway) {
    give({1});
    camera_->goesOffline = true;
    auto killed = std::async(std::launch::async, [this] {
        pipe_.readSome();
        return kill(getpid(), GetParam());
    });
    EXPECT_EQ(run(), ExitCode::ok) << "the user wanted no more";
    EXPECT_EQ(killed.get(), 0);
    EXPECT_THAT(stderr_, HasSubstr("1 frame,"));
}

TEST_F(ReadCommand, StopsTheCameraWhenTheReaderIsGone) {
    camera_->endless = true;
    auto ended = std::async(std::launch::async, [this] {
        pipe_.readSome();
        pipe_.closeReader();
    });
    EXPECT_THROW(run(), OutputClosed);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(camera_->isGrabbing());
    EXPECT_FALSE(camera_->connected);
}

TEST_F(ReadCommand, LeavesACameraAloneThatRefuses) {
    camera_->connectCode = 2;
    EXPECT_THROW(run(), Failure);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(camera_->everStarted);
    camera_->connectCode = 0;
    options_.saveFolder = "/proc/nowhere";
    EXPECT_THROW(run(), Failure);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(camera_->everStarted);
}

TEST_F(ReadCommand, RefersToThePicturesThatItSaves) {
    const kestrotest::TemporaryFolder folder;
    const auto frame = frameWithCode(9, "x");
    frame->width = frame->height = 2;
    frame->image = {1, 2, 3, 4};
    camera_->frames = {frame};
    options_.frames = 1;
    options_.json = true;
    options_.saveFolder = folder.path() + "/pictures";
    options_.overlayFolder = folder.path() + "/overlays";
    EXPECT_EQ(run(), ExitCode::ok);
    EXPECT_THAT(pipe_.readAll(), HasSubstr("\"image\":\"F1-00000009.png\""));
    EXPECT_THAT(folder.names(), testing::ElementsAre("overlays", "pictures"));
    for (const std::string& saved : {options_.saveFolder, options_.overlayFolder}) {
        EXPECT_TRUE(std::filesystem::exists(saved + "/F1-00000009.png")) << saved;
    }
}

/** A terminal in the place of stderr, for as long as it exists. */
class TerminalAsStderr {
 public:
    TerminalAsStderr() : terminal_(posix_openpt(O_RDWR | O_NOCTTY)), before_(dup(STDERR_FILENO)) {
        if (grantpt(terminal_) != 0 || unlockpt(terminal_) != 0) throw std::runtime_error("no pty");
        const int end = open(ptsname(terminal_), O_RDWR | O_NOCTTY);
        dup2(end, STDERR_FILENO);
        close(end);
    }
    ~TerminalAsStderr() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(terminal_);
    }
    TerminalAsStderr(const TerminalAsStderr&) = delete;
    TerminalAsStderr& operator=(const TerminalAsStderr&) = delete;

    /** What was written until now. */
    std::string written() {
        std::string text;
        std::array<char, 4096> buffer{};
        for (pollfd readable{terminal_, POLLIN, 0}; poll(&readable, 1, 0) > 0;) {
            const ssize_t count = read(terminal_, buffer.data(), buffer.size());
            if (count <= 0) break;
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

 private:
    int terminal_;
    int before_;
};

class StatusLineOfARead : public ReadCommand, public testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(, StatusLineOfARead, testing::Values("xterm", "dumb", ""));

TEST_P(StatusLineOfARead, IsThereOnATerminalAloneAndGoneBeforeTheSummary) {
    setenv("TERM", GetParam(), 1);
    setenv("NO_COLOR", "1", 1);
    TerminalAsStderr terminal;
    options_.seconds = 0.5;  // longer than the line waits before it first appears
    give({1, 2});
    Output output(pipe_.writer());
    EXPECT_EQ(readCamera({camera_, {}}, options_, output), ExitCode::ok);
    const std::string seen = terminal.written();
    const auto summary = seen.find("2 frames, ");
    ASSERT_NE(summary, std::string::npos) << seen;
    if (std::string_view(GetParam()) == "xterm") {
        EXPECT_THAT(seen.substr(0, summary), HasSubstr("  2 frames"));
        EXPECT_THAT(seen.substr(0, summary), EndsWith("\r\033[K"));
    } else {
        EXPECT_EQ(summary, 0U) << seen;
    }
    EXPECT_THAT(seen.substr(summary), testing::Not(HasSubstr("\033")));
}

TEST(StatusLine, DoesNotWaitForATerminalThatIsStopped) {
    setenv("TERM", "xterm", 1);
    const TerminalAsStderr terminal;
    StatusLine line;
    ASSERT_EQ(tcflow(STDERR_FILENO, TCOOFF), 0);
    const auto shown = std::async(std::launch::async, [&line] { line.show("12 frames"); });
    const auto ended = shown.wait_for(std::chrono::seconds(10));
    tcflow(STDERR_FILENO, TCOON);  // so that it ends in any case
    EXPECT_EQ(ended, std::future_status::ready);
}

}  // namespace
