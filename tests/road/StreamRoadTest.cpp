// SPDX-License-Identifier: Apache-2.0
//
// Features and frames at once, over the network.
#include "RoadFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <mutex>
#include <utility>

namespace kestro::test {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

// Many threads on one camera

/** Block ids as the frame callback saw them. */
class BlockIds {
 public:
    void add(std::uint64_t id) {
        const std::lock_guard lock(mutex_);
        ids_.push_back(id);
    }
    std::vector<std::uint64_t> take() {
        const std::lock_guard lock(mutex_);
        return ids_;
    }
    std::size_t count() {
        const std::lock_guard lock(mutex_);
        return ids_.size();
    }

 private:
    std::mutex mutex_;
    std::vector<std::uint64_t> ids_;  // guarded by mutex_
};

/** Writes one of two values and reads: what is read is always one of the two, never a mixture. */
template <typename Feature, typename Value>
void hammer(Feature feature, const Value& one, const Value& other, std::atomic<bool>& stop,
            std::atomic<int>& wrong) {
    for (unsigned i = 0; !stop; ++i) {
        Value seen{};
        if (feature.setValue(i % 2 == 0 ? one : other).isFailure()) ++wrong;
        if (feature.getValue(seen).isFailure()) ++wrong;
        if (seen != one && seen != other) ++wrong;
    }
}

TEST(ManyThreads, ReadAndWriteFeaturesWhileEveryFrameArrives) {
    constexpr std::size_t kFrames = 150;
    Road road;
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    BlockIds ids;
    camera->registerFrameCallback([&](const auto& frame) { ids.add(frame->getBlockId()); });
    ASSERT_TRUE(camera->startGrabbing(32));
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            hammer(ParameterString(camera, "DeviceUserID"), std::string(16, 'A'),
                   std::string(16, 'B'), stop, wrong);
        });
        threads.emplace_back([&] {
            hammer(ParameterFloat(camera, "ExposureTime"), 1000.0, 123456.75, stop, wrong);
        });
        threads.emplace_back([&] {
            hammer(ParameterInt(camera, "GevSCPD"), std::int64_t{0}, std::int64_t{1}, stop, wrong);
        });
        threads.emplace_back([&] {
            while (!stop) {
                std::vector<std::string> names;
                std::string symbol;
                if (ParameterGroup(camera, "AcquisitionControl").getChildren(names).isFailure() ||
                    ParameterEnum(camera, "AcquisitionMode").getValue(symbol).isFailure() ||
                    symbol != "Continuous")
                    ++wrong;
            }
        });
    }
    EXPECT_TRUE(eventually([&] { return ids.count() >= kFrames; }, 30s));
    stop = true;
    for (std::thread& thread : threads) thread.join();
    camera->stopGrabbing();
    EXPECT_EQ(wrong, 0);
    const auto seen = ids.take();
    for (std::size_t i = 0; i < seen.size(); ++i) ASSERT_EQ(seen[i], i + 1);
    EXPECT_THAT(RecordingLogger::instance().lines(300, 400), IsEmpty());
}

// Counters and events

TEST(StreamCounters, AreFeaturesThatKeepTheirLastValues) {
    Road road;
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(camera->startGrabbing(0));
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(camera->getFrame(5000));
    camera->stopGrabbing();
    std::int64_t delivered = 0, lost = -1;
    EXPECT_TRUE(ParameterInt(camera, "StreamDeliveredFrameCount").getValue(delivered));
    EXPECT_TRUE(ParameterInt(camera, "StreamLostFrameCount").getValue(lost));
    EXPECT_GE(delivered, 5);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(Parameter(camera, "StreamLostFrameCount").getAccessibility(), 3u);
}

/** The names that the feature-update callback was told, with a value read in the callback. */
class Updates {
 public:
    void add(std::string name) {
        const std::lock_guard lock(mutex_);
        names_.push_back(std::move(name));
    }
    bool has(const std::string& name) {
        const std::lock_guard lock(mutex_);
        return std::find(names_.begin(), names_.end(), name) != names_.end();
    }

 private:
    std::mutex mutex_;
    std::vector<std::string> names_;  // guarded by mutex_
};

TEST(FeatureUpdates, TellOfWritesPolledFeaturesAndTheCamerasEvents) {
    Updates updates;  // outlives the camera
    std::atomic<std::int64_t> frameId{0};
    Road road;
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    camera->registerParamUpdateCallback([&](const ParamUpdateEventArg& update) {
        const std::string name = update.name;
        std::int64_t value = 0;
        if (name == "EventReadingDoneFrameID" &&
            ParameterInt(camera, "EventReadingDoneFrameID").getValue(value))
            frameId = value;
        updates.add(name);
    });
    EXPECT_TRUE(ParameterInt(camera, "Width").setValue(320));
    EXPECT_TRUE(eventually([&] { return updates.has("Width") && updates.has("OffsetX"); }));

    EXPECT_TRUE(ParameterEnum(camera, "EventSelector").setValue(std::string("ReadingDone")));
    EXPECT_TRUE(ParameterEnum(camera, "EventNotification").setValue(std::string("On")));
    ASSERT_TRUE(camera->startGrabbing(0));
    EXPECT_TRUE(eventually([&] { return frameId > 0; }));
    EXPECT_TRUE(eventually([&] { return updates.has("ReaderFrameCount"); }));  // polled
    camera->stopGrabbing();
    camera->registerParamUpdateCallback(nullptr);
}

// Packet size

constexpr std::uint64_t kPacketSizeRegister = 0xd04;

/** The packet size while the camera streams, once this was done between connect and start. */
template <typename Prepare>
std::int64_t packetSizeAfter(const Prepare& prepare) {
    Road road;
    const auto camera = road.camera();
    std::int64_t bytes = 0;
    if (!camera || !prepare(camera) || !camera->startGrabbing(0)) return 0;
    EXPECT_TRUE(camera->getFrame(5000));
    EXPECT_TRUE(ParameterInt(camera, "GevSCPSPacketSize").getValue(bytes));
    bool isWhole = false;
    EXPECT_TRUE(ParameterBool(camera, "GevSCPSDoNotFragment").getValue(isWhole) && isWhole);
    camera->stopGrabbing();
    return bytes;
}

using Prepared = const std::shared_ptr<Camera>&;

// The camera, as it is switched on, has 1500 and takes 9000; the loopback interface takes more.
TEST(PacketSize, IsTheLargestAndTheApplicationIsToldOfIt) {
    Updates updates;  // outlives the camera
    EXPECT_EQ(packetSizeAfter([&](Prepared camera) {
                  camera->registerParamUpdateCallback(
                      [&](const ParamUpdateEventArg& update) { updates.add(update.name); });
                  return true;
              }),
              9000);
    EXPECT_TRUE(eventually([&] { return updates.has("GevSCPSPacketSize"); }));
}

TEST(PacketSize, IsWhatTheApplicationSetsInWhateverWay) {
    EXPECT_EQ(packetSizeAfter([](Prepared camera) {
                  return ParameterInt(camera, "GevSCPSPacketSize").setValue(1500);
              }),
              1500);
    EXPECT_EQ(packetSizeAfter([](Prepared camera) {
                  return ParameterRegister(camera, kPacketSizeRegister).setValue(0x40000000 + 1400);
              }),
              1400);
    const std::string path = testing::TempDir() + "packets-" + std::to_string(::getpid());
    std::ofstream(path) << "# {05D8C294-F295-4dfb-9D01-096BD04049F4}\nGevSCPSPacketSize\t1500\n";
    EXPECT_EQ(
        packetSizeAfter([&](Prepared camera) { return camera->loadDeviceConfig(path.c_str()); }),
        1500);
    ::unlink(path.c_str());
}

}  // namespace
}  // namespace kestro::test
