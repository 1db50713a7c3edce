// SPDX-License-Identifier: Apache-2.0
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

std::string orDash(const std::string& text) { return text.empty() ? "-" : text; }

std::vector<std::string> rowOf(const CameraRecord& camera, const CameraState& state) {
    return {orDash(visible(camera.serialNumber)),
            orDash(visible(camera.userName)),
            orDash(visible(camera.model)),
            orDash(camera.ip) + (state.ipValid ? "" : " (wrong subnet)"),
            orDash(camera.mac),
            orDash(visible(camera.interfaceName)),
            std::string(accessName(state.access))};
}

void listAsText(const std::vector<FoundCamera>& cameras, Output& output) {
    std::vector<std::vector<std::string>> rows = {
        {"SERIAL", "NAME", "MODEL", "ADDRESS", "MAC", "INTERFACE", "ACCESS"}};
    for (const auto& [camera, record] : cameras) rows.push_back(rowOf(record, stateOf(camera)));
    const std::string text = table(rows);
    const std::size_t headEnd = text.find('\n');
    output.write(output.bold(text.substr(0, headEnd)) + text.substr(headEnd));
}

}  // namespace

ExitCode runList(const ListOptions& options, Output& output) {
    const std::vector<FoundCamera> cameras = discoverCameras();
    if (cameras.empty()) {
        complain("no camera answered; is it powered and in this network? (try: kestro sim)");
        return ExitCode::ok;
    }
    if (!options.json) {
        listAsText(cameras, output);
        return ExitCode::ok;
    }
    for (const auto& [camera, record] : cameras) {
        output.write(cameraLine(record, stateOf(camera)) + "\n");
    }
    return ExitCode::ok;
}

}  // namespace kestrocli
