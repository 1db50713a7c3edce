// SPDX-License-Identifier: Apache-2.0
//
// The classes in a forked child: every operation fails at once and asks nobody.
#include <kestro/kestro.h>

#include "CameraFixture.h"

#include <cstdint>
#include <functional>
#include <utility>

namespace kestro::test {
namespace {

class ForkedChild : public CameraFixture {
 protected:
    ForkedChild() {
        sdk.setDevices({device});
        system.discovery(0);
        connectAndGrab();
        EXPECT_TRUE(device->deliver(frame(7)));
        held = camera->getFrame(0);
        address = std::make_unique<ParameterRegister>(camera, 64);
        information = camera->getDeviceInfo();
        sdk.clearJournal();
        log.reset();
        log.setEnabledLevel(800);
        sdk.setForkedChild(true);
    }

    System& system = System::getInstance();
    std::shared_ptr<Frame> held;
    std::unique_ptr<ParameterRegister> address;
    std::shared_ptr<DeviceInfo> information;
};

TEST_F(ForkedChild, IsRefusedByCameraAndSystem) {
    const std::function<Result()> operations[] = {
        [&] { return system.discovery(0); },
        [&] { return camera->connect(); },
        [&] { return camera->startGrabbing(4); },
        [&] { return camera->clearFrameBuffer(); },
        [&] { return camera->forceIpAddress("10.0.0.2", "255.0.0.0", "10.0.0.1"); },
        [&] { return camera->downloadGenICamXML("a"); },
        [&] { return camera->saveDeviceConfig("b"); },
        [&] { return camera->loadDeviceConfig("c"); },
        [&] { return camera->registerFrameCallback([](const auto&) {}); },
        [&] { return camera->registerConnectCallback([](const auto&) {}); },
        [&] { return camera->registerParamUpdateCallback([](const auto&) {}); },
    };
    for (const auto& operation : operations) EXPECT_EQ(operation().getCode(), 2);
    camera->stopGrabbing();
    camera->disconnect();
    EXPECT_FALSE(camera->isConnected());
    EXPECT_FALSE(camera->isGrabbing());
    EXPECT_EQ(camera->getFrame(1000000), nullptr);
    EXPECT_EQ(camera->getParameter("Root"), nullptr);
    EXPECT_EQ(camera->getDeviceInfo(), nullptr);
    EXPECT_EQ(camera->getInterfaceInfo(), nullptr);
    EXPECT_TRUE(system.getCameraList().empty());
    EXPECT_EQ(system.getCamera("Acme:1001", System::Key), nullptr);
    EXPECT_EQ(sdk.journal(), Calls{});
    EXPECT_EQ(log.lines(), Lines{});

    sdk.setForkedChild(false);
    EXPECT_TRUE(camera->isGrabbing());
    EXPECT_EQ(system.getCameraList().size(), 1U);
}

TEST_F(ForkedChild, IsRefusedByTheFeatures) {
    device->script.features = {{"Width", FeatureScript()}};
    std::int64_t value = 5;
    int word = 5;
    std::uint8_t byte = 5;
    EXPECT_EQ(ParameterInt(camera, "Width").getValue(value).getCode(), 2);
    EXPECT_EQ(ParameterInt(camera, "Width").setValue(9).getCode(), 2);
    EXPECT_FALSE(Parameter(camera, "Width").isValid());
    EXPECT_EQ(Parameter(camera, "Width").getType(), ParameterType::Unknown);
    EXPECT_EQ(address->getValue(word).getCode(), 2);
    EXPECT_EQ(address->setValue(word).getCode(), 2);
    EXPECT_EQ(address->getValue(&byte, 1).getCode(), 2);
    EXPECT_EQ(address->setValue(&byte, 1).getCode(), 2);
    EXPECT_EQ(value + word + byte, 15);
    EXPECT_EQ(device->script.features["Width"].integer, 0);
    EXPECT_TRUE(device->script.memory.empty());
}

TEST_F(ForkedChild, ReadsWhatItInherited) {
    EXPECT_EQ(held->getBlockId(), 7U);
    EXPECT_EQ(held->getImageData()[3], 4);
    EXPECT_STREQ(camera->getKey(), "Acme:1001");
    EXPECT_STREQ(information->getSerialNumber(), "1001");
    sdk.clearJournal();
    held.reset();
    EXPECT_EQ(sdk.journal(), Calls{});
}

// Its end would wait for threads that a child does not have, and take the camera from the parent.
TEST_F(ForkedChild, EndsNoCamera) {
    const std::unique_ptr<CameraImpl> left(camera.get());
    const std::weak_ptr<CameraDouble> itsDevice = device;
    device.reset();
    information.reset();
    camera.reset();
    EXPECT_EQ(sdk.journal(), Calls{});
    sdk.setForkedChild(false);
    EXPECT_TRUE(left->isGrabbing());
    EXPECT_FALSE(itsDevice.expired());
}

}  // namespace
}  // namespace kestro::test
