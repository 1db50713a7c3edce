// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace kestrocli {

/** What the program ends with; scripts rely on the numbers. */
enum class ExitCode : int {
    ok = 0,
    failure = 1,
    usage = 2,
    notFound = 3,
    inUse = 4,
    timedOut = 5,
    lost = 6,
    unwell = 7  ///< `kestro doctor` saw something that does not work
};

/** Ends the command: the text for the user and the exit code. */
class Failure : public std::runtime_error {
 public:
    explicit Failure(const std::string& text, ExitCode code = ExitCode::failure)
        : std::runtime_error(text), code_(code) {}
    [[nodiscard]] ExitCode code() const noexcept { return code_; }

 private:
    ExitCode code_;
};

}  // namespace kestrocli
