// SPDX-License-Identifier: Apache-2.0
#include "Find.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Text.h"

namespace kestrocli {
namespace {

std::string infoText(const CameraRecord& camera, const CameraState& state) {
    const std::vector<std::vector<std::string>> rows = {
        {"key", visible(camera.key)},
        {"serial number", visible(camera.serialNumber)},
        {"user name", visible(camera.userName)},
        {"vendor", visible(camera.vendor)},
        {"model", visible(camera.model)},
        {"version", visible(camera.version)},
        {"manufacturer", visible(camera.manufactureInfo)},
        {"ip", camera.ip + (state.ipValid ? "" : " (not in the interface's subnet)")},
        {"mask", camera.mask},
        {"gateway", camera.gateway},
        {"mac", camera.mac},
        {"interface", visible(camera.interfaceText)},
        {"access", std::string(accessName(state.access))}};
    return table(rows);
}

}  // namespace

ExitCode runInfo(const InfoOptions& options, Output& output) {
    const FoundCamera found = findCamera(options.camera);
    const CameraState state = stateOf(found.camera);
    output.write(options.json ? cameraLine(found.record, state) + "\n"
                              : infoText(found.record, state));
    return ExitCode::ok;
}

}  // namespace kestrocli
