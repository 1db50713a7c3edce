// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrocli {

/** What a file or an argument asks of a feature. */
struct Assignment {
    std::string name;
    std::string value;
};

/**
 * The assignments of NAME=VALUE words, where @FILE stands for the lines of a file, each NAME=VALUE
 * too; blank lines and those after a # are left out. Throws Failure (usage) for any other word and
 * for a file that cannot be read.
 */
[[nodiscard]] std::vector<Assignment> assignmentsOf(const std::vector<std::string>& words);

/** The "Name<TAB>Value" lines of a configuration file; throws Failure (usage). */
[[nodiscard]] std::vector<Assignment> readConfiguration(const std::string& path);

/** A feature whose value is not what a configuration file asks for. */
struct Difference {
    std::string name;
    std::string selection;            ///< "[TriggerSelector=FrameStart]" or empty
    std::string wanted;               ///< what the file asks for
    std::optional<std::string> held;  ///< the camera's value; empty: it gives none
    std::string reason;               ///< why it gives none
};

/**
 * Compares the camera with a configuration, line by line, with the selectors as the lines before
 * set them; afterwards they stand where they stood.
 */
[[nodiscard]] std::vector<Difference> differences(const Control& control,
                                                  const std::vector<Assignment>& configuration);

}  // namespace kestrocli
