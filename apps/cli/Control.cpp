// SPDX-License-Identifier: Apache-2.0
#include "Control.h"

#include "Text.h"

#include <utility>

namespace kestrocli {
namespace {

constexpr int kSubnetMismatch = 22;

bool isControlled(kestro::DeviceInfo::AccessPermission access) {
    return access == kestro::DeviceInfo::Exclusive || access == kestro::DeviceInfo::Control ||
           access == kestro::DeviceInfo::ControlSwitchover;
}

Failure subnetFailure(const CameraRecord& camera) {
    return Failure("camera " + nameOf(camera) + " has the address " + camera.ip + " (mask " +
                   camera.mask + "), which is in another subnet than the interface " +
                   visible(camera.interfaceText) +
                   ".\nGive the camera an address in the interface's subnet "
                   "(kestro force-ip " +
                   nameOf(camera) + " ADDRESS/MASK), or the interface one in the camera's.");
}

Failure connectFailure(const FoundCamera& found, const kestro::Result& result) {
    if (result == kSubnetMismatch) return subnetFailure(found.record);
    const std::string name = "camera " + nameOf(found.record);
    const kestro::DeviceInfo::AccessPermission access = stateOf(found.camera).access;
    if (isControlled(access)) {
        return Failure(
            name + " is in use by another program (access: " + std::string(accessName(access)) +
                ").\nEnd that program; a camera that was left behind is free again "
                "after its heartbeat time-out.",
            ExitCode::inUse);
    }
    if (access == kestro::DeviceInfo::Unknown) {
        return Failure(name + " (" + found.record.ip +
                       ") was found but does not answer.\nIs it still powered and connected, and "
                       "does a firewall let UDP through?");
    }
    return Failure(name + " could not be connected (code " + std::to_string(result.getCode()) +
                   "); the log line above says why, -v tells more");
}

}  // namespace

Control::Control(FoundCamera found) : found_(std::move(found)) {
    const kestro::Result result = found_.camera->connect();
    if (result.isFailure()) throw connectFailure(found_, result);
}

Control::~Control() { found_.camera->disconnect(); }

Failure Control::failure(const std::string& text) const {
    return found_.camera->isConnected() ? Failure(text) : lostFailure(found_.record);
}

void Control::requireConnection() const {
    if (!found_.camera->isConnected()) throw lostFailure(found_.record);
}

Failure lostFailure(const CameraRecord& camera) {
    return Failure("the connection to camera " + nameOf(camera) + " is lost: it no longer answers",
                   ExitCode::lost);
}

}  // namespace kestrocli
