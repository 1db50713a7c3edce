// SPDX-License-Identifier: Apache-2.0
//
// Starts a lost camera anew. End `kestro sim` when told to, start it again; you should see:
//
//     Kestro:SIM001 is running; switch it off
//     offline
//     still good: the last frame, 1280 x 1024
//     refused: features, with code 2
//     searching Kestro:SIM001; switch it on again
//     Kestro:SIM001 is running again
#include <kestro/kestro.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

using CameraPtr = std::shared_ptr<kestro::Camera>;
using FramePtr = std::shared_ptr<kestro::Frame>;
using Clock = std::chrono::steady_clock;

static std::atomic<bool> isLost{false};

// On a thread of the library. The work is left to the main thread, which closes the camera.
static void onConnection(const kestro::ConnectEventArg& event) {
    std::printf(event.state == 1 ? "online\n" : "offline\n");
    if (event.state != 1) isLost = true;
}

// Any camera when `key` is empty. One that comes back may refuse until its old control runs out.
static CameraPtr start(const std::string& key, std::chrono::seconds longest, FramePtr& frame) {
    const auto deadline = Clock::now() + longest;
    do {
        if (!kestro::System::getInstance().discovery(0)) break;
        for (const CameraPtr& camera : kestro::System::getInstance().getCameraList()) {
            if (!key.empty() && key != camera->getKey()) continue;
            isLost = false;
            camera->registerConnectCallback(onConnection);
            const bool isStarted = camera->connect() && camera->startGrabbing(0);
            if (isStarted && (frame = camera->getFrame(2000))) return camera;
            camera->disconnect();
        }
    } while (Clock::now() < deadline);
    std::fprintf(stderr, "no camera found, or it did not start\n");
    return nullptr;
}

// False when it is still there after 600 frames.
static bool readUntilLost(kestro::Camera& camera, FramePtr& last) {
    for (int i = 0; i < 600 && !isLost; ++i) {
        const FramePtr frame = camera.getFrame(1000);  // null, and a log line, when none came
        if (frame) last = frame;
    }
    if (!isLost) std::fprintf(stderr, "it was not switched off\n");
    return isLost;
}

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // lines come at once, into a file too
    FramePtr frame;
    CameraPtr camera = start("", std::chrono::seconds(0), frame);
    if (!camera) return EXIT_FAILURE;
    std::printf("%s is running; switch it off\n", camera->getKey());
    if (!readUntilLost(*camera, frame)) return EXIT_FAILURE;
    std::printf("still good: the last frame, %u x %u\n", frame->getWidth(), frame->getHeight());
    std::int64_t width = 0;
    const kestro::Result read = kestro::ParameterInt(camera, "Width").getValue(width);
    if (!read) std::printf("refused: features, with code %d\n", read.getCode());
    camera->disconnect();  // nothing connects it again by itself: search, connect, start
    std::printf("searching %s; switch it on again\n", camera->getKey());
    camera = start(camera->getKey(), std::chrono::minutes(1), frame);
    if (!camera) return EXIT_FAILURE;
    std::printf("%s is running again\n", camera->getKey());
    camera->disconnect();
    return EXIT_SUCCESS;
}
