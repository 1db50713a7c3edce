// SPDX-License-Identifier: Apache-2.0
#include "CameraFixture.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <ostream>
#include <stdexcept>
#include <thread>

namespace kestro::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

using FrameCallback = std::function<void(const std::shared_ptr<Frame>&)>;

// Lines about callbacks only; making a frame may write others.
Lines callbackLines(const RecordingLogger& log) {
    Lines lines = log.lines();
    std::erase_if(lines, [](const std::string& line) {
        return line.find("onFrameEvent") == std::string::npos;
    });
    return lines;
}

class FrameEvents : public CameraFixture {
 protected:
    void grabWith(FrameCallback callback) {
        connect();
        camera->registerFrameCallback(std::move(callback));
        ASSERT_EQ(camera->startGrabbing(0), 0);
        sdk.clearJournal();
    }
    std::ptrdiff_t clockReadings() const {
        const Calls calls = sdk.journal();
        return std::count(calls.begin(), calls.end(), "getCurrentMicroSecond");
    }
};

TEST_F(FrameEvents, BindingFollowsTheCallbackWhileGrabbing) {
    connectAndGrab();
    EXPECT_EQ(camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {}), 0);
    EXPECT_EQ(camera->registerFrameCallback(FrameCallback()), 0);
    EXPECT_EQ(sdk.journal(), (Calls{"attachGrabbing(handler 1)", "detachGrabbing(handler 1)"}));
}

TEST_F(FrameEvents, BindingAsksNotWhetherTheStreamGrabs) {
    connectAndGrab();
    sdk.fail("isGrabbing", 0, std::nullopt);
    camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {});
    EXPECT_EQ(sdk.journal(), Calls{"attachGrabbing(handler 1)"});
}

TEST_F(FrameEvents, RegisteringWithoutAStreamAsksNothingOfTheDevice) {
    EXPECT_EQ(camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {}), 0);
    EXPECT_EQ(camera->registerFrameCallback(nullptr), 0);
    EXPECT_EQ(sdk.journal(), Calls{});
}

TEST_F(FrameEvents, ACallbackThatIsRemovedDuringAStartLeavesTheFramesToPolling) {
    connect();
    camera->registerFrameCallback([](const std::shared_ptr<Frame>&) { FAIL(); });
    sdk.before("attachGrabbing", [&] { camera->registerFrameCallback(nullptr); });
    ASSERT_EQ(camera->startGrabbing(0), 0);
    device->deliver(frame(3));
    const auto polled = camera->getFrame(0);
    ASSERT_TRUE(polled);
    EXPECT_EQ(polled->getBlockId(), 3U);
}

TEST_F(FrameEvents, EveryFrameReachesTheCallback) {
    std::vector<std::uint64_t> ids;
    grabWith([&](const std::shared_ptr<Frame>& frame) { ids.push_back(frame->getBlockId()); });
    device->deliver(frame(3));
    device->deliver(frame(5));
    EXPECT_THAT(ids, ElementsAre(3, 5));
    EXPECT_EQ(callbackLines(log), Lines{}) << "level 800 is off";
    EXPECT_EQ(clockReadings(), 2) << "the end of a call is timed only for its trace line";
}

TEST_F(FrameEvents, ACallIsTracedWithItsTimeFromBeforeTheFrameWasMade) {
    log.setEnabledLevel(800);
    grabWith([&](const std::shared_ptr<Frame>&) { sdk.advanceClock(1500); });
    FrameContent content;
    content.image = {1};
    content.payloadTypes = {4};
    content.chunks.push_back({1, {}, ChunkContent::Answer::kTrue});
    content.beforeChunk = [&] { sdk.advanceClock(200); };
    device->deliver(makeFrame(std::move(content)));

    EXPECT_THAT(callbackLines(log),
                ElementsAre(MatchesRegex("800 onFrameEvent: Enter : Caller Frame Callback, "
                                         "SerialNumber=\\[Acme:1001\\], "
                                         "CurrentProcessorNumber=\\[[0-9]+\\]"),
                            "800 onFrameEvent: Exit : Caller Frame Callback, "
                            "Elapsed-time=[1700]us, SerialNumber=[Acme:1001]"));
    EXPECT_EQ(clockReadings(), 2);
}

TEST_F(FrameEvents, TheTraceLevelIsAskedTwiceBeforeALine) {
    int before = 0;
    grabWith([&](const std::shared_ptr<Frame>&) { before = log.questions(); });
    device->deliver(frame());
    EXPECT_EQ(log.questions() - before, 1) << "a first no needs no second question";

    log.setEnabledLevel(800);
    device->deliver(frame());
    EXPECT_EQ(log.questions() - before, 2);
}

TEST_F(FrameEvents, AFrameWithoutCallbackIsDroppedUnmade) {
    grabWith([](const std::shared_ptr<Frame>&) { FAIL(); });
    sdk.fail("detachGrabbing", 11, "timeout");  // so that frames still come
    camera->registerFrameCallback(nullptr);
    sdk.clearJournal();
    FrameContent content;
    content.chunks.resize(1);
    content.payloadTypes = {4};
    content.beforeChunk = [] { FAIL() << "a frame was made"; };
    EXPECT_TRUE(device->deliver(makeFrame(std::move(content))));
    EXPECT_EQ(sdk.journal(), Calls{}) << "not even the time was asked";
}

TEST_F(FrameEvents, AFrameThatCannotBeMadeReachesNobody) {
    log.setEnabledLevel(800);
    bool called = false;
    grabWith([&](const std::shared_ptr<Frame>&) { called = true; });
    FrameContent invalid;
    invalid.isValid = false;
    device->deliver(makeFrame(std::move(invalid)));
    EXPECT_FALSE(called);
    EXPECT_EQ(callbackLines(log), Lines{});
}

TEST_F(FrameEvents, AnExceptionOfTheCallbackCostsALineAndTheExitLineIsStillWritten) {
    log.setEnabledLevel(800);
    grabWith([](const std::shared_ptr<Frame>&) { throw std::runtime_error("no disk"); });
    EXPECT_TRUE(device->deliver(frame()));
    const Lines lines = callbackLines(log);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], "300 onFrameEvent: exception in frame callback. [no disk]");
    EXPECT_THAT(lines[2], testing::StartsWith("800 onFrameEvent: Exit : "));
}

// What a callback may do to its own camera, on the device SDK's thread.
struct Reentry {
    const char* name;
    void (*act)(std::shared_ptr<CameraImpl>& camera);
    bool grabsAfterwards;
};

std::ostream& operator<<(std::ostream& out, const Reentry& reentry) { return out << reentry.name; }

class FrameReentry : public FrameEvents, public testing::WithParamInterface<Reentry> {};

TEST_P(FrameReentry, IsAllowed) {
    int calls = 0;
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> kept = captured;
    grabWith([this, &calls, captured](const std::shared_ptr<Frame>&) {
        ++calls;
        GetParam().act(camera);
        ++*captured;  // the running callback outlives its registration
    });
    captured.reset();
    auto grabbing = std::async(std::launch::async, [&] { device->deliver(frame()); });
    ASSERT_EQ(grabbing.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(kept.expired());
    EXPECT_EQ(camera && camera->isGrabbing(), GetParam().grabsAfterwards);
    device->deliver(frame());
    EXPECT_EQ(calls, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Callback, FrameReentry,
    testing::Values(Reentry{"Unregisters",
                            [](std::shared_ptr<CameraImpl>& camera) {
                                camera->registerFrameCallback(nullptr);
                            },
                            true},
                    Reentry{"Replaces",
                            [](std::shared_ptr<CameraImpl>& camera) {
                                camera->registerFrameCallback([](const std::shared_ptr<Frame>&) {});
                            },
                            true},
                    Reentry{"StopsAndUnregisters",
                            [](std::shared_ptr<CameraImpl>& camera) {
                                camera->stopGrabbing();
                                camera->registerFrameCallback(nullptr);
                            },
                            false},
                    Reentry{"Disconnects",
                            [](std::shared_ptr<CameraImpl>& camera) {
                                camera->registerFrameCallback(nullptr);
                                camera->disconnect();
                            },
                            false},
                    Reentry{"DropsTheLastReference",
                            [](std::shared_ptr<CameraImpl>& camera) { camera.reset(); }, false}),
    testing::PrintToStringParamName());

// The callback has stopped the stream, so that there is none left whose end could be waited for.
TEST_F(FrameEvents, NoFrameCallbackRunsWhenItsEndWasWaitedFor) {
    const std::function<void()> endings[] = {[&] { camera->stopGrabbing(); },
                                             [&] { camera->registerFrameCallback(nullptr); },
                                             [&] { camera->disconnect(); }};
    for (const auto& end : endings) {
        std::promise<void> isStopped;
        std::promise<void> mayGoOn;
        std::atomic<bool> isOver{false};
        grabWith([&](const std::shared_ptr<Frame>&) {
            camera->stopGrabbing();
            isStopped.set_value();
            mayGoOn.get_future().wait_for(kDeadline);
            isOver = true;
        });
        auto delivery = std::async(std::launch::async, [&] { device->deliver(frame()); });
        ASSERT_EQ(isStopped.get_future().wait_for(kDeadline), std::future_status::ready);
        auto ending = std::async(std::launch::async, [&] {
            end();
            return isOver.load();
        });
        // Time for one that does not wait; too little of it lets a fault pass, never the reverse.
        ending.wait_for(std::chrono::milliseconds(50));
        mayGoOn.set_value();
        EXPECT_TRUE(ending.get());
        camera->disconnect();
    }
}

TEST_F(CameraFixture, ConnectionChangesAreLoggedAndTold) {
    connect();
    std::vector<std::int32_t> states;
    camera->registerConnectCallback([&](const ConnectEventArg& event) {
        states.push_back(event.state);
        EXPECT_TRUE(std::all_of(std::begin(event.reserved), std::end(event.reserved),
                                [](std::uint8_t byte) { return byte == 0; }));
    });
    device->connected = false;
    device->raiseConnect(0);
    device->connected = true;
    device->raiseConnect(1);
    device->raiseConnect(7);
    EXPECT_THAT(states, ElementsAre(0, 1, 0));
    EXPECT_EQ(log.lines(),
              (Lines{"700 onConnectEvent: camera connect state changed: [offline], [DisConnected]",
                     "700 onConnectEvent: camera connect state changed: [online], [Connected]",
                     "700 onConnectEvent: camera connect state changed: [offline], [Connected]"}));
}

TEST_F(CameraFixture, ConnectionChangesAreLoggedWithoutACallbackToo) {
    connect();
    camera->registerConnectCallback([](const ConnectEventArg&) { FAIL(); });
    camera->registerConnectCallback(nullptr);
    EXPECT_TRUE(device->raiseConnect(1));
    EXPECT_EQ(log.lines(),
              Lines{"700 onConnectEvent: camera connect state changed: [online], [Connected]"});
}

TEST_F(CameraFixture, EachNameOfAnUpdateIsACallOfItsOwn) {
    std::vector<std::string> names;
    EXPECT_EQ(camera->registerParamUpdateCallback([&](const ParamUpdateEventArg& event) {
        names.emplace_back(event.name);
        EXPECT_TRUE(std::all_of(std::begin(event.reserved), std::end(event.reserved),
                                [](std::uint8_t byte) { return byte == 0; }));
        if (names.size() == 1) camera->registerParamUpdateCallback(nullptr);
        if (names.size() == 2) throw std::runtime_error("full");
    }),
              0);
    connect();
    EXPECT_TRUE(device->raiseUpdates({}));
    EXPECT_TRUE(names.empty());
    device->raiseUpdates({"Width", "", "OffsetX"});
    EXPECT_THAT(names, ElementsAre("Width", "", "OffsetX")) << "all by the one that was set then";
    EXPECT_EQ(log.lines(),
              Lines{"300 onParamUpdateEvent: exception in param update callback. [full]"});
    device->raiseUpdates({"Height"});
    EXPECT_EQ(names.size(), 3U);
}

TEST_F(CameraFixture, EventCallbacksMayDropTheirCamera) {
    connect();
    camera->registerConnectCallback([&](const ConnectEventArg& event) {
        camera->registerConnectCallback(nullptr);
        if (event.state == 0) camera->disconnect();
        camera.reset();
        throw 42;
    });
    auto raised = std::async(std::launch::async, [&] { return device->raiseConnect(0); });
    ASSERT_EQ(raised.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(camera, nullptr);
    EXPECT_THAT(log.lines().back(),
                EndsWith("onConnectEvent: exception in connect callback. [unknown exception]"));
    EXPECT_FALSE(device->raiseConnect(1));
}

TEST_F(CameraFixture, WhatACallbackCapturedIsDestroyedUnderNoLock) {
    std::shared_ptr<void> asksOnItsWayOut(
        nullptr, [this](void*) { camera->registerConnectCallback(nullptr); });
    camera->registerConnectCallback([last = std::move(asksOnItsWayOut)](const ConnectEventArg&) {});
    auto replaced = std::async(std::launch::async, [&] {
        return camera->registerConnectCallback([](const ConnectEventArg&) {}).getCode();
    });
    ASSERT_EQ(replaced.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(replaced.get(), 0);
}

}  // namespace
}  // namespace kestro::test
