// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace kestrocli {

/** Nobody reads our output any more; not an error, but there is no point in going on. */
class OutputClosed : public std::exception {};

/** Colours with a meaning. */
enum class Tint { green, yellow, red };

/** Where data goes: stdout, unbuffered, so that a reader has each line as soon as it is written. */
class Output {
 public:
    /** The descriptor stays the caller's. */
    explicit Output(int descriptor);

    /**
     * Writes the whole text.
     *
     * Throws OutputClosed when the reading end is gone or the user asked to stop while it did not
     * read, and Failure when the text cannot be written.
     */
    void write(std::string_view text);

    /** Bold, faint, coloured: as the terminal allows; the text itself where output is no terminal.
     */
    [[nodiscard]] std::string bold(std::string_view text) const;
    [[nodiscard]] std::string faint(std::string_view text) const;
    [[nodiscard]] std::string tinted(std::string_view text, Tint tint) const;

    /** How wide the terminal is; 0 where output is none. */
    [[nodiscard]] std::size_t columns() const;

 private:
    void waitUntilWritable() const;

    int descriptor_;
    bool terminal_;
    bool colours_;
};

/** True for a terminal that can move its cursor. */
[[nodiscard]] bool isTerminal(int descriptor);
/** True for such a terminal of a user who wants colours. */
[[nodiscard]] bool hasColours(int descriptor);

/** A line on stderr. */
void say(std::string_view text);
/** A line on stderr, "kestro: " before it. */
void complain(std::string_view text);

/**
 * Makes the descriptors 0, 1 and 2 exist: one that the caller closed would otherwise be given to
 * the first socket, and our output would go to a camera. A closed stdout stays one that fails.
 */
void prepareStandardStreams();

}  // namespace kestrocli
