// SPDX-License-Identifier: Apache-2.0
//
// What the C interface costs for each frame, on top of the classes: the same frame with 20 codes
// goes to a C++ callback and to a C callback, and is fetched in both ways. The two take turns in
// one run, and all that is told of a run are medians, so that their difference means something on a
// machine that is not quiet. Both sides read the same: of each code a corner and a byte of the
// text.
#include "CodedFrame.h"
#include "DeviceSdkDouble.h"
#include "FrameDouble.h"
#include "RecordingLogger.h"
#include "Turns.h"

#include <kestro/kestro.h>
#include <kestro/kestro_c.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using kestro::Camera;
using kestro::Frame;
using kestro::System;
using kestro::bench::medianOf;
using kestro::bench::Sides;
using kestro::bench::Times;
using kestro::test::CameraDouble;
using kestro::test::CameraScript;
using kestro::test::DeviceSdkDouble;

constexpr int kCodes = 20;
constexpr int kRounds = 4000;
constexpr int kRoundsPerJournal = 100;  // the double notes every call

std::uint64_t sum = 0;  // of what the callbacks read
std::uint64_t codesSeen = 0;

void readClasses(const Frame& frame) {
    for (const auto& code : frame.getBarcodes()) {
        sum += static_cast<std::uint64_t>(code->getPoints()[2].x) +
               static_cast<std::uint8_t>(code->getCodeData()[0]);
        ++codesSeen;
    }
}

void readRecord(const kstFrameInfo& info) {
    for (std::uint32_t i = 0; i < info.barcodeCount; ++i) {
        sum += static_cast<std::uint64_t>(info.barcodes[i].points[2].x) +
               static_cast<std::uint8_t>(info.barcodes[i].codeData[0]);
        ++codesSeen;
    }
}

void onFrame(const kstFrameInfo* info, void*) { readRecord(*info); }

/** Two cameras that grab, one for each side; they are as equal as two can be. */
struct Scene {
    explicit Scene(const benchmark::State& state) {
        kestro::test::RecordingLogger::instance().reset();
        DeviceSdkDouble::instance().reset();
        for (const char* serial : {"classes", "c"}) {
            CameraScript script;
            script.key = script.serialNumber = serial;
            devices.push_back(std::make_shared<CameraDouble>(std::move(script)));
        }
        DeviceSdkDouble::instance().setDevices({devices.begin(), devices.end()});
        kstDeviceList list;
        if (kstEnumDevices(&list, 0) != KST_OK) std::abort();
        camera = System::getInstance().getCamera("classes", System::Key);
        handle = kstCreateDevice("c", KST_BY_KEY);
        if (!camera->connect() || !camera->startGrabbing(0)) std::abort();
        if (kstOpenDevice(handle) != KST_OK || kstStartGrabbing(handle, 0) != KST_OK) std::abort();

        kestro::test::FrameContent content;
        content.image =
            kestro::bench::container(static_cast<std::uint32_t>(state.range(0)),
                                     static_cast<std::uint32_t>(state.range(1)), kCodes);
        frame = kestro::test::makeFrame(std::move(content));
    }
    ~Scene() {
        camera->disconnect();
        kstCloseDevice(handle);
        kstReleaseHandle(handle);
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    std::vector<std::shared_ptr<CameraDouble>> devices;
    std::shared_ptr<Camera> camera;
    void* handle = nullptr;
    Vorda::GenICam::CFrame frame;
};

void report(benchmark::State& state, const Sides& sides) {
    const Times& classes = sides.first;
    const Times& c = sides.second;
    std::vector<double> differences;
    for (std::size_t i = 0; i < classes.count(); ++i)
        differences.push_back(c.microseconds(i) - classes.microseconds(i));
    state.counters["classes_us"] = medianOf(classes);
    state.counters["c_us"] = medianOf(c);
    state.counters["difference_us"] = medianOf(std::move(differences));
    kestro::bench::require(codesSeen == 2 * classes.count() * kCodes, "not all codes were seen");
}

template <typename Classes, typename C>
void compare(benchmark::State& state, const Classes& classes, const C& c) {
    codesSeen = 0;
    report(state, kestro::bench::takeTurns(state, classes, [&](Times& times) {
               c(times);
               if (times.count() % kRoundsPerJournal == 0)
                   DeviceSdkDouble::instance().clearJournal();
           }));
    benchmark::DoNotOptimize(sum);
}

void callback(benchmark::State& state) {
    const Scene scene(state);
    scene.camera->registerFrameCallback(
        [](const std::shared_ptr<Frame>& frame) { readClasses(*frame); });
    kstRegisterFrameCallback(scene.handle, onFrame, nullptr);
    compare(
        state, [&](Times& times) { times.take([&] { scene.devices[0]->deliver(scene.frame); }); },
        [&](Times& times) { times.take([&] { scene.devices[1]->deliver(scene.frame); }); });
}

void fetch(benchmark::State& state) {
    const Scene scene(state);
    compare(
        state,
        [&](Times& times) {
            scene.devices[0]->deliver(scene.frame);
            times.take([&] {
                if (const auto frame = scene.camera->getFrame(0)) readClasses(*frame);
            });
        },
        [&](Times& times) {
            scene.devices[1]->deliver(scene.frame);
            times.take([&] {
                void* frame = kstGetFrame(scene.handle, 0);
                kstFrameInfo info;
                if (kstGetFrameInfo(frame, &info) == KST_OK) readRecord(info);
                kstReleaseHandle(frame);
            });
        });
}

// A small image, so that its copy does not hide the difference, and a large one.
void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"width", "height"})->Args({64, 64})->Args({2448, 2048});
    benchmark->Iterations(kRounds)->Apply(kestro::bench::repeat);
}

BENCHMARK(callback)->Apply(sizes);
BENCHMARK(fetch)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
