// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrocli {

enum class Verdict {
    pass,
    warn,  ///< it works, but not well, or not for long
    fail,  ///< it does not work
    skip   ///< it could not be asked
};

/** What a check of `kestro doctor` saw. Texts are one line each, fit for a terminal. */
struct Finding {
    Verdict verdict = Verdict::pass;
    std::string check;  ///< its name for people: "receive buffer"
    std::string seen;   ///< of a check that was skipped: why
    std::string mend;   ///< what to do, a command where there is one; empty: nothing
};

using Findings = std::vector<Finding>;

/** "pass", "warn", "fail" or "skip". */
[[nodiscard]] std::string_view verdictName(Verdict verdict);

}  // namespace kestrocli
