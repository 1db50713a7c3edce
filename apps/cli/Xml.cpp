// SPDX-License-Identifier: Apache-2.0
#include "Control.h"
#include "FetchedFile.h"
#include "Find.h"
#include "Options.h"

namespace kestrocli {

ExitCode runXml(const FileOptions& options, Output& output) {
    const Control control(findCamera(options.camera));
    const bool fetched = fetchInto(options.file, output, [&control](const char* path) {
        return control.camera()->downloadGenICamXML(path).isOK();
    });
    if (fetched) return ExitCode::ok;
    throw control.failure("camera " + nameOf(control.record()) + " did not give its description");
}

}  // namespace kestrocli
