// SPDX-License-Identifier: Apache-2.0
//
// Receives with this library: a frame callback that notes the time.
#include "Account.h"
#include "Processor.h"
#include "ReceiverOptions.h"

#include <kestro/kestro.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace kestro::bench;
using Camera = std::shared_ptr<kestro::Camera>;

constexpr int kDiscoveries = 5;

std::vector<Camera> findCameras(std::size_t count) {
    auto& system = kestro::System::getInstance();
    std::vector<Camera> cameras;
    for (int i = 0; i < kDiscoveries && cameras.size() < count; ++i) {
        cameras.clear();
        if (!system.discovery(0)) continue;
        while (cameras.size() < count) {
            const std::string address = cameraAddress(cameras.size());
            Camera camera = system.getCamera(address.c_str(), kestro::System::IpAddress);
            if (!camera) break;
            cameras.push_back(std::move(camera));
        }
    }
    if (cameras.size() < count) giveUp("the cameras are not found");
    return cameras;
}

/** The camera itself is silent: it waits for a trigger that never comes. */
bool setUp(const Camera& camera, int packetBytes) {
    return kestro::ParameterEnum(camera, "TriggerSelector").setValue("FrameStart") &&
           kestro::ParameterEnum(camera, "TriggerMode").setValue("On") &&
           kestro::ParameterInt(camera, "GevSCPSPacketSize").setValue(std::int64_t{packetBytes});
}

void start(const Camera& camera, const ReceiverOptions& options, HandOvers& handOvers) {
    if (!camera->connect() || !setUp(camera, options.packetBytes))
        giveUp("a camera cannot be set up");
    camera->registerFrameCallback([&handOvers](const std::shared_ptr<kestro::Frame>& frame) {
        handOvers.record(frame->getBlockId());
    });
    if (!camera->startGrabbing(options.buffers)) giveUp("a camera does not start");
}

std::uint64_t counter(const Camera& camera, const char* feature) {
    std::int64_t value = 0;
    if (!kestro::ParameterInt(camera, feature).getValue(value)) giveUp("a counter is not there");
    return static_cast<std::uint64_t>(value);
}

Received sumOf(const std::vector<Camera>& cameras) {
    Received sum;
    for (const Camera& camera : cameras) {
        sum.frames += counter(camera, "StreamDeliveredFrameCount");
        sum.badFrames += counter(camera, "StreamLostFrameCount");
        sum.missingPackets += counter(camera, "StreamLostPacketCount");
        sum.resendRequests += counter(camera, "StreamResendRequestCount");
        sum.resentPackets += counter(camera, "StreamResentPacketCount");
    }
    return sum;
}

}  // namespace

int main(int count, char** words) {
    const ReceiverOptions options = receiverOptions(count, words);
    stayOn(options.cpu);
    const std::vector<Camera> cameras = findCameras(options.cameras);
    std::vector<HandOvers> handOvers(options.cameras);
    for (std::size_t i = 0; i < cameras.size(); ++i) start(cameras[i], options, handOvers[i]);
    giveAccount([&cameras] { return sumOf(cameras); }, handOvers, "");
    for (const Camera& camera : cameras) camera->stopGrabbing();
    for (const Camera& camera : cameras) camera->disconnect();
}
