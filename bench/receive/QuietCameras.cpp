// SPDX-License-Identifier: Apache-2.0
#include "QuietCameras.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace kestro::bench {

namespace {

kestrosim::CameraOptions optionsOf(std::size_t number, const ImageShape& shape) {
    kestrosim::CameraOptions camera;
    camera.address = "127.0.0." + std::to_string(2 + number);
    camera.serial = "BENCH" + std::to_string(1 + number);
    camera.width = shape.width;
    camera.height = shape.height;
    camera.format = kestrosim::ResultFormat::none;
    camera.scenes = 1;
    return camera;
}

/** Each camera draws its scene on a thread that then ends. */
bool isAnyDrawing() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == "kestro-scenes") return true;
    }
    return false;
}

}  // namespace

QuietCameras::QuietCameras(std::size_t count, const ImageShape& shape) {
    for (std::size_t i = 0; i < count; ++i) {
        cameras_.push_back(std::make_unique<kestrosim::SimulatedCamera>(optionsOf(i, shape)));
    }
    while (isAnyDrawing()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace kestro::bench
