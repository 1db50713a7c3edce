// SPDX-License-Identifier: Apache-2.0
//
// A program that grabs and forks again and again: its children are refused and end well, whichever
// way they end, and the parent misses no frame. Argument: the camera's serial number.
#include <kestro/kestro.h>
#include <kestro/kestro_c.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr int kRounds = 25;
constexpr int kBuffers = 256;
constexpr unsigned kPatienceSeconds = 60;
constexpr std::uint64_t kFramesAfter = 20;
constexpr int kExitStatus = 7;

// Objects of the program that end with it, and so with its children, too.
std::shared_ptr<kestro::Camera> camera;
std::shared_ptr<kestro::Frame> heldFrame;
void* handle = nullptr;

std::atomic<std::uint64_t> lastBlock{0};
std::atomic<std::uint64_t> gaps{0};
std::atomic<bool> connectionChanged{false};
std::atomic<bool> forkInCallback{false};
std::atomic<pid_t> childOfCallback{0};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::_Exit(1);
}

void require(bool condition, const char* what) {
    if (!condition) fail(what);
}
#define REQUIRE(condition) require(condition, #condition)

/** What a child finds; it is ended by the alarm when anything hangs. */
void tryEverything() {
    ::alarm(kPatienceSeconds);
    kstDeviceList list;
    int64_t width = 0;
    REQUIRE(kstEnumDevices(&list, 0) == KST_ERROR_SDK);
    REQUIRE(kstOpenDevice(handle) == KST_ERROR_SDK);
    REQUIRE(kstIsDeviceOpen(handle) == 0);
    REQUIRE(kstGetFrame(handle, kPatienceSeconds * 1000) == nullptr);
    REQUIRE(kstGetIntFeatureValue(handle, "Width", &width) == KST_ERROR_SDK);
    REQUIRE(kstStopGrabbing(handle) == KST_ERROR_SDK);
    REQUIRE(kstCloseDevice(handle) == KST_ERROR_SDK);
    REQUIRE(kestro::System::getInstance().discovery(0).getCode() == 2);
    REQUIRE(kestro::ParameterInt(camera, "Width").getValue(width).getCode() == 2);
    REQUIRE(heldFrame->getImageSize() != 0 && heldFrame->getImageData() != nullptr);
    kstReleaseHandle(handle);
    camera->disconnect();
}

[[noreturn]] void beChild(int round) {
    tryEverything();
    if (round % 4 == 0) ::_exit(0);
    if (round % 4 == 1) ::execlp("true", "true", nullptr);
    if (round % 4 == 2) {  // a child may drop what it holds itself, too
        heldFrame.reset();
        camera.reset();
    }
    std::exit(kExitStatus);
}

void awaitChild(pid_t child, int round) {
    const int expected = round % 4 < 2 ? 0 : kExitStatus;
    int status = -1;
    if (::waitpid(child, &status, 0) != child || status != expected << 8)
        fail("child " + std::to_string(round) + " ended with status " + std::to_string(status));
}

void onFrame(const std::shared_ptr<kestro::Frame>& frame) {
    const std::uint64_t block = frame->getBlockId();
    if (const std::uint64_t last = lastBlock; last != 0 && block != last + 1) ++gaps;
    lastBlock = block;
    if (!forkInCallback.exchange(false)) return;
    const pid_t child = ::fork();
    if (child == 0) beChild(3);
    childOfCallback = child;
}

void awaitBlock(std::uint64_t block) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kPatienceSeconds);
    while (lastBlock < block) {
        if (std::chrono::steady_clock::now() > deadline) fail("the frames stopped");
        std::this_thread::yield();
    }
}

void grab(const char* serial) {
    auto& system = kestro::System::getInstance();
    REQUIRE(system.discovery(0));
    camera = system.getCamera(serial, kestro::System::SerialNumber);
    REQUIRE(system.discovery(0));  // now the list holds other objects, and this one is ours alone
    REQUIRE(camera && camera->connect());
    REQUIRE(camera->registerConnectCallback([](const auto&) { connectionChanged = true; }));
    handle = kstCreateDevice(serial, KST_BY_SERIAL_NUMBER);
    REQUIRE(camera->startGrabbing(kBuffers));
    heldFrame = camera->getFrame(kPatienceSeconds * 1000);
    REQUIRE(heldFrame != nullptr);
    REQUIRE(camera->registerFrameCallback(onFrame));
}

void forkFromCallback() {
    forkInCallback = true;
    awaitBlock(lastBlock + kFramesAfter);
    REQUIRE(childOfCallback > 0);
    awaitChild(childOfCallback, 3);
}

}  // namespace

int main(int count, char** values) {
    REQUIRE(count == 2);
    const pid_t early = ::fork();
    if (early == 0) {
        ::alarm(kPatienceSeconds);
        REQUIRE(kestro::System::getInstance().discovery(0));  // as any program that is the first
        std::exit(kExitStatus);
    }
    awaitChild(early, 3);
    grab(values[1]);
    awaitBlock(1);
    for (int round = 0; round < kRounds; ++round) {
        const pid_t child = ::fork();
        if (child == 0) beChild(round);
        awaitChild(child, round);
        awaitBlock(lastBlock + 1);
    }
    forkFromCallback();
    awaitBlock(lastBlock + kFramesAfter);
    REQUIRE(camera->isConnected() && !connectionChanged);
    camera->stopGrabbing();
    REQUIRE(gaps == 0);
    REQUIRE(camera->startGrabbing(0));  // the control is still ours
    camera->disconnect();
    kstReleaseHandle(handle);
    return 0;
}
