// SPDX-License-Identifier: Apache-2.0
#include <kestro/DeviceInfo.h>
#include <kestro/InterfaceInfo.h>

#include "CameraFixture.h"

namespace kestro::test {
namespace {

using DeviceInfos = CameraFixture;

TEST_F(DeviceInfos, OfAGigECameraForwardToTheDevice) {
    const auto info = std::dynamic_pointer_cast<DeviceInfoGEV>(camera->getDeviceInfo());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->getType(), 1);
    EXPECT_STREQ(info->getName(), "left gate");
    EXPECT_STREQ(info->getID(), "Acme:1001");
    EXPECT_STREQ(info->getVendorName(), "Acme");
    EXPECT_STREQ(info->getModelName(), "Reader 5");
    EXPECT_STREQ(info->getSerialNumber(), "1001");
    EXPECT_STREQ(info->getDeviceVersion(), "2.3");
    EXPECT_STREQ(info->getManufactureInfo(), "Acme readers");
    EXPECT_STREQ(info->getIpAddress(), "192.168.1.7");
    EXPECT_STREQ(info->getMacAddress(), "02:00:00:00:00:07");
    EXPECT_STREQ(info->getSubnetMask(), "255.255.255.0");
    EXPECT_STREQ(info->getDefaultGateway(), "192.168.1.254");
    EXPECT_EQ(info->getAccessPermission(), DeviceInfo::Control);
    EXPECT_TRUE(info->isIpValid());
    device->script.vendor = "Other";
    EXPECT_STREQ(info->getVendorName(), "Other") << "asked at each call";
}

TEST_F(DeviceInfos, KeepTheAddressesOfTheirTimeAndAskTheRestNow) {
    device->script.ipValidity = "not Valid";
    const DeviceInfoGEV before(camera);
    EXPECT_FALSE(before.isIpValid());
    ASSERT_EQ(camera->forceIpAddress("10.0.0.2", "255.0.0.0", "10.0.0.1"), 0);
    device->script.accessPermission = 77;
    EXPECT_STREQ(before.getIpAddress(), "192.168.1.7");
    EXPECT_TRUE(before.isIpValid());
    EXPECT_EQ(before.getAccessPermission(), 77) << "unchanged, known or not";
    const DeviceInfoGEV after(camera);
    EXPECT_STREQ(after.getIpAddress(), "10.0.0.2");
    EXPECT_STREQ(after.getDefaultGateway(), "10.0.0.1");
}

TEST_F(DeviceInfos, MapTheDeviceTypes) {
    const std::pair<int, int> types[] = {{0, 1}, {1, 2}, {2, 0}, {-1, 0}};
    for (const auto& [ofDevice, ofInfo] : types) {
        device->script.type = ofDevice;
        EXPECT_EQ(DeviceInfo(camera).getType(), ofInfo) << ofDevice;
    }
}

TEST_F(DeviceInfos, OfAnotherKindAreEmptyAndLogged) {
    device->script.type = 1;
    device->script.interfaceType = 1;
    EXPECT_EQ(camera->getDeviceInfo(), nullptr);
    EXPECT_EQ(camera->getInterfaceInfo(), nullptr);
    EXPECT_EQ(log.lines(), (Lines{"300 getDeviceInfo: error camera type: [1]",
                                  "300 getInterfaceInfo: error interface type: [1]"}));
}

TEST_F(DeviceInfos, WithoutAGigEViewAreNeutral) {
    device->script.type = 1;
    const DeviceInfoGEV info(camera);
    EXPECT_STREQ(info.getIpAddress(), "");
    EXPECT_FALSE(info.isIpValid());
    EXPECT_EQ(info.getAccessPermission(), 254);
}

TEST_F(DeviceInfos, MadeFromNothingAreNeutral) {
    for (const std::shared_ptr<Camera>& nothing :
         {std::shared_ptr<Camera>(),
          std::shared_ptr<Camera>(std::make_shared<CameraImpl>(nullptr))}) {
        const DeviceInfoGEV info(nothing);
        EXPECT_EQ(info.getType(), 0);
        EXPECT_EQ(info.getName(), nullptr);
        EXPECT_EQ(info.getID(), nullptr);
        EXPECT_EQ(info.getInterfaceInfo(), nullptr);
        EXPECT_STREQ(info.getMacAddress(), "");
        EXPECT_EQ(info.getAccessPermission(), 254);
        const InterfaceInfoNIC interface(nothing);
        EXPECT_EQ(interface.getType(), 0);
        EXPECT_STREQ(interface.getName(), "");
        EXPECT_STREQ(interface.getIpAddress(), "");
    }
}

TEST_F(DeviceInfos, KeepTheirCameraAlive) {
    const auto info = camera->getDeviceInfo();
    const std::weak_ptr<CameraImpl> watched = camera;
    camera.reset();
    EXPECT_FALSE(watched.expired());
    EXPECT_STREQ(info->getSerialNumber(), "1001");
}

TEST_F(DeviceInfos, InterfaceDataIsCopied) {
    const auto info =
        std::dynamic_pointer_cast<InterfaceInfoNIC>(DeviceInfo(camera).getInterfaceInfo());
    ASSERT_TRUE(info);
    camera.reset();
    device.reset();
    EXPECT_EQ(info->getType(), 0);
    EXPECT_STREQ(info->getName(), "eth7");
    EXPECT_STREQ(info->getDecription(), "eth7 192.168.1.1/24");
    EXPECT_STREQ(info->getIpAddress(), "192.168.1.1");
    EXPECT_STREQ(info->getMacAddress(), "02:00:00:00:00:01");
    EXPECT_STREQ(info->getSubnetMask(), "255.255.255.0");
    EXPECT_STREQ(info->getDefaultGateway(), "192.168.1.253");
}

TEST_F(DeviceInfos, AnInterfaceWithoutNetworkDataHasItsTypeAndEmptyTexts) {
    device->script.interfaceType = 1;
    const InterfaceInfo info(camera);
    EXPECT_EQ(info.getType(), 1);
    EXPECT_STREQ(info.getName(), "");
    EXPECT_STREQ(info.getDecription(), "");
}

}  // namespace
}  // namespace kestro::test
