// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraImpl.h"
#include "DeviceSdkDouble.h"
#include "FrameDouble.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace kestro::test {

using Lines = std::vector<std::string>;
using Calls = std::vector<std::string>;

inline constexpr std::chrono::seconds kDeadline{10};

/** One camera of the scripted device SDK; the journal starts after its construction. */
class CameraFixture : public testing::Test {
 protected:
    CameraFixture() {
        sdk.reset();
        log.reset();
        camera = CameraImpl::create(device);
        sdk.clearJournal();
    }
    ~CameraFixture() override {
        camera.reset();
        sdk.reset();
        log.reset();
    }

    void connect() {
        ASSERT_EQ(camera->connect().getCode(), 0);
        sdk.clearJournal();
    }
    void connectAndGrab() {
        connect();
        ASSERT_EQ(camera->startGrabbing(0).getCode(), 0);
        sdk.clearJournal();
    }
    /** A small image without results. */
    static Vorda::GenICam::CFrame frame(std::uint64_t blockId = 1) {
        FrameContent content;
        content.blockId = blockId;
        content.image = {1, 2, 3, 4};
        content.width = content.height = 2;
        return makeFrame(std::move(content));
    }

    DeviceSdkDouble& sdk = DeviceSdkDouble::instance();
    RecordingLogger& log = RecordingLogger::instance();
    std::shared_ptr<CameraDouble> device = std::make_shared<CameraDouble>(CameraScript());
    std::shared_ptr<CameraImpl> camera;
};

}  // namespace kestro::test
