// SPDX-License-Identifier: Apache-2.0
//
// Has a camera that goes away and comes back. End `kestro sim` when told to, start it again; you
// should see:
//
//     Kestro:SIM001 is running; switch it off
//     offline
//     still good: the last frame, 1280 x 1024
//     refused: features, with code 2
//     switch it on again
//     online
//     frames come in again, and ExposureTime is 2000 again
#include <kestro/kestro.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

using CameraPtr = std::shared_ptr<kestro::Camera>;
using FramePtr = std::shared_ptr<kestro::Frame>;

static std::atomic<bool> isOnline{true};

// On a thread of the library. There is nothing to do here: the library searches the camera, sets
// again what was set, and starts it again; only then it is online.
static void onConnection(const kestro::ConnectEventArg& event) {
    std::printf(event.state == 1 ? "online\n" : "offline\n");
    isOnline = event.state == 1;
}

// Any camera, running, with its first frame.
static CameraPtr start(FramePtr& frame) {
    if (!kestro::System::getInstance().discovery(0)) return nullptr;
    for (const CameraPtr& camera : kestro::System::getInstance().getCameraList()) {
        camera->registerConnectCallback(onConnection);
        const bool isStarted = camera->connect() &&
                               kestro::ParameterFloat(camera, "ExposureTime").setValue(2000) &&
                               camera->startGrabbing(0);
        if (isStarted && (frame = camera->getFrame(2000))) return camera;
        camera->disconnect();
    }
    return nullptr;
}

// Takes frames, 600 at most, until the camera is there, or is not, as wanted.
static bool readUntil(kestro::Camera& camera, bool wanted) {
    for (int i = 0; i < 600 && isOnline != wanted; ++i)
        camera.getFrame(1000);  // null, and a log line, when none came
    return isOnline == wanted;
}

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // lines come at once, into a file too
    FramePtr frame;
    const CameraPtr camera = start(frame);
    if (!camera) {
        std::fprintf(stderr, "no camera found, or it did not start\n");
        return EXIT_FAILURE;
    }
    std::printf("%s is running; switch it off\n", camera->getKey());
    if (!readUntil(*camera, false)) return EXIT_FAILURE;
    std::printf("still good: the last frame, %u x %u\n", frame->getWidth(), frame->getHeight());
    kestro::ParameterFloat exposure(camera, "ExposureTime");
    double value = 0;
    const kestro::Result read = exposure.getValue(value);
    if (!read) std::printf("refused: features, with code %d\n", read.getCode());
    std::printf("switch it on again\n");
    const bool isBack =
        readUntil(*camera, true) && camera->getFrame(5000) && exposure.getValue(value);
    if (isBack) std::printf("frames come in again, and ExposureTime is %g again\n", value);
    camera->disconnect();
    return isBack ? EXIT_SUCCESS : EXIT_FAILURE;
}
