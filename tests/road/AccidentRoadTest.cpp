// SPDX-License-Identifier: Apache-2.0
//
// Frames over a network on which packets meet with accidents: an image comes with every byte that
// the camera sent, or it does not come and is counted.
#include "RoadFixture.h"
#include "Stamp.h"

#include <gmock/gmock.h>

#include <atomic>
#include <mutex>
#include <ostream>
#include <set>

namespace kestro::test {
namespace {

using namespace std::chrono_literals;
using kestrosim::PacketFaults;
using testing::IsEmpty;

constexpr std::int64_t kFrames = 150;
/** Asking again helps against nearly all of it, but a busy machine loses some by itself. */
constexpr std::int64_t kMostLost = kFrames / 3;

/** What a callback saw of the frames. */
class Audit {
 public:
    void take(const Frame& frame) {
        const std::string problem =
            stampProblem(static_cast<const std::uint8_t*>(frame.getImageData()),
                         frame.getImageSize(), frame.getBlockId());
        const std::lock_guard lock(mutex_);
        ids_.insert(frame.getBlockId());
        if (!problem.empty()) problems_.push_back(problem);
        ++frames_;
    }
    [[nodiscard]] std::vector<std::string> problems() const {
        const std::lock_guard lock(mutex_);
        return problems_;
    }
    [[nodiscard]] std::int64_t frames() const {
        const std::lock_guard lock(mutex_);
        return frames_;
    }
    [[nodiscard]] std::int64_t blocks() const {
        const std::lock_guard lock(mutex_);
        return static_cast<std::int64_t>(ids_.size());
    }

 private:
    mutable std::mutex mutex_;
    std::vector<std::string> problems_;  // guarded by mutex_, as all
    std::set<std::uint64_t> ids_;
    std::int64_t frames_ = 0;
};

/** Of frames whose last packet was cut: nothing on the wire tells its size, but the decoder does.
 */
std::int64_t decodeErrors() {
    return static_cast<std::int64_t>(RecordingLogger::instance().lines(300, 300).size());
}

struct Accident {
    const char* name;
    PacketFaults faults;
    kestrosim::ResultFormat format = kestrosim::ResultFormat::container;
};

void PrintTo(const Accident& accident, std::ostream* out) { *out << accident.name; }

class Accidents : public testing::TestWithParam<Accident> {};

TEST_P(Accidents, CostFramesAtMostAndNeverAByte) {
    kestrosim::CameraOptions options = roadOptions();
    options.framesPerSecond = 60;
    options.stampsImages = true;
    options.format = GetParam().format;
    options.faults.packets = GetParam().faults;
    Audit audit;  // outlives the camera
    Road road(options);
    const auto camera = road.camera();
    ASSERT_TRUE(camera);
    ASSERT_TRUE(ParameterInt(camera, "GevSCPSPacketSize").setValue(1500));
    ASSERT_TRUE(ParameterEnum(camera, "AcquisitionMode").setValue(std::string("MultiFrame")));
    ASSERT_TRUE(ParameterInt(camera, "AcquisitionFrameCount").setValue(kFrames));
    camera->registerFrameCallback([&](const auto& frame) { audit.take(*frame); });
    ASSERT_TRUE(camera->startGrabbing(32));
    std::int64_t delivered = 0, lost = 0;
    EXPECT_TRUE(eventually(
        [&] {
            static_cast<void>(
                ParameterInt(camera, "StreamDeliveredFrameCount").getValue(delivered));
            static_cast<void>(ParameterInt(camera, "StreamLostFrameCount").getValue(lost));
            return delivered + lost >= kFrames && audit.frames() + decodeErrors() >= delivered;
        },
        20s));
    camera->stopGrabbing();
    const auto statistics = road.device().statistics();
    EXPECT_EQ(statistics.framesSent, kFrames);
    EXPECT_EQ(statistics.framesStamped, kFrames);
    EXPECT_EQ(delivered + lost, kFrames);
    EXPECT_LE(audit.frames(), delivered);
    EXPECT_GE(audit.frames() + decodeErrors(), delivered);
    EXPECT_EQ(audit.blocks(), audit.frames()) << "each once";
    EXPECT_THAT(audit.problems(), IsEmpty());
    EXPECT_LE(lost, kMostLost);
    EXPECT_LE(decodeErrors(), kMostLost);
    // 214 packets a frame: no more is asked for again than a few times what is missing.
    EXPECT_LT(statistics.packetsResent, 214U * kFrames / 2);
}

constexpr Accident kAccidents[] = {
    {"Loss", {.loss = 0.02}},
    {"Reorder", {.reorder = 0.05}},
    {"Duplicate", {.duplicate = 0.05}},
    {"Delay", {.delay = 0.02}},
    {"Truncate", {.truncate = 0.02}},
    {"TruncatedPicture", {.truncate = 0.05}, kestrosim::ResultFormat::none},
    {"TruncatedChunks", {.truncate = 0.05}, kestrosim::ResultFormat::chunk},
    {"WrongSize", {.wrongSize = 0.02}},
    {"Foreign", {.foreign = 0.05}},
    {"All",
     {.loss = 0.01,
      .reorder = 0.01,
      .duplicate = 0.01,
      .delay = 0.01,
      .truncate = 0.01,
      .wrongSize = 0.01,
      .foreign = 0.01}},
};

INSTANTIATE_TEST_SUITE_P(Of, Accidents, testing::ValuesIn(kAccidents),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace kestro::test
