// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraRecord.h"
#include "Failure.h"
#include "Finding.h"

#include <array>
#include <cstdint>
#include <string>

namespace kestrocli {

class Output;

/** Writes what `kestro doctor` finds as it is found, and counts it. */
class Report {
 public:
    Report(Output& output, bool json) : output_(output), json_(json) {}

    /** What follows is about this host. */
    void beginHost();
    /** What follows is about this camera. */
    void beginCamera(const CameraRecord& camera);

    void add(const Finding& finding);
    void add(const Findings& findings);

    /** Says on stderr how many there were of each kind; the exit code that they make. */
    ExitCode conclude() const;

 private:
    [[nodiscard]] std::string lineOf(const Finding& finding) const;
    [[nodiscard]] std::uint64_t count(Verdict verdict) const {
        return counts_.at(static_cast<std::size_t>(verdict));
    }

    Output& output_;
    const bool json_;
    std::string camera_;  ///< the key; empty: this host
    std::array<std::uint64_t, 4> counts_{};
};

}  // namespace kestrocli
