// SPDX-License-Identifier: Apache-2.0
#include "CameraFixture.h"

#include <future>

namespace kestro::test {
namespace {

using Acquisition = CameraFixture;

TEST_F(Acquisition, StartMakesTheStreamAndSetsTheBuffers) {
    connect();
    EXPECT_FALSE(camera->isGrabbing());
    EXPECT_EQ(camera->startGrabbing(5), 0);
    EXPECT_EQ(sdk.journal(),
              (Calls{"createStreamSource(0)", "setBufferCount(5)", "startGrabbing(0, 0)"}));
    EXPECT_TRUE(camera->isGrabbing());
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Acquisition, ACountOfZeroOrLessKeepsTheDefault) {
    connect();
    for (const std::int32_t count : {0, -1}) {
        sdk.clearJournal();
        EXPECT_EQ(camera->startGrabbing(count), 0);
        EXPECT_EQ(sdk.journal(), (Calls{"createStreamSource(0)", "startGrabbing(0, 0)"}));
        camera->stopGrabbing();
    }
}

TEST_F(Acquisition, StartWithACallbackAttachesTheHandlerAfterTheStart) {
    connect();
    camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {});
    EXPECT_EQ(camera->startGrabbing(0), 0);
    EXPECT_EQ(sdk.journal(),
              (Calls{"createStreamSource(0)", "startGrabbing(0, 0)", "attachGrabbing(handler 1)"}));
}

TEST_F(Acquisition, TheStreamIsStoredOnlyAfterASuccessfulStart) {
    connect();
    bool grabbing = true;
    sdk.before("startGrabbing", [&] { grabbing = camera->clearFrameBuffer().isOK(); });
    EXPECT_EQ(camera->startGrabbing(0), 0);
    EXPECT_FALSE(grabbing);
}

TEST_F(Acquisition, ASecondStartIsRefusedAndChangesNothing) {
    connectAndGrab();
    EXPECT_EQ(camera->startGrabbing(5), 8);
    EXPECT_EQ(sdk.journal(), Calls{"isGrabbing"});
    EXPECT_EQ(log.lines(), Lines{"700 startGrabbing: the camera is already grabbing."});
    EXPECT_TRUE(camera->isGrabbing());
}

TEST_F(Acquisition, AStreamThatEndedByItselfIsStartedAgain) {
    connectAndGrab();
    sdk.fail("isGrabbing", 0, std::nullopt);
    EXPECT_EQ(camera->startGrabbing(3), 0);
    EXPECT_EQ(sdk.journal(), (Calls{"isGrabbing", "setBufferCount(3)", "startGrabbing(0, 0)"}));
}

TEST_F(Acquisition, StopAttachesTheHandlerOnceMore) {
    connectAndGrab();
    bool grabbing = true;
    sdk.before("stopGrabbing", [&] { grabbing = camera->isGrabbing(); });
    camera->stopGrabbing();
    EXPECT_EQ(sdk.journal(),
              (Calls{"stopGrabbing", "attachGrabbing(handler 1)", "~IStreamSource"}));
    EXPECT_FALSE(grabbing) << "the device was stopped before the camera said so";
    EXPECT_FALSE(camera->isGrabbing());
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Acquisition, FramesArePolledInTheirOrder) {
    connectAndGrab();
    ASSERT_TRUE(device->deliver(frame(7)));
    ASSERT_TRUE(device->deliver(frame(8)));
    const auto first = camera->getFrame(0);
    const auto second = camera->getFrame(250);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->getBlockId(), 7U);
    EXPECT_EQ(second->getBlockId(), 8U);
    EXPECT_EQ(sdk.journal(), (Calls{"getFrame(0)", "getFrame(250)"}));
}

TEST_F(Acquisition, AClearedBufferHasNoFrames) {
    connectAndGrab();
    device->deliver(frame());
    EXPECT_EQ(camera->clearFrameBuffer(), 0);
    EXPECT_EQ(camera->getFrame(0), nullptr);
    EXPECT_EQ(log.lines(),
              Lines{"300 getFrame: get frame error. [code: 0x0000000b, msg: timeout.]"});
}

TEST_F(Acquisition, StopInAnotherThreadEndsTheWaitForAFrame) {
    connectAndGrab();
    std::promise<void> waits;
    sdk.before("getFrame", [&] { waits.set_value(); });
    auto polled = std::async(std::launch::async, [&] { return camera->getFrame(60'000); });
    ASSERT_EQ(waits.get_future().wait_for(kDeadline), std::future_status::ready);

    camera->stopGrabbing();

    ASSERT_EQ(polled.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(polled.get(), nullptr);
    EXPECT_EQ(log.lines(),
              Lines{"300 getFrame: get frame error. [code: 0x0000000b, msg: stopped.]"});
}

TEST_F(Acquisition, PollingStartingAndStoppingInSeveralThreadsIsSafe) {
    connect();
    std::atomic<bool> over{false};
    auto poll = [&] {
        while (!over) {
            camera->isGrabbing();
            camera->getFrame(0);
            camera->clearFrameBuffer();
        }
    };
    auto poller = std::async(std::launch::async, poll);
    auto producer = std::async(std::launch::async, [&] {
        while (!over) device->deliver(frame());
    });
    for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(camera->startGrabbing(2), 0);
        camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {});
        camera->registerFrameCallback(nullptr);
        camera->stopGrabbing();
    }
    over = true;
    EXPECT_EQ(poller.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(producer.wait_for(kDeadline), std::future_status::ready);
}

}  // namespace
}  // namespace kestro::test
