// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"
#include "Find.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

constexpr const char* kTrigger = "TriggerSoftware";

/** The feature's value as text; empty for a camera that has no such feature. */
std::string held(const Control& control, const std::string& name) {
    if (!hasFeature(control, name)) return {};
    const auto value = Feature(control, name).value();
    return value ? textOf(*value) : std::string();
}

/** A camera ignores a software trigger that it does not wait for: better to say so. */
void requireTriggering(const Control& control) {
    const std::string camera = nameOf(control.record());
    if (held(control, "TriggerMode") == "Off") {
        throw control.failure("TriggerMode is Off: the camera waits for no trigger (kestro set " +
                              camera + " TriggerMode=On)");
    }
    const std::string source = held(control, "TriggerSource");
    if (!source.empty() && source != "Software") {
        throw control.failure("TriggerSource is " + visible(source) + " (kestro set " + camera +
                              " TriggerSource=Software)");
    }
}

}  // namespace

ExitCode runExec(const ExecOptions& options, Output&) {
    const Control control(findCamera(options.camera));
    Feature(control, options.name).execute();
    say(visible(options.name) + " is executed");
    return ExitCode::ok;
}

ExitCode runTrigger(const TriggerOptions& options, Output&) {
    const Control control(findCamera(options.camera));
    if (!hasFeature(control, kTrigger)) {
        throw control.failure("camera " + nameOf(control.record()) +
                              " cannot be triggered by software: it has no " + kTrigger);
    }
    requireTriggering(control);
    Feature(control, kTrigger).execute();
    const std::string selector = held(control, "TriggerSelector");
    say("camera " + nameOf(control.record()) + " is triggered" +
        (selector.empty() ? "" : " (" + visible(selector) + ")"));
    return ExitCode::ok;
}

}  // namespace kestrocli
