// SPDX-License-Identifier: Apache-2.0
#include "Grab.h"

#include "Failure.h"
#include "Text.h"

#include <utility>

namespace kestrocli {
namespace {

constexpr int kSubnetMismatch = 22;
constexpr std::int32_t kDefaultBufferCount = 0;

bool isControlled(kestro::DeviceInfo::AccessPermission access) {
    return access == kestro::DeviceInfo::Exclusive || access == kestro::DeviceInfo::Control ||
           access == kestro::DeviceInfo::ControlSwitchover;
}

Failure subnetFailure(const CameraRecord& camera) {
    return Failure("camera " + nameOf(camera) + " has the address " + camera.ip + " (mask " +
                   camera.mask + "), which is in another subnet than the interface " +
                   visible(camera.interfaceText) +
                   ".\nGive the camera an address in the interface's subnet "
                   "(Camera::forceIpAddress(), until its next power cycle), or the interface one "
                   "in the camera's.");
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

Grab::Grab(FoundCamera found, std::size_t source, std::shared_ptr<Mailbox> mailbox)
    : found_(std::move(found)), source_(source), mailbox_(std::move(mailbox)) {
    const kestro::Result result = found_.camera->connect();
    if (result.isFailure()) throw connectFailure(found_, result);
}

Grab::~Grab() {
    stop();
    found_.camera->disconnect();
}

void Grab::start() {
    kestro::Camera& camera = *found_.camera;
    camera.registerFrameCallback(
        [mailbox = mailbox_, source = source_](const std::shared_ptr<kestro::Frame>& frame) {
            mailbox->put({source, frame, std::chrono::system_clock::now(),
                          std::chrono::steady_clock::now()});
        });
    camera.registerConnectCallback([mailbox = mailbox_](const kestro::ConnectEventArg& event) {
        if (event.state == 0) mailbox->reportLost();
    });
    started_ = true;
    const kestro::Result result = camera.startGrabbing(kDefaultBufferCount);
    if (result.isFailure()) {
        throw Failure("camera " + nameOf(found_.record) + " could not be started (code " +
                      std::to_string(result.getCode()) + "); the log line above says why");
    }
}

void Grab::stop() {
    if (!std::exchange(started_, false)) return;
    mailbox_->stopWaiting();
    kestro::Camera& camera = *found_.camera;
    camera.stopGrabbing();
    camera.registerFrameCallback(nullptr);
    camera.registerConnectCallback(nullptr);
}

}  // namespace kestrocli
