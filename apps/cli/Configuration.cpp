// SPDX-License-Identifier: Apache-2.0
#include "FeatureFile.h"
#include "FetchedFile.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

std::string differenceText(const Difference& difference) {
    std::string text = visible(difference.name) + difference.selection + ": file " +
                       visible(difference.wanted) + ", camera " +
                       (difference.held ? visible(*difference.held) : "-");
    return difference.reason.empty() ? text : text + " (" + difference.reason + ")";
}

/** Writes what differs; the number of it. */
std::size_t writeDifferences(const std::vector<Difference>& found, bool json, Output& output) {
    for (const auto& difference : found) {
        output.write((json ? differenceLine(difference) : differenceText(difference)) + "\n");
    }
    return found.size();
}

}  // namespace

ExitCode runSave(const FileOptions& options, Output& output) {
    const Control control(findCamera(options.camera));
    const bool saved = fetchInto(options.file, output, [&control](const char* path) {
        return control.camera()->saveDeviceConfig(path).isOK();
    });
    if (saved) return ExitCode::ok;
    throw control.failure("the settings of camera " + nameOf(control.record()) +
                          " could not be read; the log line above says which");
}

ExitCode runLoad(const FileOptions& options, Output& output) {
    const std::vector<Assignment> configuration = readConfiguration(options.file);
    const Control control(findCamera(options.camera));
    const bool taken = control.camera()->loadDeviceConfig(options.file.c_str()).isOK();
    control.requireConnection();
    // The camera's word is not all: what it holds now is what counts.
    const std::size_t refused =
        writeDifferences(differences(control, configuration), options.json, output);
    if (taken && refused == 0) {
        say("loaded from " + visible(options.file));
        return ExitCode::ok;
    }
    throw Failure("the camera did not take all of " + visible(options.file) +
                  (refused == 0 ? "; the log line above says why"
                                : ": " + std::to_string(refused) + " of " +
                                      std::to_string(configuration.size()) +
                                      " lines differ; the log lines above say why"));
}

ExitCode runDiff(const FileOptions& options, Output& output) {
    const std::vector<Assignment> configuration = readConfiguration(options.file);
    const Control control(findCamera(options.camera));
    return writeDifferences(differences(control, configuration), options.json, output) == 0
               ? ExitCode::ok
               : ExitCode::failure;
}

}  // namespace kestrocli
