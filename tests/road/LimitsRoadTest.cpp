// SPDX-License-Identifier: Apache-2.0
//
// The library at its limits: consumers that are slow, greedy or do what they like in their
// callback, and connections that come and go. KESTRO_CYCLES sets how often (50).
#include "RoadFixture.h"

#include <kestro/kestro_c.h>

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace kestro::test {
namespace {

kestrosim::CameraOptions smallAndFast() {
    kestrosim::CameraOptions options = roadOptions();
    options.width = options.height = 64;
    options.framesPerSecond = 500;
    options.scenes = 1;
    return options;
}

// What consumers do

TEST(Consumer, ThatIsSlowLosesTheOldestFramesAndTheirNumberIsKnown) {
    constexpr std::uint64_t kFrames = 100;
    constexpr std::uint64_t kBuffers = 4;
    Road road(smallAndFast());
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(ParameterEnum(camera, "TriggerMode").setValue(std::string("On")));
    ASSERT_TRUE(camera->startGrabbing(kBuffers));
    const ParameterInt delivered(camera, "StreamDeliveredFrameCount");
    const ParameterInt lost(camera, "StreamLostFrameCount");
    for (std::uint64_t sent = 1; sent <= kFrames; ++sent) {
        ASSERT_TRUE(ParameterCommand(camera, "TriggerSoftware").execute());
        ASSERT_TRUE(eventually([&] { return road.device().statistics().framesSent == sent; }));
    }
    std::int64_t count = 0;
    EXPECT_TRUE(eventually([&] { return lost.getValue(count) && count == kFrames - kBuffers; }));
    for (std::uint64_t id = kFrames - kBuffers + 1; id <= kFrames; ++id) {
        const auto frame = camera->getFrame(5000);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->getBlockId(), id);
    }
    EXPECT_EQ(camera->getFrame(0), nullptr);
    EXPECT_TRUE(delivered.getValue(count));
    EXPECT_EQ(count, static_cast<std::int64_t>(kBuffers));
}

// A frame has an image of its own: who keeps a thousand takes no buffer from the stream.
TEST(Consumer, MayKeepAThousandFrames) {
    constexpr std::size_t kFrames = 1000;
    kestrosim::CameraOptions options = smallAndFast();
    options.width = options.height = 256;  // the first frames are given away, the others copied
    Road road(options);
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    std::vector<std::shared_ptr<Frame>> kept;
    std::vector<std::uint8_t> lastBytes;
    ASSERT_TRUE(camera->startGrabbing(16));
    while (kept.size() < kFrames) {
        auto frame = camera->getFrame(5000);
        ASSERT_TRUE(frame);
        lastBytes.push_back(frame->getImageData()[frame->getImageSize() - 1]);
        kept.push_back(std::move(frame));
    }
    for (std::size_t i = 0; i < kFrames; ++i) {
        EXPECT_EQ(kept[i]->getImageData()[kept[i]->getImageSize() - 1], lastBytes[i]);
        EXPECT_GT(kept[i]->getBlockId(), i > 0 ? kept[i - 1]->getBlockId() : 0);
    }
    kept.clear();
    EXPECT_TRUE(camera->getFrame(5000));
}

/** What a frame callback does with the handle that it gets as its `user`. */
struct Act {
    const char* name;
    void (*work)(void* handle);
    bool isReleased = false;
};
std::ostream& operator<<(std::ostream& out, const Act& act) { return out << act.name; }

std::atomic<int> calls{0};
std::atomic<int> callsOfOther{0};
std::atomic<bool> isDone{false};
const Act* current = nullptr;

void countOther(const kstFrameInfo*, void*) { ++callsOfOther; }

void actOnce(const kstFrameInfo*, void* handle) {
    if (calls.fetch_add(1) != 0) return;
    current->work(handle);
    isDone = true;
}

class CallbackOfC : public testing::TestWithParam<Act> {
 protected:
    /** A handle whose camera object nobody else holds. */
    void* makeHandle() {
        kstDeviceList list;
        EXPECT_EQ(kstEnumDevices(&list, 0), 0);
        void* const handle = kstCreateDevice(options.serial.c_str(), KST_BY_SERIAL_NUMBER);
        EXPECT_EQ(kstEnumDevices(&list, 0), 0);
        return handle;
    }

    const kestrosim::CameraOptions options = smallAndFast();
    kestrosim::SimulatedCamera device{options};
};

TEST_P(CallbackOfC, MayDoWhatItLikesToItsOwnCamera) {
    ::setenv("KESTRO_DISCOVERY_TIMEOUT_MS", "200", 1);
    current = &GetParam();
    calls = callsOfOther = 0;
    isDone = false;
    void* const handle = makeHandle();
    ASSERT_EQ(kstOpenDevice(handle), 0);
    ASSERT_EQ(kstRegisterFrameCallback(handle, actOnce, handle), 0);
    ASSERT_EQ(kstStartGrabbing(handle, 0), 0);
    ASSERT_TRUE(eventually([] { return isDone.load(); }));
    EXPECT_TRUE(!GetParam().isReleased || kstOpenDevice(handle) == KST_ERROR_HANDLE);
    // The camera can be had again, at once, and brings frames.
    void* const again = GetParam().isReleased ? makeHandle() : handle;
    ASSERT_EQ(kstCloseDevice(again), 0);
    ASSERT_EQ(kstOpenDevice(again), 0);
    ASSERT_EQ(kstRegisterFrameCallback(again, countOther, nullptr), 0);
    ASSERT_EQ(kstStartGrabbing(again, 0), 0);
    const int seen = callsOfOther;
    EXPECT_TRUE(eventually([&] { return callsOfOther > seen; }));
    EXPECT_EQ(kstCloseDevice(again), 0);
    kstReleaseHandle(again);
}

INSTANTIATE_TEST_SUITE_P(
    Each, CallbackOfC,
    testing::Values(Act{"Closes", [](void* handle) { kstCloseDevice(handle); }},
                    Act{"ClosesAndReleases",
                        [](void* handle) {
                            kstCloseDevice(handle);
                            kstReleaseHandle(handle);
                        },
                        true},
                    Act{"Releases", [](void* handle) { kstReleaseHandle(handle); }, true},
                    Act{"RegistersAnother",
                        [](void* handle) {
                            kstRegisterFrameCallback(handle, countOther, nullptr);
                        }},
                    Act{"StartsAnew",
                        [](void* handle) {
                            kstStopGrabbing(handle);
                            kstStartGrabbing(handle, 2);
                        }}),
    testing::PrintToStringParamName());

// Connections that come and go

struct Footprint {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    std::size_t residentKb = 0;
};

std::ptrdiff_t entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

Footprint footprint() {
    std::size_t total = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), resident * 4};
}

/** Repeats `work`: as many descriptors and threads in the end, and in the long run no more memory.
 */
template <typename Work>
void repeat(const Work& work) {
    constexpr int kLongRun = 1000;
    const char* const wanted = std::getenv("KESTRO_CYCLES");
    const int cycles = wanted ? std::atoi(wanted) : 50;
    for (int i = 0; i < cycles / 10; ++i) work();  // what is made once is made now
    const Footprint early = footprint();
    for (int i = cycles / 10; i < cycles && !testing::Test::HasFailure(); ++i) work();
    EXPECT_TRUE(eventually([&] { return footprint().threads <= early.threads; }));
    const Footprint late = footprint();
    std::cout << cycles << " cycles: " << late.descriptors << " descriptors, " << late.threads
              << " threads, " << early.residentKb << " to " << late.residentKb << " kB\n";
    EXPECT_EQ(late.descriptors, early.descriptors);
    const bool isLongRun = cycles >= kLongRun;
    EXPECT_TRUE(!isLongRun || late.residentKb <= early.residentKb + early.residentKb / 20);
}

TEST(Cycles, OfConnectingLeaveNothingBehind) {
    Road road(smallAndFast());
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    repeat([&] {
        camera->disconnect();
        ASSERT_FALSE(camera->isConnected());
        ASSERT_TRUE(camera->connect());
    });
}

TEST(Cycles, OfGrabbingLeaveNothingBehind) {
    Road road(smallAndFast());
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    repeat([&] {
        ASSERT_TRUE(camera->startGrabbing(2));
        ASSERT_TRUE(camera->getFrame(5000));
        camera->stopGrabbing();
    });
}

}  // namespace
}  // namespace kestro::test
