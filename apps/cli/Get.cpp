// SPDX-License-Identifier: Apache-2.0
#include "Feature.h"
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

FeatureRecord recordWithValue(const Control& control, const std::string& name) {
    const Feature feature(control, name);
    FeatureRecord record = feature.record();
    if (record.value) return record;
    const std::string shown = visible(name);
    if (auto text = valuelessText(name, record.type); !text.empty()) throw Failure(text);
    if (!record.isAvailable()) throw control.failure(shown + " is not available at this moment");
    if (!record.isReadable()) throw control.failure(shown + " cannot be read");
    throw control.failure(shown + " could not be read; the log line says why");
}

}  // namespace

ExitCode runGet(const GetOptions& options, Output& output) {
    const Control control(findCamera(options.camera));
    for (const auto& name : options.names) {
        const FeatureRecord record = recordWithValue(control, name);
        const std::string head = options.names.size() > 1 ? visible(name) + "=" : "";
        output.write(
            (options.json ? featureLine(record, {}) : head + visible(textOf(*record.value))) +
            "\n");
    }
    return ExitCode::ok;
}

}  // namespace kestrocli
