// SPDX-License-Identifier: Apache-2.0
//
// Every device-SDK call of a camera that may fail: the code, the line, and the error text in it,
// which is that of the failed call although later calls set another.
#include "CameraFixture.h"

#include <ostream>

namespace kestro::test {
namespace {

enum class State { kDisconnected, kConnected, kGrabbing };

struct FailureCase {
    const char* name;
    State state;
    const char* operation;
    int (*act)(Camera&);
    int code;
    Lines lines;
    Calls calls;  ///< what the device SDK is asked after the failure
};

std::ostream& operator<<(std::ostream& out, const FailureCase& failure) {
    return out << failure.name;
}

int connect(Camera& camera) { return camera.connect().getCode(); }
int disconnect(Camera& camera) { return camera.disconnect(), 0; }
int start(Camera& camera) { return camera.startGrabbing(4).getCode(); }
int stop(Camera& camera) { return camera.stopGrabbing(), 0; }
int clear(Camera& camera) { return camera.clearFrameBuffer().getCode(); }
int getFrame(Camera& camera) { return camera.getFrame(0) ? 0 : -1; }
int forceIp(Camera& camera) {
    return camera.forceIpAddress("10.0.0.2", "255.0.0.0", "10.0.0.1").getCode();
}
int download(Camera& camera) { return camera.downloadGenICamXML("camera.xml").getCode(); }
int save(Camera& camera) { return camera.saveDeviceConfig("camera.txt").getCode(); }
int load(Camera& camera) { return camera.loadDeviceConfig("camera.txt").getCode(); }
int unregisterFrames(Camera& camera) { return camera.registerFrameCallback(nullptr).getCode(); }

#define ERROR_TEXT "[code: 0x0000000b, msg: timeout.]"

// clang-format off
const FailureCase kFailures[] = {
    {"ConnectWithoutGigEView", State::kDisconnected, "IGigECamera::getInstance", connect, 9,
     {"300 connect: can not get gige camera ptr. " ERROR_TEXT}, {}},
    {"Connect", State::kDisconnected, "connect", connect, 2,
     {"300 connect: camera connect failed. " ERROR_TEXT}, {}},
    {"CreateEventSubscribe", State::kDisconnected, "createEventSubscribe", connect, 2,
     {"300 connect: createEventSubscribe failed. " ERROR_TEXT}, {"disConnect"}},
    {"Disconnect", State::kConnected, "disConnect", disconnect, 0,
     {"300 disconnect: disConnect device failed!"}, {}},
    {"CreateStreamSource", State::kConnected, "createStreamSource", start, 9,
     {"300 startGrabbing: createStreamSource failed. " ERROR_TEXT}, {}},
    {"SetBufferCount", State::kConnected, "setBufferCount", start, 2,
     {"300 startGrabbing: setBufferCount failed. " ERROR_TEXT}, {"~IStreamSource"}},
    {"StartGrabbing", State::kConnected, "startGrabbing", start, 2,
     {"300 startGrabbing: startGrabbing failed. " ERROR_TEXT}, {"~IStreamSource"}},
    {"StopGrabbing", State::kGrabbing, "stopGrabbing", stop, 0,
     {"300 stopGrabbing: stopGrabbing failed! SerialNumber=[Acme:1001]"}, {"~IStreamSource"}},
    {"GetFrame", State::kGrabbing, "getFrame", getFrame, -1,
     {"300 getFrame: get frame error. " ERROR_TEXT}, {}},
    {"ClearFrameBuffer", State::kGrabbing, "clearFrameBuffer", clear, 2,
     {"300 clearFrameBuffer: call clearFrameBuffer failed"}, {}},
    {"ForceIpWithoutGigEView", State::kDisconnected, "IGigECamera::getInstance", forceIp, 9,
     {"300 forceIpAddress: can not get gige camera ptr. " ERROR_TEXT}, {}},
    {"ForceIp", State::kDisconnected, "forceIpAddress", forceIp, 2,
     {"300 forceIpAddress: force ip address error. " ERROR_TEXT}, {}},
    {"SaveDeviceConfig", State::kConnected, "saveDeviceConfig", save, 2,
     {"300 saveDeviceConfig: save device config error, ret: [11]"}, {}},
    {"LoadDeviceConfig", State::kConnected, "loadDeviceConfig", load, 2,
     {"300 loadDeviceConfig: load device config error, ret: [11]"}, {}},
    {"DownloadIsSilent", State::kConnected, "downloadGenICamXML", download, 2, {}, {}},
    {"DetachIsNotExamined", State::kGrabbing, "detachGrabbing", unregisterFrames, 0, {}, {}},
    {"SubscriptionsAreNotExamined", State::kDisconnected, "setEventQueueSize", connect, 0, {},
     {"subscribeParamsUpdate(handler 1)", "subscribeConnectArgs(handler 1)"}},
};
// clang-format on

class CameraFailure : public CameraFixture, public testing::WithParamInterface<FailureCase> {
 protected:
    Calls callsAfter(const std::string& operation) const {
        const Calls all = sdk.journal();
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (all[i].substr(0, all[i].find('(')) == operation) {
                return {all.begin() + static_cast<std::ptrdiff_t>(i) + 1, all.end()};
            }
        }
        return {"never called: " + operation};
    }
};

TEST_P(CameraFailure, HasItsCodeItsLineAndNothingAfterIt) {
    const FailureCase& expected = GetParam();
    if (expected.state == State::kConnected) connect();
    if (expected.state == State::kGrabbing) connectAndGrab();
    sdk.fail(expected.operation, 11, "timeout");

    EXPECT_EQ(expected.act(*camera), expected.code);

    EXPECT_EQ(log.lines(), expected.lines);
    EXPECT_EQ(callsAfter(expected.operation), expected.calls);
    for (const LogRecord& record : log.records()) EXPECT_EQ(record.file, "CameraImpl.cpp");
}

INSTANTIATE_TEST_SUITE_P(All, CameraFailure, testing::ValuesIn(kFailures),
                         testing::PrintToStringParamName());

TEST_F(CameraFixture, AFailedConnectLeavesTheCameraDisconnectedAndUnsubscribed) {
    sdk.fail("createEventSubscribe", 11, "timeout");
    EXPECT_EQ(camera->connect(), 2);
    EXPECT_FALSE(camera->isConnected());
    EXPECT_FALSE(device->raiseConnect(1));
}

TEST_F(CameraFixture, AFailedStartLeavesTheCameraNotGrabbing) {
    connect();
    for (const char* operation : {"createStreamSource", "setBufferCount", "startGrabbing"}) {
        sdk.fail(operation, 11, "timeout");
        EXPECT_FALSE(camera->startGrabbing(4)) << operation;
        EXPECT_FALSE(camera->isGrabbing()) << operation;
        EXPECT_EQ(camera->clearFrameBuffer(), 9) << operation;
        sdk.reset();
    }
}

TEST_F(CameraFixture, OperationsOnAStreamNeedOne) {
    EXPECT_EQ(camera->getFrame(10), nullptr);
    EXPECT_EQ(camera->clearFrameBuffer(), 9);
    camera->stopGrabbing();
    EXPECT_EQ(log.lines(),
              (Lines{"300 getFrame: camera is not grabbing, streamSource is null",
                     "300 clearFrameBuffer: camera is not grabbing, streamSource is null"}));
    EXPECT_EQ(sdk.journal(), Calls{});
}

}  // namespace
}  // namespace kestro::test
