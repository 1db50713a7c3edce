// SPDX-License-Identifier: Apache-2.0
//
// A camera that goes away and comes back while the application does nothing about it.
#include "RoadFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace kestro::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

bool hasLoggedReturnTo(const std::string& address) {
    const auto lines = RecordingLogger::instance().lines(400, 400);
    return std::ranges::any_of(lines, [&](const std::string& line) {
        return line.find("the camera is back") != std::string::npos &&
               line.find(address) != std::string::npos;
    });
}

/** One that a slow machine draws quickly, too. */
kestrosim::CameraOptions plainOptions() {
    auto options = roadOptions();
    options.width = 320;
    options.height = 240;
    options.scenes = 1;
    options.framesPerSecond = 20;
    return options;
}

/** A camera that is switched off and on, and the library's connection to it. */
class Outage : public testing::Test {
 protected:
    void SetUp() override {
        ::setenv("KESTRO_INTERFACES", "lo", 1);
        ::setenv("KESTRO_DISCOVERY_TIMEOUT_MS", "200", 1);
        RecordingLogger::instance().reset();
        switchOn(options_);
        std::vector<std::shared_ptr<Camera>> found;
        ASSERT_TRUE(System::getInstance().discovery(found, 0));
        camera_ = System::getInstance().getCamera(options_.serial.c_str(), System::SerialNumber);
        ASSERT_TRUE(camera_);
        camera_->registerConnectCallback([this](const ConnectEventArg& event) {
            const std::lock_guard lock(mutex_);
            events_.push_back(event.state == 1);
        });
        ASSERT_TRUE(camera_->connect());
    }
    void TearDown() override {
        if (camera_) camera_->disconnect();
    }

    void switchOn(const kestrosim::CameraOptions& options) { device_.emplace(options); }
    void switchOff() { device_.reset(); }
    std::vector<bool> events() {
        const std::lock_guard lock(mutex_);
        return events_;
    }
    bool awaitEvents(std::size_t count) {
        return eventually([&] { return events().size() >= count; });
    }
    /** Until the loss and the return were both reported. */
    void goAndComeBack(const kestrosim::CameraOptions& as) {
        switchOff();
        ASSERT_TRUE(awaitEvents(1));
        switchOn(as);
        ASSERT_TRUE(awaitEvents(2));
        EXPECT_THAT(events(), ElementsAre(false, true));
    }
    std::int64_t reconnectCount() {
        std::int64_t count = -1;
        EXPECT_TRUE(ParameterInt(camera_, "StreamReconnectCount").getValue(count));
        return count;
    }

    const kestrosim::CameraOptions options_ = plainOptions();
    std::optional<kestrosim::SimulatedCamera> device_;
    std::shared_ptr<Camera> camera_;
    std::mutex mutex_;
    std::vector<bool> events_;  // guarded by mutex_
};

TEST_F(Outage, EndsByItselfAndTheStreamGoesOn) {
    std::atomic<int> frames{0};
    camera_->registerFrameCallback([&](const auto&) { ++frames; });
    ASSERT_TRUE(camera_->startGrabbing(8));
    ASSERT_TRUE(eventually([&] { return frames > 2; }));
    switchOff();
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_FALSE(camera_->isConnected());
    EXPECT_TRUE(camera_->isGrabbing());
    const int before = frames;
    switchOn(options_);
    ASSERT_TRUE(awaitEvents(2));
    EXPECT_THAT(events(), ElementsAre(false, true));
    EXPECT_TRUE(camera_->isConnected());
    EXPECT_TRUE(eventually([&] { return frames > before + 2; }));
    EXPECT_EQ(1, reconnectCount());
    camera_->stopGrabbing();
    ASSERT_TRUE(camera_->startGrabbing(8));
    EXPECT_EQ(0, reconnectCount());
    EXPECT_TRUE(eventually([&] { return hasLoggedReturnTo(options_.address); }));
}

TEST(PowerCycle, EndsAtAnotherAddress) {
    auto options = plainOptions();
    kestrosim::Incident incident{kestrosim::Incident::Kind::powerCycle};
    incident.atFrame = 3;
    incident.lasts = 1200ms;
    incident.address = options.address;
    incident.address.replace(incident.address.rfind('.') + 1, std::string::npos, "254");
    options.faults.incidents.push_back(incident);
    Road road(options);
    ASSERT_TRUE(road.camera());
    ASSERT_TRUE(ParameterFloat(road.camera(), "ExposureTime").setValue(1234.5));
    ASSERT_TRUE(road.camera()->startGrabbing(8));
    ASSERT_TRUE(eventually([&] { return !road.camera()->isConnected(); }));
    ASSERT_TRUE(eventually([&] { return road.camera()->isConnected(); }));
    EXPECT_TRUE(road.camera()->getFrame(5000));
    double exposure = 0;
    EXPECT_TRUE(ParameterFloat(road.camera(), "ExposureTime").getValue(exposure));
    EXPECT_EQ(1234.5, exposure);
    EXPECT_TRUE(eventually([&] { return hasLoggedReturnTo(incident.address); }));
}

TEST_F(Outage, IsNothingToALoopThatTakesFrames) {
    ASSERT_TRUE(camera_->startGrabbing(8));
    std::atomic<bool> isOver{false};
    std::atomic<int> frames{0};
    std::thread loop([&] {
        while (!isOver)
            if (camera_->getFrame(20)) ++frames;
    });
    EXPECT_TRUE(eventually([&] { return frames > 2; }));
    for (std::size_t outage = 1; outage <= 2; ++outage) {
        switchOff();
        EXPECT_TRUE(awaitEvents(2 * outage - 1));
        const int before = frames;
        switchOn(options_);
        EXPECT_TRUE(eventually([&] { return frames > before + 2; }));
        EXPECT_TRUE(awaitEvents(2 * outage));
    }
    isOver = true;
    loop.join();
    EXPECT_EQ(2, reconnectCount());
}

/** What an application may do at any moment of an outage, and of its end. */
TEST_F(Outage, MayBeLeftAtAnyMoment) {
    const auto seed = static_cast<unsigned>(std::random_device{}());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&random](int most) {
        return std::uniform_int_distribution<int>(0, most)(random);
    };
    for (int round = 0; round < 6; ++round) {
        const int way = pick(2);
        SCOPED_TRACE("round " + std::to_string(round) + ", way " + std::to_string(way));
        std::atomic<int> frames{0};
        camera_->registerFrameCallback([&](const auto&) { ++frames; });
        ASSERT_TRUE(camera_->startGrabbing(8));
        ASSERT_TRUE(eventually([&] { return frames > 0; }));
        const std::size_t seen = events().size();
        switchOff();
        if (pick(1) == 0) {
            ASSERT_TRUE(awaitEvents(seen + 1));
        }
        // A moment is a time, whatever the camera is at then.
        std::thread power([this, after = std::chrono::milliseconds(pick(400))] {
            std::this_thread::sleep_for(after);
            switchOn(options_);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(pick(900)));
        if (way != 1) camera_->stopGrabbing();
        if (way != 0) camera_->disconnect();
        const int delivered = frames;
        power.join();
        EXPECT_EQ(delivered, frames);
        EXPECT_FALSE(camera_->isGrabbing());
        if (way == 0) camera_->disconnect();
        ASSERT_TRUE(eventually([&] { return !camera_->connect().isFailure(); }));
    }
}

}  // namespace
}  // namespace kestro::test
