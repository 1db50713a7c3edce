// SPDX-License-Identifier: Apache-2.0
#include "CameraFixture.h"

namespace kestro::test {
namespace {

using CameraConnect = CameraFixture;

TEST_F(CameraConnect, ChecksTheSubnetConnectsAndSubscribesInThisOrder) {
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(sdk.journal(),
              (Calls{"isConnected", "IGigECamera::getInstance", "getIpValidity", "connect(2)",
                     "createEventSubscribe", "setEventQueueSize(8192)",
                     "subscribeParamsUpdate(handler 1)", "subscribeConnectArgs(handler 1)"}));
    EXPECT_TRUE(camera->isConnected());
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(CameraConnect, OfAConnectedCameraWarnsAndDoesNothing) {
    connect();
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(sdk.journal(), Calls{"isConnected"});
    EXPECT_EQ(log.lines(), Lines{"400 connect: device has been connected! [Acme:1001]"});
}

TEST_F(CameraConnect, IsRefusedInAnotherSubnetWithoutAnAttempt) {
    for (const char* validity :
         {"", "valid", "Valid ", "Invalid: 10.0.0.2 is not in 10.1.0.0/16"}) {
        log.reset();
        sdk.clearJournal();
        device->script.ipValidity = validity;
        EXPECT_EQ(camera->connect(), 22);
        EXPECT_EQ(sdk.journal(),
                  (Calls{"isConnected", "IGigECamera::getInstance", "getIpValidity"}));
        EXPECT_EQ(log.lines(), Lines{"300 connect: Device's and PC's subnet is mismatch! "
                                     "SerialNumber=[Acme:1001]"});
        EXPECT_FALSE(camera->isConnected());
    }
}

TEST_F(CameraConnect, WorksAfterTheAddressWasForced) {
    device->script.ipValidity = "Invalid";
    ASSERT_EQ(camera->connect(), 22);
    sdk.clearJournal();
    EXPECT_EQ(camera->forceIpAddress("192.168.1.9", "255.255.255.0", nullptr), 0);
    EXPECT_EQ(sdk.journal(),
              (Calls{"IGigECamera::getInstance", "forceIpAddress(192.168.1.9, 255.255.255.0, )"}));
    EXPECT_EQ(camera->connect(), 0);
}

TEST_F(CameraConnect, DropsTheSubscriptionOfAnEarlierConnection) {
    connect();
    device->connected = false;  // lost, never disconnected
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(sdk.journal(),
              (Calls{"isConnected", "IGigECamera::getInstance", "getIpValidity", "connect(2)",
                     "~IEventSubscribe", "createEventSubscribe", "setEventQueueSize(8192)",
                     "subscribeParamsUpdate(handler 1)", "subscribeConnectArgs(handler 1)"}));
}

TEST_F(CameraConnect, DisconnectUnsubscribesTheSameHandlersAndMayBeRepeated) {
    connect();
    const Calls calls = {"unsubscribeConnectArgs(handler 1)", "unsubscribeParamsUpdate(handler 1)",
                         "disConnect"};
    for (int time = 0; time < 2; ++time) {
        camera->disconnect();
        EXPECT_EQ(sdk.journal(), calls);
        EXPECT_FALSE(device->raiseConnect(1));
        EXPECT_FALSE(device->raiseUpdates({"Width"}));
        sdk.clearJournal();
    }
    EXPECT_FALSE(camera->isConnected());
}

TEST_F(CameraConnect, DisconnectStopsGrabbingFirst) {
    connectAndGrab();
    camera->disconnect();
    EXPECT_EQ(sdk.journal(), (Calls{"isGrabbing", "stopGrabbing", "attachGrabbing(handler 1)",
                                    "~IStreamSource", "unsubscribeConnectArgs(handler 1)",
                                    "unsubscribeParamsUpdate(handler 1)", "disConnect"}));
}

TEST_F(CameraConnect, DisconnectOfACameraNeverConnectedOnlyAsksTheDevice) {
    camera->disconnect();
    EXPECT_EQ(sdk.journal(), Calls{"disConnect"});
}

TEST_F(CameraConnect, TheEndOfAConnectedCameraAsksNothingOfTheDevice) {
    connectAndGrab();
    camera.reset();
    EXPECT_THAT(sdk.journal(), testing::UnorderedElementsAre("~IStreamSource", "~IEventSubscribe"));
}

TEST_F(CameraConnect, ConfigurationAndDescriptionPathsReachTheDevice) {
    connect();
    EXPECT_EQ(camera->downloadGenICamXML("a.xml"), 0);
    EXPECT_EQ(camera->saveDeviceConfig("b.txt"), 0);
    EXPECT_EQ(camera->loadDeviceConfig("c.txt"), 0);
    EXPECT_EQ(sdk.journal(), (Calls{"downloadGenICamXML(a.xml)", "saveDeviceConfig(b.txt)",
                                    "loadDeviceConfig(c.txt)"}));
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(CameraConnect, NullTextsReachTheDeviceAsEmptyOnes) {
    camera->downloadGenICamXML(nullptr);
    camera->saveDeviceConfig(nullptr);
    camera->loadDeviceConfig(nullptr);
    camera->forceIpAddress(nullptr, nullptr, nullptr);
    EXPECT_EQ(sdk.journal(), (Calls{"downloadGenICamXML", "saveDeviceConfig", "loadDeviceConfig",
                                    "IGigECamera::getInstance", "forceIpAddress(, , )"}));
}

TEST_F(CameraConnect, AParameterWithoutNameIsEmptyAndSilent) {
    EXPECT_EQ(camera->getParameter(nullptr), nullptr);
    EXPECT_EQ(camera->getParameter(""), nullptr);
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(sdk.journal(), Calls{});
}

TEST(CameraKey, IsReadOnceAndEmptyWhereThereIsNone) {
    DeviceSdkDouble::instance().reset();
    CameraScript script;
    auto device = std::make_shared<CameraDouble>(script);
    const auto camera = CameraImpl::create(device);
    device->script.key = "Acme:9999";
    EXPECT_STREQ(camera->getKey(), "Acme:1001");

    script.key = std::nullopt;
    EXPECT_STREQ(CameraImpl::create(std::make_shared<CameraDouble>(script))->getKey(), "");
    EXPECT_EQ(CameraImpl::create(nullptr), nullptr);
    EXPECT_STREQ(std::make_shared<CameraImpl>(nullptr)->getKey(), "");
}

}  // namespace
}  // namespace kestro::test
