// SPDX-License-Identifier: Apache-2.0
//
// What goes wrong with a camera by plan, as a client on the wire sees it.
#include <gtest/gtest.h>

#include <set>

#include "RawStream.h"

namespace rawclient {
namespace {

using kestrosim::CameraOptions;
using kestrosim::FaultPlan;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kControl = 0x0a00;
constexpr std::uint32_t kHeartbeat = 0x0938;
constexpr std::uint32_t kMacHigh = 0x0008;
constexpr std::uint32_t kMacLow = 0x000c;
constexpr std::uint32_t kReadRegister = 0x0080;
constexpr auto kPatience = std::chrono::seconds(20);

CameraOptions with(std::initializer_list<const char*> faults) {
    CameraOptions options = TestCamera::small();
    for (const char* fault : faults) kestrosim::addFault(options.faults, fault);
    return options;
}

// Answers

/** The ids of the answers to so many questions, in the order in which they come. */
std::vector<std::uint64_t> answersTo(const std::string& camera, std::uint32_t questions) {
    const Socket socket;
    for (std::uint32_t id = 1; id <= questions; ++id) {
        socket.send(Bytes{0x42, 0x01} + be16(kReadRegister) + be16(4) + be16(id) + be32(kHeartbeat),
                    camera);
    }
    // DISCOVERY, which is always answered: after it, no answer of before is under way.
    socket.send(Bytes{0x42, 0x01} + be16(0x0002) + be16(0) + be16(questions + 1), camera);
    std::vector<std::uint64_t> ids;
    while (const auto received = socket.receive()) {
        ids.push_back(number(received->bytes, 6, 2));
        if (ids.back() == questions + 1) break;
    }
    return ids;
}

TEST(AnswerFaults, AreTheSameWithTheSameSeed) {
    const auto idsWith = [](std::uint64_t seed) {
        CameraOptions options = with({"missing-ack=0.3"});
        options.faults.seed = seed;
        const TestCamera camera(options);
        const auto ids = answersTo(camera.options.address, 200);
        EXPECT_EQ(camera.camera->statistics().answerFaults, 201 - ids.size());
        return ids;
    };
    const auto once = idsWith(7);
    EXPECT_EQ(once, idsWith(7));
    EXPECT_NE(once, idsWith(8));
    EXPECT_NEAR(static_cast<double>(once.size()), 141, 30);
}

TEST(AnswerFaults, LetLaterAnswersOvertakeOne) {
    const TestCamera camera(with({"late-ack=0.5", "ack-delay=100ms"}));
    const Socket socket;
    std::multiset<std::uint64_t> asked;
    for (std::uint32_t id = 1; id <= 40; ++id) {
        asked.insert(id);
        socket.send(Bytes{0x42, 0x01} + be16(kReadRegister) + be16(4) + be16(id) + be32(kHeartbeat),
                    camera.options.address);
    }
    std::vector<std::uint64_t> ids;
    while (ids.size() < asked.size()) {
        const auto received = socket.receive();
        ASSERT_TRUE(received);
        ids.push_back(number(received->bytes, 6, 2));
    }
    EXPECT_FALSE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_EQ(std::multiset<std::uint64_t>(ids.begin(), ids.end()), asked);
}

TEST(AnswerFaults, AskForTime) {
    const TestCamera camera(with({"pending-ack=1", "ack-delay=70ms"}));
    const Socket socket;
    const Bytes question =
        Bytes{0x42, 0x01} + be16(kReadRegister) + be16(4) + be16(9) + be32(kHeartbeat);
    socket.send(question, camera.options.address);
    const auto first = socket.receive();
    const auto second = socket.receive();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->bytes, be16(0) + be16(0x0089) + be16(4) + be16(9) + be16(0) + be16(70));
    EXPECT_EQ(second->bytes, be16(0) + be16(0x0081) + be16(4) + be16(9) + be32(3000));
}

TEST(AnswerFaults, TakeNoQuestionForASignOfLife) {
    const TestCamera camera(with({"heartbeat-ignored"}));
    Client client(camera.options.address);
    ASSERT_EQ(client.write(kControl, 2), 0U);
    ASSERT_EQ(client.write(kHeartbeat, 300), 0U);
    const auto deadline = Clock::now() + kPatience;
    while (client.read(kControl) != 0) ASSERT_LT(Clock::now(), deadline);
}

// Incidents

class Incidents : public Stream {
 protected:
    void run(std::initializer_list<const char*> faults) {
        open(with(faults));
        set({{kStart, 1}});
    }
    std::vector<std::uint64_t> nextBlocks(std::size_t count) {
        std::vector<std::uint64_t> blocks;
        while (blocks.size() < count) blocks.push_back(nextFrame().packets.front().block);
        return blocks;
    }
    [[nodiscard]] kestrosim::CameraStatistics statistics() const {
        return camera_->camera->statistics();
    }
};

TEST_F(Incidents, LeaveAHoleInTheStreamWhileTheCableIsOut) {
    run({"disconnect@3=200ms"});
    EXPECT_EQ(nextBlocks(3), (std::vector<std::uint64_t>{1, 2, 3}));
    const auto deadline = Clock::now() + kPatience;
    while (client_->command(kReadRegister, be32(kHeartbeat), 30).status == 0) {
        ASSERT_LT(Clock::now(), deadline);
    }
    const auto after = nextBlocks(2);
    EXPECT_GT(after[0], 4U);  // the camera itself went on
    EXPECT_EQ(after[1], after[0] + 1);
    EXPECT_EQ(client_->read(kHeartbeat), 60000U);
    EXPECT_EQ(statistics().incidents, 1U);
}

TEST_F(Incidents, SwitchTheCameraOffAndOnAtAnotherAddress) {
    const std::string there = "127.0.2." + std::to_string(::getpid() % 250 + 2);
    open(with({("power-cycle@3=50ms," + there).c_str()}));
    const std::uint32_t mac[] = {client_->read(kMacHigh), client_->read(kMacLow)};
    set({{kWidth, 64}, {kStart, 1}});
    EXPECT_EQ(nextBlocks(3).back(), 3U);
    const auto before = statistics();
    Client client(there);
    const auto deadline = Clock::now() + kPatience;
    while (client.command(kReadRegister, be32(kControl), 50).status != 0) {
        ASSERT_LT(Clock::now(), deadline);
    }
    EXPECT_EQ(client.read(kControl), 0U);
    EXPECT_EQ(client.read(kWidth), 320U);
    EXPECT_EQ(client.read(0x0024), addressNumber(there));
    EXPECT_EQ(client.read(kMacHigh), mac[0]);
    EXPECT_EQ(client.read(kMacLow), mac[1]);
    EXPECT_EQ(client_->command(kReadRegister, be32(kControl), 50).status, 0xffffffffU);
    const auto after = statistics();
    EXPECT_GE(after.framesSent, 3U);
    EXPECT_GE(after.blockId, 3U);
    EXPECT_GT(after.commandsAnswered, before.commandsAnswered);
    EXPECT_GE(after.registersWritten, before.registersWritten);
    EXPECT_EQ(after.incidents, 1U);
}

TEST_F(Incidents, EndWithTheCamera) {
    const auto begin = Clock::now();
    for (const char* fault : {"power-cycle@0ms=1000min", "disconnect@0ms=1000min"}) {
        const TestCamera camera(with({fault, "clock-jump@1000min=1s"}));
        while (camera.camera->statistics().incidents == 0)
            ASSERT_LT(Clock::now(), begin + kPatience);
    }
}

TEST_F(Incidents, RestartTheBlockIds) {
    run({"block-id-restart@3", "block-id-restart@4"});
    EXPECT_EQ(nextBlocks(7), (std::vector<std::uint64_t>{1, 2, 3, 1, 1, 2, 3}));
}

TEST_F(Incidents, MoveTheClock) {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    run({"clock-jump@2=1000s", "clock-jump@4=-500s", "clock-jump@6=-5000s"});
    std::vector<std::uint64_t> times;
    for (int i = 0; i < 7; ++i) times.push_back(nextFrame().timestamp());
    EXPECT_LT(times[1], 900 * kSecond);
    EXPECT_GT(times[2], 1000 * kSecond);
    EXPECT_GT(times[4], 500 * kSecond);
    EXPECT_LT(times[4], times[3]);
    EXPECT_LT(times[6], 400 * kSecond);  // not before it was switched on
}

TEST_F(Incidents, FloodTheMessageChannel) {
    const Socket messages;
    open(with({"event-flood@1=2000"}));
    set({{0x0b10, addressNumber("127.0.0.1")},
         {0x0b14, 5000},
         {0x0b00, messages.port()},
         {0x10250 + 4 * 3, 1},  // ReadingDone
         {kAcquisitionMode, 0},
         {kStart, 1}});
    std::set<std::uint64_t> ids;
    while (ids.size() < 2001) {  // and the one of the frame
        const auto message = messages.receive();
        ASSERT_TRUE(message) << ids.size();
        EXPECT_EQ(number(message->bytes, 10, 2), 0x9004U);
        ids.insert(number(message->bytes, 6, 2));
    }
    EXPECT_EQ(statistics().eventsSent, 2001U);
}

TEST_F(Incidents, TakeTheControlAway) {
    run({"lose-control@2"});
    EXPECT_EQ(nextBlocks(2).back(), 2U);
    const auto deadline = Clock::now() + kPatience;
    while (client_->read(kControl) != 0) ASSERT_LT(Clock::now(), deadline);
    EXPECT_EQ(client_->read(0x0d00), 0U);
    EXPECT_EQ(client_->write(kWidth, 64), 0x8006U);
}

}  // namespace
}  // namespace rawclient
