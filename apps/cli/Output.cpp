// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include "Failure.h"
#include "StatusLine.h"
#include "StopSignal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace kestrocli {
namespace {

void writeToStderr(std::string text) {
    StatusLine::hide();
    text += '\n';
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

bool isTerminal(int descriptor) {
    const char* terminal = std::getenv("TERM");
    return isatty(descriptor) == 1 && terminal != nullptr && *terminal != '\0' &&
           std::strcmp(terminal, "dumb") != 0;
}

bool hasColours(int descriptor) {
    const char* noColour = std::getenv("NO_COLOR");
    return isTerminal(descriptor) && (noColour == nullptr || *noColour == '\0');
}

Output::Output(int descriptor)
    : descriptor_(descriptor),
      terminal_(isTerminal(descriptor)),
      colours_(hasColours(descriptor)) {}

void Output::write(std::string_view text) {
    // A pipe that poll() calls writable takes this much without blocking.
    constexpr std::size_t kChunk = PIPE_BUF;
    if (terminal_ && !text.empty()) StatusLine::hide();
    while (!text.empty()) {
        waitUntilWritable();
        const ssize_t written = ::write(descriptor_, text.data(), std::min(text.size(), kChunk));
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw OutputClosed();
        } else if (errno != EINTR && errno != EAGAIN) {
            throw Failure(std::string("cannot write to standard output: ") + std::strerror(errno));
        }
    }
}

/** Ctrl-C must work too while whoever reads our output does not. */
void Output::waitUntilWritable() const {
    constexpr int kLookAgainMs = 100;
    pollfd writable{descriptor_, POLLOUT, 0};
    while (::poll(&writable, 1, kLookAgainMs) <= 0) {
        if (StopSignal::requested()) throw OutputClosed();
    }
}

std::string Output::bold(std::string_view text) const {
    return colours_ ? "\033[1m" + std::string(text) + "\033[0m" : std::string(text);
}

std::string Output::faint(std::string_view text) const {
    return colours_ ? "\033[2m" + std::string(text) + "\033[0m" : std::string(text);
}

std::string Output::tinted(std::string_view text, Tint tint) const {
    constexpr std::array<const char*, 3> kCodes = {"32", "33", "31"};
    const char* code = kCodes.at(static_cast<std::size_t>(tint));
    return colours_ ? "\033[" + std::string(code) + "m" + std::string(text) + "\033[0m"
                    : std::string(text);
}

std::size_t Output::columns() const {
    winsize size{};
    // NOLINTNEXTLINE(*-vararg)
    return ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void say(std::string_view text) { writeToStderr(std::string(text)); }

void complain(std::string_view text) { writeToStderr("kestro: " + std::string(text)); }

void prepareStandardStreams() {
    std::signal(SIGPIPE, SIG_IGN);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        // The lowest free descriptor is the one that is missing. Read-only, so that writing fails.
        if (open("/dev/null", O_RDONLY) != descriptor) return;  // NOLINT(*-vararg)
    }
}

}  // namespace kestrocli
