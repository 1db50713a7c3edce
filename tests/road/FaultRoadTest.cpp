// SPDX-License-Identifier: Apache-2.0
//
// The library and a camera that goes wrong by plan.
#include "RoadFixture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <mutex>

namespace kestro::test {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

kestrosim::CameraOptions with(const std::vector<const char*>& faults) {
    kestrosim::CameraOptions options = roadOptions();
    options.width = 320;
    options.height = 240;
    for (const char* fault : faults) kestrosim::addFault(options.faults, fault);
    return options;
}

/** What the connection callback was told: 1 online, 0 offline. Outlives the camera. */
class States {
 public:
    void add(int state) {
        const std::lock_guard lock(mutex_);
        states_.push_back(state);
    }
    std::vector<int> seen() {
        const std::lock_guard lock(mutex_);
        return states_;
    }
    void watch(Camera& camera) {
        camera.registerConnectCallback([this](const ConnectEventArg& event) { add(event.state); });
    }

 private:
    std::mutex mutex_;
    std::vector<int> states_;  // guarded by mutex_
};

// Answers

struct Case {
    const char* name;
    std::vector<const char*> faults;
};

std::string nameOf(const testing::TestParamInfo<Case>& tested) { return tested.param.name; }

class AnswerFaults : public testing::TestWithParam<Case> {};

const Case kAnswerFaults[] = {
    {"Missing", {"missing-ack=0.2"}},
    {"Late", {"late-ack=0.2", "ack-delay=260ms"}},
    {"Pending", {"pending-ack=0.2", "ack-delay=230ms"}},
    {"AllOfThem", {"missing-ack=0.05", "late-ack=0.1", "pending-ack=0.1", "ack-delay=100ms"}},
};

TEST_P(AnswerFaults, NeitherMixUpValuesNorRepeatOrders) {
    constexpr int kTimes = 8;
    States states;
    Road road(with(GetParam().faults));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    states.watch(*camera);
    ParameterInt delay(camera, "GevSCPD");
    ParameterString name(camera, "DeviceUserID");
    for (int i = 1; i <= kTimes; ++i) {
        std::int64_t ticks = 0;
        std::string text;
        ASSERT_TRUE(delay.setValue(std::int64_t{i}));
        ASSERT_TRUE(name.setValue("reader " + std::to_string(i)));
        ASSERT_TRUE(delay.getValue(ticks));
        ASSERT_TRUE(name.getValue(text));
        EXPECT_EQ(ticks, i);
        EXPECT_EQ(text, "reader " + std::to_string(i));
    }
    ASSERT_TRUE(ParameterEnum(camera, "TriggerMode").setValue(std::string("On")));
    ASSERT_TRUE(camera->startGrabbing(0));
    for (int i = 1; i <= kTimes; ++i) {
        ASSERT_TRUE(ParameterCommand(camera, "TriggerSoftware").execute());
        const auto frame = camera->getFrame(5000);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->getBlockId(), static_cast<std::uint64_t>(i));
    }
    camera->stopGrabbing();
    EXPECT_EQ(road.device().statistics().framesSent, std::uint64_t{kTimes});
    EXPECT_GT(road.device().statistics().answerFaults, 0U);
    EXPECT_THAT(states.seen(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Road, AnswerFaults, testing::ValuesIn(kAnswerFaults), nameOf);

// The connection

class ConnectionLosses : public testing::TestWithParam<Case> {};

const Case kLosses[] = {
    {"HeartbeatIgnored", {"heartbeat-ignored"}},
    {"ControlLost", {"lose-control@5"}},
    {"CableOut", {"disconnect@5=10min"}},
    {"PowerOff", {"power-cycle@5=10min"}},
};

TEST_P(ConnectionLosses, AreToldOnce) {
    States states;
    Road road(with(GetParam().faults));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    states.watch(*camera);
    ASSERT_TRUE(camera->startGrabbing(0));
    ASSERT_TRUE(eventually([&] { return !states.seen().empty(); }));
    camera->disconnect();
    const auto seen = states.seen();
    for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], i % 2 == 0 ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Road, ConnectionLosses, testing::ValuesIn(kLosses), nameOf);

TEST(ShortDisconnect, OnlyCostsItsFrames) {
    States states;
    Road road(with({"disconnect@10=300ms"}));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    states.watch(*camera);
    ASSERT_TRUE(camera->startGrabbing(0));
    std::uint64_t last = 0;
    while (last < 40) {
        const auto frame = camera->getFrame(5000);
        ASSERT_TRUE(frame);
        ASSERT_GT(frame->getBlockId(), last);
        last = frame->getBlockId();
    }
    std::int64_t lost = 0;
    EXPECT_TRUE(ParameterInt(camera, "StreamLostFrameCount").getValue(lost));
    EXPECT_GT(lost, 5);
    EXPECT_THAT(states.seen(), IsEmpty());
}

// The stream

/** Block ids and timestamps of so many frames. */
std::vector<std::pair<std::uint64_t, std::uint64_t>> framesOf(Camera& camera, std::size_t count) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> frames;
    while (frames.size() < count) {
        const auto frame = camera.getFrame(5000);
        if (!frame) break;
        frames.emplace_back(frame->getBlockId(), frame->getTimestamp());
    }
    return frames;
}

TEST(BlockIdRestart, LosesNoFrame) {
    Road road(with({"block-id-restart@5", "block-id-restart@45"}));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(camera->startGrabbing(0));
    const auto frames = framesOf(*camera, 60);
    camera->stopGrabbing();
    ASSERT_EQ(frames.size(), 60U);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::size_t before = i < 5 ? 0 : i < 45 ? 5 : 45;
        EXPECT_EQ(frames[i].first, i + 1 - before);
        EXPECT_TRUE(i == 0 || frames[i].second > frames[i - 1].second);  // none is an old one
    }
    EXPECT_THAT(RecordingLogger::instance().lines(0, 1000),
                Contains(HasSubstr("camera restarts 2")));
}

TEST(ClockJump, IsPassedOnAsTheCameraSaysIt) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    Road road(with({"clock-jump@10=100s", "clock-jump@20=-50s", "clock-jump@30=-1000s"}));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(camera->startGrabbing(0));
    const auto frames = framesOf(*camera, 40);
    ASSERT_EQ(frames.size(), 40U);
    const auto step = [&](std::size_t i) {
        return static_cast<std::int64_t>(frames[i].second - frames[i - 1].second);
    };
    for (std::size_t i = 1; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].first, i + 1);
        EXPECT_EQ(step(i) > 90 * kSecond, i == 10);
        EXPECT_EQ(step(i) < 0, i == 20 || i == 30);
    }
}

// Events

std::size_t residentBytes() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(EventFlood, IsToldInAFewCallsToOneWhoIsSlow) {
    constexpr std::uint64_t kEvents = 100'000;
    std::atomic<int> updates{0};
    std::atomic<bool> isOver{false};
    Road road(with({"event-flood@5=100000"}));
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    camera->registerParamUpdateCallback([&](const ParamUpdateEventArg& /*update*/) {
        ++updates;
        static_cast<void>(eventually([&] { return isOver.load(); }, 60s));
    });
    ASSERT_TRUE(ParameterEnum(camera, "EventSelector").setValue(std::string("FrameTrigger")));
    ASSERT_TRUE(ParameterEnum(camera, "EventNotification").setValue(std::string("On")));
    const std::size_t before = residentBytes();
    ASSERT_TRUE(camera->startGrabbing(0));
    const auto frames = framesOf(*camera, 20);
    EXPECT_EQ(frames.size(), 20U);
    EXPECT_TRUE(eventually([&] { return road.device().statistics().eventsSent >= kEvents; }, 60s));
    EXPECT_LT(residentBytes(), before + (64U << 20));
    camera->stopGrabbing();
    isOver = true;
    EXPECT_TRUE(eventually([&] { return updates > 1; }));
    camera->disconnect();
    EXPECT_LT(updates, 1000);
}

}  // namespace
}  // namespace kestro::test
