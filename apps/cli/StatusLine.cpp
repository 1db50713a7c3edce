// SPDX-License-Identifier: Apache-2.0
#include "StatusLine.h"

#include "Output.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace kestrocli {
namespace {

StatusLine* theLine = nullptr;

bool isLogWatched() {
    const char* level = std::getenv("KESTRO_LOG");
    return level != nullptr && *level != '\0';
}

void writeToTerminal(std::string_view text) {
    // A terminal that takes nothing, because of Ctrl-S for one, must not hold the reading up.
    pollfd writable{STDERR_FILENO, POLLOUT, 0};
    if (poll(&writable, 1, 0) <= 0) return;
    // What does not fit into the terminal's buffer now is drawn the next time.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

StatusLine::StatusLine() : possible_(isTerminal(STDERR_FILENO) && !isLogWatched()) {
    theLine = this;
}

StatusLine::~StatusLine() {
    hide();
    theLine = nullptr;
}

std::size_t StatusLine::columns() {
    constexpr std::size_t kUsual = 80;
    winsize size{};
    // NOLINTNEXTLINE(*-vararg)
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    // Some terminals go to the next line already with the last column.
    return (known ? size.ws_col : kUsual) - 1;
}

void StatusLine::show(std::string text) {
    if (!possible_) return;
    text_ = std::move(text);
    visible_ = true;
    // The cursor goes back to the beginning, so that a line that is not ours covers this one.
    writeToTerminal("\r" + text_ + "\033[K\r");
}

void StatusLine::showAgain() {
    if (!visible_ && !text_.empty()) show(text_);
}

void StatusLine::hide() {
    if (theLine == nullptr || !theLine->visible_) return;
    theLine->visible_ = false;
    writeToTerminal("\r\033[K");
}

}  // namespace kestrocli
