// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"
#include "FeatureFile.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

std::string shown(const std::optional<FeatureValue>& value) {
    return value ? visible(textOf(*value)) : "-";
}

}  // namespace

ExitCode runSet(const SetOptions& options, Output& output) {
    const std::vector<Assignment> assignments = assignmentsOf(options.assignments);
    const Control control(findCamera(options.camera));
    for (const auto& [name, text] : assignments) {
        const Feature feature(control, name);
        const auto before = feature.value();
        feature.set(text);
        const auto after = feature.value();
        output.write(options.json
                         ? changeLine(name, before, after) + "\n"
                         : visible(name) + ": " + shown(before) + " -> " + shown(after) + "\n");
    }
    return ExitCode::ok;
}

}  // namespace kestrocli
