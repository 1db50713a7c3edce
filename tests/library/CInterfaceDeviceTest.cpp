// SPDX-License-Identifier: Apache-2.0
#include "CScene.h"

#include <atomic>

namespace kestro::test {
namespace {

using CHandles = CInterface;
using CDevices = CInterface;

const Lines kUnknownCamera{"300 kstIsDeviceOpen: The camera is NULL!"};

TEST_F(CHandles, TheSameCameraHasOneHandleForAsLongAsItIsHeld) {
    EXPECT_EQ(kstCreateDevice("Acme:1001", 0), camera);
    EXPECT_EQ(kstCreateDevice("1001", 1), camera);
    void* const other = kstCreateDevice("192.168.1.7", 2);
    EXPECT_EQ(other, camera) << "the first of two with this address";
    void* const second = kstCreateDevice("1002", 1);
    EXPECT_NE(second, camera);
    kstReleaseHandle(second);
    open();
    for (int left = 3; left > 0; --left) {
        kstReleaseHandle(camera);
        EXPECT_EQ(kstIsDeviceOpen(camera), 1) << left;
    }
    EXPECT_EQ(log.lines(), Lines{});
    kstReleaseHandle(camera);
    EXPECT_EQ(kstIsDeviceOpen(camera), 0);
    kstReleaseHandle(camera);
    EXPECT_EQ(log.lines(), kUnknownCamera);
    camera = kstCreateDevice("Acme:1001", 0);
    EXPECT_EQ(kstIsDeviceOpen(camera), 1);
}

TEST_F(CHandles, SurviveAnEnumerationThatMakesTheCameraAnew) {
    enumerate();
    EXPECT_EQ(kstOpenDevice(camera), 0);
    void* const anew = kstCreateDevice("Acme:1001", 0);
    EXPECT_NE(anew, camera);
    EXPECT_EQ(kstIsDeviceOpen(anew), 1);
    kstReleaseHandle(anew);

    sdk.setDevices({});
    enumerate();
    EXPECT_EQ(kstCloseDevice(camera), 0);
    EXPECT_FALSE(device->connected);
}

// The last release comes while another thread is in the device: that call ends well.
TEST_F(CHandles, AReleaseDuringACallLetsItEndWell) {
    std::promise<void> isIn;
    std::promise<void> mayGoOn;
    sdk.before("connect", [&] {
        isIn.set_value();
        mayGoOn.get_future().wait_for(kDeadline);
    });
    auto call = std::async(std::launch::async, [&] { return kstOpenDevice(camera); });
    ASSERT_EQ(isIn.get_future().wait_for(kDeadline), std::future_status::ready);
    sdk.setDevices({});
    enumerate();
    kstReleaseHandle(camera);
    EXPECT_EQ(kstCloseDevice(camera), 20);
    mayGoOn.set_value();
    EXPECT_EQ(call.get(), 0);
    EXPECT_EQ(lines(), (Lines{"700 kstOpenDevice: begin, SerialNumber=[Acme:1001]",
                              "300 kstCloseDevice: The camera is NULL!",
                              "700 kstOpenDevice: end, SerialNumber=[Acme:1001]"}));
    camera = nullptr;
}

TEST_F(CHandles, ACameraEndsUnderNoLock) {
    bool served = false;
    auto* const mortal = new CameraDouble(CameraScript());
    sdk.setDevices({std::shared_ptr<CameraDouble>(mortal, [&](CameraDouble* dying) {
        served = endsElsewhere([this] { kstReleaseHandle(this); });
        delete dying;
    })});
    enumerate();
    void* const handle = kstCreateDevice("Acme:1001", 0);
    sdk.setDevices({});
    enumerate();
    EXPECT_FALSE(served);
    kstReleaseHandle(handle);
    EXPECT_TRUE(served);
}

TEST_F(CHandles, WithoutACameraThereIsNone) {
    EXPECT_EQ(kstCreateDevice("Acme:1003", 0), nullptr);
    EXPECT_EQ(kstCreateDevice("1001", 7), nullptr);
    EXPECT_EQ(lines(), (Lines{"700 kstCreateDevice: type=[0], identifier=[Acme:1003]",
                              "300 kstCreateDevice: no camera found, data: [Acme:1003], type: [0]",
                              "700 kstCreateDevice: type=[7], identifier=[1001]",
                              "300 kstCreateDevice: no camera found, data: [1001], type: [7]"}));
}

/** A text of a device's record: where it lies, how much room it has, what the camera says there. */
struct Text {
    std::size_t offset;
    std::size_t size;
    const char* content;

    const char* in(const kstDeviceInfo& info) const {
        return reinterpret_cast<const char*>(&info) + offset;
    }
};
constexpr Text kTexts[] = {
    {8, 64, "Acme:1001"},      {72, 64, "left gate"},       {136, 64, "1001"},
    {200, 64, "Acme"},         {264, 64, "Reader 5"},       {328, 64, "Acme readers"},
    {392, 64, "2.3"},          {456, 128, "eth7"},          {1024, 64, "02:00:00:00:00:07"},
    {1088, 64, "192.168.1.7"}, {1152, 64, "255.255.255.0"}, {1216, 64, "192.168.1.254"}};

TEST_F(CDevices, AreDescribedInRecordsOfTheirOwn) {
    EXPECT_STREQ(kstGetVersion(), "1.1.0.307039");
    const kstDeviceList list = enumerate();
    ASSERT_EQ(list.deviceCount, 2U);
    EXPECT_EQ(othersThan(0, list, 4, 8), 0);
    EXPECT_EQ(othersThan(0, list, 16), 0);
    const kstDeviceInfo& info = list.devices[0];
    for (const Text& text : kTexts) EXPECT_STREQ(text.in(info), text.content);
    EXPECT_EQ(info.deviceType, 1);
    EXPECT_EQ(info.interfaceType, 1);
    EXPECT_EQ(info.isIpValid, 1);
    EXPECT_EQ(othersThan(0, info, 584, 1024), 0);
    EXPECT_EQ(othersThan(0, info, 1281), 0);
    EXPECT_STREQ(list.devices[1].id, "Acme:1002");

    auto copy = untouched<kstDeviceInfo>();
    EXPECT_EQ(kstGetDeviceInfo(camera, &copy), 0);
    EXPECT_EQ(std::memcmp(&copy, &info, sizeof copy), 0);
}

TEST_F(CDevices, TextsAreCutToFitAndEmptyWhereThereIsNone) {
    CameraScript& all = device->script;
    for (const std::size_t length : {63U, 64U, 127U, 128U, 200U}) {
        all.name = std::string(length, 'x');
        all.key = all.serialNumber = all.vendor = all.model = all.name;
        all.manufacturerInfo = all.deviceVersion = all.name;
        all.interfaceName = all.macAddress = all.ipAddress = all.subnetMask = all.gateway =
            *all.name;
        const kstDeviceInfo& info = *enumerate().devices;
        for (const Text& text : kTexts) {
            EXPECT_EQ(strnlen(text.in(info), text.size), std::min(length, text.size - 1)) << length;
        }
        EXPECT_EQ(othersThan(0, info, 584, 1024), 0);
    }
    CameraScript none;
    none.key = none.name = none.serialNumber = none.vendor = none.model = none.manufacturerInfo =
        none.deviceVersion = std::nullopt;
    none.ipValidity = "Invalid";
    sdk.setDevices({std::make_shared<CameraDouble>(none)});
    const kstDeviceInfo& info = *enumerate().devices;
    EXPECT_EQ(othersThan(0, info, 8, 456), 0);
    EXPECT_EQ(info.isIpValid, 0);
}

TEST_F(CDevices, WithoutInformationAreLeftOutAndSaid) {
    CameraScript usb;
    usb.type = usb.interfaceType = 1;
    CameraScript usbCard;
    usbCard.interfaceType = 1;
    sdk.setDevices(
        {std::make_shared<CameraDouble>(usb), std::make_shared<CameraDouble>(usbCard), device});
    const kstDeviceList list = enumerate();
    ASSERT_EQ(list.deviceCount, 1U);
    EXPECT_STREQ(list.devices->id, "Acme:1001");
    EXPECT_EQ(lines(), (Lines{"300 kstEnumDevices: device info is null",
                              "300 kstEnumDevices: interface info is null"}));
    quiet();
    EXPECT_EQ(enumerate(KST_INTERFACE_NIC).deviceCount, 1U);
    EXPECT_EQ(lines(), Lines{});
    EXPECT_EQ(enumerate(KST_INTERFACE_USB).deviceCount, 0U);
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(CDevices, AFailedEnumerationLeavesEverythingAsItWas) {
    const kstDeviceList before = enumerate();
    sdk.setDevices({});
    sdk.fail("discoveryEx", 11, "timeout");
    auto list = untouched<kstDeviceList>();
    EXPECT_EQ(kstEnumDevices(&list, 0), 2);
    EXPECT_EQ(othersThan(kUntouched, list), 0);
    EXPECT_STREQ(before.devices[1].id, "Acme:1002");
    kstDeviceInfo info;
    EXPECT_EQ(kstGetDeviceInfo(camera, &info), 0);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(CDevices, RecordsAreReplacedAsAWholeWhileOthersRead) {
    std::atomic<bool> over{false};
    auto reader = std::async(std::launch::async, [&] {
        int failures = 0;
        kstDeviceInfo info;
        while (!over) failures += kstGetDeviceInfo(camera, &info) != 0 || info.isIpValid != 1;
        return failures;
    });
    for (int round = 0; round < 200; ++round) enumerate();
    over = true;
    EXPECT_EQ(reader.get(), 0);
}

TEST_F(CDevices, OnlyTheLatestEnumerationIsAnsweredFrom) {
    sdk.setDevices({});
    EXPECT_EQ(enumerate().deviceCount, 0U);
    log.setEnabledLevel(800);
    auto info = untouched<kstDeviceInfo>();
    EXPECT_EQ(kstGetDeviceInfo(camera, &info), 5);
    EXPECT_EQ(othersThan(kUntouched, info), 0);
    EXPECT_EQ(lines(), (Lines{"800 kstGetDeviceInfo: begin, SerialNumber=[Acme:1001]",
                              "300 kstGetDeviceInfo: no device info found, handle: {" +
                                  pointerText(camera) + "}, id: [Acme:1001]",
                              "800 kstGetDeviceInfo: end, SerialNumber=[Acme:1001]"}));

    auto twin = std::make_shared<CameraDouble>(CameraScript());
    twin->script.name = "right gate";
    sdk.setDevices({secondDevice(), twin, device});
    enumerate();
    ASSERT_EQ(kstGetDeviceInfo(camera, &info), 0);
    EXPECT_STREQ(info.name, "right gate") << "the first of two with this key";
}

// Its key does not fit into the record whole, and half a key is another one.
TEST_F(CDevices, ACameraWhoseKeyWasCutHasNoRecord) {
    for (const std::size_t length : {63U, 64U}) {
        device->script.key = std::string(length, 'k');
        enumerate();
        void* const handle = kstCreateDevice(device->script.key->c_str(), 0);
        kstDeviceInfo info;
        EXPECT_EQ(kstGetDeviceInfo(handle, &info), length < 64 ? 0 : 5);
        kstReleaseHandle(handle);
    }
}

TEST_F(CDevices, NoAddressIsForcedOnACameraThatIsOpen) {
    open();
    EXPECT_EQ(kstForceIpAddress(camera, "10.0.0.3", "255.0.0.0", "10.0.0.1"), 23);
    EXPECT_EQ(sdk.journal(), Calls{"isConnected"});
    EXPECT_EQ(lines(), (Lines{"700 kstForceIpAddress: begin, SerialNumber=[Acme:1001]",
                              "300 kstForceIpAddress: force ip failed, camera is connected.",
                              "700 kstForceIpAddress: end, SerialNumber=[Acme:1001]"}));
}

TEST_F(CDevices, CodesOfTheCameraComeBackUnchangedAndTheCallIsEnded) {
    device->script.ipValidity = "Invalid";
    EXPECT_EQ(kstOpenDevice(camera), 22);
    EXPECT_EQ(lastLine(), "700 kstOpenDevice: end, SerialNumber=[Acme:1001]");
    device->script.ipValidity = "Valid";
    EXPECT_EQ(kstIsDeviceOpen(camera), 0);
    EXPECT_EQ(kstIsGrabbing(camera), 0);
    EXPECT_EQ(kstClearFrameBuffer(camera), 9);
    EXPECT_EQ(kstStopGrabbing(camera), 0);
    open();
    EXPECT_EQ(kstStartGrabbing(camera, -1), 0);
    EXPECT_EQ(sdk.journal().at(1), "startGrabbing(0, 0)") << "without a buffer count";
    EXPECT_EQ(kstStartGrabbing(camera, 3), 8);
    EXPECT_EQ(lastLine(), "700 kstStartGrabbing: end, SerialNumber=[Acme:1001]");
}

}  // namespace
}  // namespace kestro::test
