// SPDX-License-Identifier: Apache-2.0
//
// Many threads that create, use and release handles of the same cameras and of their frames at
// random, each also those that others are about to release. A handle that a thread holds must be
// good all the time, and in the end none may be left that is. KESTRO_STORM_SECONDS: for how long.
#include <kestro/kestro_c.h>

#include "Simulator.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kDevices = 4;
constexpr int kThreads = 16;
constexpr int kEnumerating = 2;  // at most, as each of them waits for the cameras' answers
constexpr auto kLeastGrabbing = std::chrono::seconds(1);  // else no frame would ever come
constexpr std::size_t kHandlesKept = 64;

using Random = std::minstd_rand;

std::size_t oneOf(Random& random, std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
}

/** What the library's threads count; callbacks may come for as long as there is a camera. */
std::atomic<int> framesByCallback{0};
std::atomic<int> namesTold{0};
std::atomic<unsigned> bytesSeen{0};  // so that nothing that is read can be left out

void readAll(const kstFrameInfo& info) {
    unsigned sum = 0;
    for (std::uint32_t i = 0; i < info.barcodeCount; ++i) {
        const kstBarcodeInfo& code = info.barcodes[i];
        sum += static_cast<unsigned>(std::strlen(code.codeData) + std::strlen(code.codeTypeName));
        for (const kstPoint& point : code.points) sum += static_cast<unsigned>(point.x ^ point.y);
    }
    if (info.imageSize > 0) sum += info.imageData[0] + 0U + info.imageData[info.imageSize - 1];
    bytesSeen += sum;
}

void onFrame(const kstFrameInfo* info, void*) {
    readAll(*info);
    ++framesByCallback;
}

void onName(const char* name, void*) {
    bytesSeen += static_cast<unsigned>(std::strlen(name));
    ++namesTold;
}

void onConnection(const kstConnectionEvent* event, void*) {
    bytesSeen += static_cast<unsigned>(event->state);
}

/** Handles of one kind that wait for a thread. Each entry is a reference to be released. */
class Handles {
 public:
    void note(void* handle) {
        const std::lock_guard lock(mutex_);
        ++made_;
        ever_.insert(handle);
        lately_[made_ % lately_.size()] = handle;
    }
    void add(void* handle) {
        note(handle);
        giveBack(handle);
    }
    void giveBack(void* handle) {
        const std::lock_guard lock(mutex_);
        held_.push_back(handle);
    }
    /** One that is now the caller's; null when there is none. */
    void* take(Random& random) {
        const std::lock_guard lock(mutex_);
        if (held_.empty()) return nullptr;
        std::swap(held_[oneOf(random, held_.size())], held_.back());
        void* handle = held_.back();
        held_.pop_back();
        return handle;
    }
    /** One that was made lately and may be released by now; null at first. */
    void* glimpse(Random& random) {
        const std::lock_guard lock(mutex_);
        return lately_[oneOf(random, lately_.size())];
    }
    bool isFull() {
        const std::lock_guard lock(mutex_);
        return held_.size() >= kHandlesKept;
    }
    std::size_t made() {
        const std::lock_guard lock(mutex_);
        return made_;
    }
    std::set<void*> ever() {
        const std::lock_guard lock(mutex_);
        return ever_;
    }

 private:
    std::mutex mutex_;  // guards all below
    std::size_t made_ = 0;
    std::vector<void*> held_;
    std::array<void*, kHandlesKept> lately_{};
    std::set<void*> ever_;
};

/** A simulated camera, by what it can be called. */
struct Device {
    std::array<std::string, 4> names;  // by kstIdentifierType
    std::mutex opening;                // for what must not run at the same time on one camera
    void* grabbing = nullptr;          // a reference; guarded by opening
    std::chrono::steady_clock::time_point started;  // guarded by opening
    std::atomic<void*> glimpse{nullptr};
};

class Storm {
 public:
    explicit Storm(std::array<Device, kDevices>& devices) : devices_(devices) {}

    void run(std::chrono::seconds duration) {
        Random first;
        for (Device& device : devices_) startAgain(first, device);
        std::vector<std::thread> threads;
        const auto end = std::chrono::steady_clock::now() + duration;
        for (unsigned i = 1; i <= kThreads; ++i) {
            threads.emplace_back([this, end, i] {
                Random random(i);
                while (std::chrono::steady_clock::now() < end) doSomething(random);
            });
        }
        for (std::thread& thread : threads) thread.join();
    }

    /** Gives back what the threads left. */
    void releaseAll() {
        Random random;
        for (Device& device : devices_) {
            startAgain(random, device);  // what it opens is of the latest enumeration
            quieten(device.grabbing);
            kstReleaseHandle(device.grabbing);
        }
        while (void* camera = cameras_.take(random)) {
            quieten(camera);
            kstReleaseHandle(camera);
        }
        while (void* frame = frames_.take(random)) kstReleaseHandle(frame);
    }

    Handles& cameras() { return cameras_; }
    Handles& frames() { return frames_; }
    std::vector<std::string> complaints() {
        const std::lock_guard lock(mutex_);
        return complaints_;
    }

 private:
    void doSomething(Random& random) {
        const std::size_t what = oneOf(random, 1000);
        if (what < 1) {
            enumerate();
        } else if (what < 4) {
            stopAndGo(random, devices_[oneOf(random, kDevices)]);
        } else if (what < 200) {
            makeCamera(random);
        } else if (what < 400) {
            useHeldCamera(random);
        } else if (what < 600) {
            useAnyCamera(random, cameraToUse(random));
        } else if (what < 750) {
            if (void* frame = kstGetFrame(cameraToUse(random), 2)) frames_.add(frame);
        } else if (what < 900) {
            useHeldFrame(random);
        } else {
            glanceAtFrame(random);
        }
    }

    void enumerate() {
        kstDeviceList list;  // what it points to may be gone already: others enumerate too
        if (enumerating_.fetch_add(1) < kEnumerating)
            expect("kstEnumDevices", kstEnumDevices(&list, 0), {KST_OK});
        --enumerating_;
    }

    void makeCamera(Random& random) {
        const Device& device = devices_[oneOf(random, kDevices)];
        const std::size_t type = oneOf(random, device.names.size());
        void* camera = kstCreateDevice(device.names[type].c_str(), static_cast<int>(type));
        if (camera) cameras_.add(camera);  // else the latest enumeration missed it
    }

    /** Keeps or releases the only reference that the caller has. */
    void putAway(Handles& handles, void* handle, Random& random) {
        if (handles.isFull() || oneOf(random, 2) == 0) return kstReleaseHandle(handle);
        handles.giveBack(handle);
    }

    void useHeldCamera(Random& random) {
        void* camera = cameras_.take(random);
        if (!camera) return;
        kstDeviceInfo info;
        const int code = kstGetDeviceInfo(camera, &info);
        expect("kstGetDeviceInfo of a held handle", code, {KST_OK, KST_ERROR_NOT_FOUND});
        if (code == KST_OK && std::none_of(devices_.begin(), devices_.end(), [&](const Device& d) {
                return d.names[KST_BY_KEY] == info.id;
            }))
            complain(std::string("kstGetDeviceInfo gave the camera ") + info.id);
        expect("kstIsFrameValid of a camera", kstIsFrameValid(camera), {0});
        putAway(cameras_, camera, random);
    }

    void* cameraToUse(Random& random) {
        if (oneOf(random, 2) == 0) return cameras_.glimpse(random);
        return devices_[oneOf(random, kDevices)].glimpse;
    }

    /** It may be released, and its address may stand for another object by now. */
    void useAnyCamera(Random& random, void* camera) {
        switch (oneOf(random, 4)) {
            case 0:
                expect("kstIsDeviceOpen", kstIsDeviceOpen(camera), {0, 1});
                expect("kstIsGrabbing", kstIsGrabbing(camera), {0, 1});
                expectCode("kstClearFrameBuffer", kstClearFrameBuffer(camera));
                return;
            case 1:
                return setCallback(random, camera);
            default:
                return useFeature(random, camera);
        }
    }

    void useFeature(Random& random, void* camera) {
        std::int64_t height = 0;
        char symbol[64];
        switch (oneOf(random, 5)) {
            case 0:
                return expectCode("kstGetIntFeatureValue",
                                  kstGetIntFeatureValue(camera, "Height", &height));
            case 1:
                return expectCode("kstSetFloatFeatureValue",
                                  kstSetFloatFeatureValue(camera, "ExposureTime", 1000.0));
            case 2:
                return expectCode(
                    "kstGetEnumFeatureSymbol",
                    kstGetEnumFeatureSymbol(camera, "ResultFormat", symbol, sizeof symbol));
            case 3:
                return expectCode("kstSetStringFeatureValue",
                                  kstSetStringFeatureValue(camera, "DeviceUserID", "storm"));
            default:
                return expectCode("kstEnumFeatureChildren",
                                  kstEnumFeatureChildren(camera, "ReaderControl", onName, nullptr));
        }
    }

    void setCallback(Random& random, void* camera) {
        const bool sets = oneOf(random, 4) == 0;  // a frame callback keeps frames from kstGetFrame
        switch (oneOf(random, 3)) {
            case 0:
                return expectCode(
                    "kstRegisterFrameCallback",
                    kstRegisterFrameCallback(camera, sets ? onFrame : nullptr, nullptr));
            case 1:
                return expectCode(
                    "kstRegisterConnectionCallback",
                    kstRegisterConnectionCallback(camera, sets ? onConnection : nullptr, nullptr));
            default:
                return expectCode(
                    "kstRegisterFeatureUpdateCallback",
                    kstRegisterFeatureUpdateCallback(camera, sets ? onName : nullptr, nullptr));
        }
    }

    void useHeldFrame(Random& random) {
        void* frame = frames_.take(random);
        if (!frame) return;
        kstFrameInfo info;
        const int code = kstGetFrameInfo(frame, &info);
        expect("kstGetFrameInfo of a held handle", code, {KST_OK});
        expect("kstIsFrameValid of a held handle", kstIsFrameValid(frame), {1});
        if (code == KST_OK) readAll(info);
        putAway(frames_, frame, random);
    }

    void glanceAtFrame(Random& random) {
        void* frame = frames_.glimpse(random);
        kstFrameInfo info;
        expect("kstIsFrameValid", kstIsFrameValid(frame), {0, 1});
        expect("kstGetFrameInfo", kstGetFrameInfo(frame, &info), {KST_OK, KST_ERROR_HANDLE});
    }

    void stopAndGo(Random& random, Device& device) {
        const std::unique_lock lock(device.opening, std::try_to_lock);
        if (!lock.owns_lock()) {
            const int code = kstStopGrabbing(device.glimpse);
            return expect("kstStopGrabbing", code, {KST_OK, KST_ERROR_HANDLE});
        }
        const auto now = std::chrono::steady_clock::now();
        if (now - device.started < kLeastGrabbing) return;
        device.started = now;
        startAgain(random, device);
    }

    /** Goes over to the camera as it was found last, and starts it. Needs: the lock `opening`. */
    void startAgain(Random& random, Device& device) {
        void* fresh = kstCreateDevice(device.names[KST_BY_KEY].c_str(), KST_BY_KEY);
        if (!fresh) return;
        cameras_.note(fresh);
        if (device.grabbing) {
            const std::size_t how = oneOf(random, 8);
            if (how == 0) expect("kstCloseDevice", kstCloseDevice(device.grabbing), {KST_OK});
            if (how > 4) expect("kstStopGrabbing", kstStopGrabbing(device.grabbing), {KST_OK});
            kstReleaseHandle(device.grabbing);
        }
        device.grabbing = fresh;
        device.glimpse = fresh;
        expect("kstOpenDevice", kstOpenDevice(fresh), {KST_OK, KST_ERROR_SDK});
        expect("kstStartGrabbing", kstStartGrabbing(fresh, 4),
               {KST_OK, KST_ERROR_SDK, KST_ERROR_GRABBING, KST_ERROR_ABSENT});
    }

    static void quieten(void* camera) {
        kstCloseDevice(camera);
        kstRegisterFrameCallback(camera, nullptr, nullptr);
        kstRegisterConnectionCallback(camera, nullptr, nullptr);
        kstRegisterFeatureUpdateCallback(camera, nullptr, nullptr);
    }

    /** What may come of an operation on a camera that others open, start, stop and close. */
    void expectCode(const char* what, int code) {
        expect(what, code, {KST_OK, KST_ERROR_SDK, KST_ERROR_ABSENT, KST_ERROR_HANDLE});
    }
    void expect(const char* what, int code, std::initializer_list<int> wanted) {
        if (std::find(wanted.begin(), wanted.end(), code) != wanted.end()) return;
        complain(std::string(what) + " gave " + std::to_string(code));
    }
    void complain(std::string complaint) {
        const std::lock_guard lock(mutex_);
        if (complaints_.size() < 10) complaints_.push_back(std::move(complaint));
    }

    std::array<Device, kDevices>& devices_;
    Handles cameras_;
    Handles frames_;
    std::atomic<int> enumerating_{0};
    std::mutex mutex_;
    std::vector<std::string> complaints_;  // guarded by mutex_
};

/** Cameras that no other test running at the same time has. */
std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> switchOn() {
    std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> cameras;
    const int process = ::getpid();
    for (std::size_t i = 0; i < kDevices; ++i) {
        kestrosim::CameraOptions options;
        options.address = "127." + std::to_string(200 + i) + "." +
                          std::to_string(process / 250 % 250) + "." +
                          std::to_string(1 + process % 250);
        options.serial = "H" + std::to_string(process) + "-" + std::to_string(i);
        options.width = 320;
        options.height = 240;
        options.framesPerSecond = 50;
        options.scenes = 4;
        cameras.push_back(std::make_unique<kestrosim::SimulatedCamera>(options));
    }
    return cameras;
}

/** Fills in what the cameras can be called; false when they are not all found. */
bool findAll(std::array<Device, kDevices>& devices) {
    kstDeviceList list;
    if (kstEnumDevices(&list, 0) != KST_OK) return false;
    const std::string serials = "H" + std::to_string(::getpid()) + "-";
    std::size_t found = 0;
    for (std::uint32_t i = 0; i < list.deviceCount && found < kDevices; ++i) {
        const kstDeviceInfo& info = list.devices[i];
        if (std::string(info.serialNumber).rfind(serials, 0) != 0) continue;
        devices[found++].names = {info.id, info.serialNumber, info.ipAddress, info.macAddress};
    }
    return found == kDevices;
}

std::chrono::seconds stormDuration() {
    const char* seconds = std::getenv("KESTRO_STORM_SECONDS");
    return std::chrono::seconds(seconds ? std::atoi(seconds) : 2);
}

TEST(HandleStorm, LeavesNoHandleThatIsTaken) {
    ::setenv("KESTRO_INTERFACES", "lo", 1);
    ::setenv("KESTRO_LOG", "off", 1);  // refusals are what it is about
    const auto simulated = switchOn();
    std::array<Device, kDevices> devices;
    ASSERT_TRUE(findAll(devices));

    Storm storm(devices);
    storm.run(stormDuration());
    storm.releaseAll();
    for (const std::string& complaint : storm.complaints()) ADD_FAILURE() << complaint;
    std::printf("handles made: %zu of cameras, %zu of frames; by callback: %d frames, %d names\n",
                storm.cameras().made(), storm.frames().made(), framesByCallback.load(),
                namesTold.load());
    EXPECT_GT(storm.cameras().made(), 0U);
    EXPECT_GT(storm.frames().made(), 0U);
    EXPECT_GT(framesByCallback, 0);

    int taken = 0;
    for (void* camera : storm.cameras().ever()) taken += kstOpenDevice(camera) != KST_ERROR_HANDLE;
    for (void* frame : storm.frames().ever()) {
        kstFrameInfo info;
        taken += kstGetFrameInfo(frame, &info) != KST_ERROR_HANDLE || kstIsFrameValid(frame) != 0;
    }
    EXPECT_EQ(taken, 0) << "of " << storm.cameras().ever().size() << " and "
                        << storm.frames().ever().size() << " addresses";
}

}  // namespace
