// SPDX-License-Identifier: Apache-2.0
//
// A program that ends while it grabs, in the way that its second argument names; the first is the
// camera's serial number. It ends with 7, whichever way.
#include <kestro/kestro.h>
#include <kestro/kestro_c.h>

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

namespace {

constexpr int kStatus = 7;
constexpr unsigned kPatienceMs = 60000;

std::string_view way;  // what has a destructor is gone while the main thread still runs
std::shared_ptr<kestro::Camera> camera;  // ends with the program, and with it the stream
std::atomic<int> frames{0};
std::atomic<bool> mayExit{false};

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    std::_Exit(1);
}

void onFrame(const std::shared_ptr<kestro::Frame>&) {
    if (++frames == 3 && way == "exit-in-frame-callback") std::exit(kStatus);
    frames.notify_all();
}

void onUpdate(const kestro::ParamUpdateEventArg&) {
    if (mayExit && way == "exit-in-update-callback") std::exit(kStatus);
}

void start(const char* serial) {
    auto& system = kestro::System::getInstance();
    if (!system.discovery(0)) fail("discovery");
    camera = system.getCamera(serial, kestro::System::SerialNumber);
    // The list then holds other objects: this one is the program's alone, unless it made a handle.
    if (!camera || !system.discovery(0) || !camera->connect()) fail("connect");
    if (way == "return-with-handle") kstOpenDevice(kstCreateDevice(serial, KST_BY_SERIAL_NUMBER));
    camera->registerParamUpdateCallback(onUpdate);
    if (way != "exit-while-polling") camera->registerFrameCallback(onFrame);
    if (!camera->startGrabbing(0)) fail("startGrabbing");
}

void awaitFrames(int count) {
    for (int seen = frames; seen < count; seen = frames) frames.wait(seen);
}

}  // namespace

int main(int count, char** values) {
    if (count != 3) fail("SERIAL WAY");
    way = values[2];
    start(values[1]);
    if (way == "exit-while-polling") {
        std::atomic<bool> polled{false};
        std::thread([&polled, polling = camera] {
            while (polling->getFrame(kPatienceMs)) {
                polled = true;
                polled.notify_all();
            }
        }).detach();
        polled.wait(false);
        std::exit(kStatus);
    }
    if (way == "exit-in-update-callback") {
        kestro::ParameterFloat rate(camera, "AcquisitionFrameRate");
        mayExit = true;
        rate.setValue(150);
        ::pause();
    }
    if (way == "exit-in-frame-callback") ::pause();
    awaitFrames(5);
    if (way == "quick") ::_exit(kStatus);
    return kStatus;
}
