// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/kestro.h>

#include "RecordingLogger.h"
#include "Simulator.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kestro::test {

/** A camera with a serial number and an address that no other test running at the same time has. */
inline kestrosim::CameraOptions roadOptions() {
    static int count = 0;
    const int process = ::getpid();
    kestrosim::CameraOptions options;
    options.address = "127." + std::to_string(100 + process / 62500 % 100) + "." +
                      std::to_string(process / 250 % 250) + "." + std::to_string(1 + process % 250);
    options.serial = "R" + std::to_string(process) + "-" + std::to_string(count++);
    options.width = 640;
    options.height = 480;
    options.framesPerSecond = 50;
    options.scenes = 4;
    return options;
}

/** Waits for a condition that another thread makes true; false when it does not in time. */
template <typename Condition>
[[nodiscard]] bool eventually(const Condition& condition,
                              std::chrono::seconds limit = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/** A simulated camera on loopback and the library's connection to it. */
class Road {
 public:
    explicit Road(const kestrosim::CameraOptions& options = roadOptions()) : device_(options) {
        ::setenv("KESTRO_INTERFACES", "lo", 1);
        ::setenv("KESTRO_DISCOVERY_TIMEOUT_MS", "200", 1);
        RecordingLogger::instance().reset();
        std::vector<std::shared_ptr<Camera>> found;
        EXPECT_TRUE(System::getInstance().discovery(found, 0));
        camera_ = System::getInstance().getCamera(options.serial.c_str(), System::SerialNumber);
        if (!camera_ || camera_->connect().isFailure()) camera_.reset();
    }
    Road(const Road&) = delete;
    Road& operator=(const Road&) = delete;
    ~Road() {
        if (camera_) camera_->disconnect();
    }

    [[nodiscard]] const std::shared_ptr<Camera>& camera() const { return camera_; }
    [[nodiscard]] kestrosim::SimulatedCamera& device() { return device_; }

    template <typename Parameter>
    [[nodiscard]] Parameter feature(const char* name) const {
        return Parameter(camera_, name);
    }
    /** The reason in the latest error line: the text between the last brackets. */
    [[nodiscard]] static std::string lastReason() {
        const auto lines = RecordingLogger::instance().lines(300, 300);
        if (lines.empty()) return {};
        const std::string& line = lines.back();
        const std::size_t begin = line.rfind("[code:");
        return begin == std::string::npos ? std::string() : line.substr(begin);
    }

 private:
    kestrosim::SimulatedCamera device_;
    std::shared_ptr<Camera> camera_;
};

}  // namespace kestro::test
