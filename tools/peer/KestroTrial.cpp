// SPDX-License-Identifier: Apache-2.0
//
// kestro_trial ADDRESS PACKET_BYTES: streams until its standard input ends, then closes.
#include "Trial.h"

#include <kestro/kestro.h>

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace {

void waitForEndOfInput() {
    char unused = 0;
    while (::read(STDIN_FILENO, &unused, 1) > 0) continue;
}

std::int64_t counter(const std::shared_ptr<kestro::Camera>& camera, const char* feature) {
    std::int64_t value = 0;
    kestro::ParameterInt(camera, feature).getValue(value);
    return value;
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) trial::giveUp("kestro_trial ADDRESS PACKET_BYTES");
    auto& system = kestro::System::getInstance();
    std::shared_ptr<kestro::Camera> camera;
    if (system.discovery(0)) camera = system.getCamera(words[1], kestro::System::IpAddress);
    if (!camera || !camera->connect()) trial::giveUp("no camera to connect");
    kestro::ParameterInt(camera, "GevSCPSPacketSize").setValue(std::int64_t{std::atoi(words[2])});
    std::atomic<long long> frames{0};
    camera->registerFrameCallback([&frames](const std::shared_ptr<kestro::Frame>&) { ++frames; });
    camera->registerConnectCallback([](const kestro::ConnectEventArg& change) {
        trial::say(change.state == 1 ? "back" : "lost");
    });
    if (!camera->startGrabbing(16)) trial::giveUp("the camera does not start");
    trial::say("streaming");
    waitForEndOfInput();
    const std::int64_t lost = counter(camera, "StreamLostFrameCount");
    trial::say("closing");
    camera->stopGrabbing();
    camera->disconnect();
    camera.reset();
    trial::say("closed");
    std::printf("frames %lld %lld\n", frames.load(), 0LL + lost);
}
