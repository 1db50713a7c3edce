// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace kestrocli {

/**
 * The last line of the terminal that stderr is, drawn anew again and again.
 *
 * It is gone before anything else of this program is written to the terminal, and at the end. There
 * is none where stderr is no terminal or a dumb one, nor while the library's log is watched. The
 * main thread alone uses it; at most one exists.
 */
class StatusLine {
 public:
    StatusLine();
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    [[nodiscard]] bool isPossible() const { return possible_; }
    /** How many characters fit into it. */
    [[nodiscard]] static std::size_t columns();

    void show(std::string text);
    /** Draws it again if something else was written since. */
    void showAgain();
    /** Takes the line that there may be off the terminal until it is shown again. */
    static void hide();

 private:
    bool possible_;
    bool visible_ = false;
    std::string text_;
};

}  // namespace kestrocli
