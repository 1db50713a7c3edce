// SPDX-License-Identifier: Apache-2.0
//
// The message channel against a scripted camera on loopback.
#include "MessageChannel.h"

#include "ControlChannel.h"
#include "LastError.h"
#include "RecordingLogger.h"
#include "ScriptedCamera.h"
#include "UdpSocket.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <future>
#include <mutex>

namespace Vorda::Gige {
namespace {

using kestro::test::ControlRequest;
using kestro::test::eventually;
using kestro::test::Octets;
using kestro::test::RecordingLogger;
using kestro::test::ScriptedCamera;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr Ipv4 kHost{0x7f000001};
constexpr std::uint32_t kChannelCount = 0x900;
constexpr std::uint32_t kMessagePort = 0xb00;
constexpr std::uint32_t kMessageDestination = 0xb10;
constexpr std::uint32_t kMessageSourcePort = 0xb1c;
constexpr std::uint16_t kEvent = 0xc0;
constexpr std::uint16_t kEventData = 0xc2;
constexpr std::uint8_t kAnswerWanted = 1;
constexpr std::uint8_t kExtended = 0x10;
constexpr std::uint16_t kRefused = 0x8006;

/** A camera with a message channel, and what an application hears of it. */
struct MessageChannelTest : testing::Test {
    MessageChannelTest() {
        camera.setRegister(kChannelCount, 1);
        camera.setRegister(kMessageSourcePort, camera.messagePort());
        control = ControlChannel::open(kHost, Ipv4{camera.address()});
    }
    ~MessageChannelTest() override {
        if (channel) channel->close(*control);
    }

    [[nodiscard]] bool open() {
        MessageSetup setup;
        setup.host = kHost;
        setup.camera = Ipv4{camera.address()};
        setup.data = data;
        setup.featuresOf = [](std::uint32_t id) -> std::vector<std::string> {
            if (id == 0x9001) return {"EventStart", "EventStartTimestamp"};
            if (id == 0x9002) return {"EventEnd"};
            return {};
        };
        setup.onEvent = [this](const std::vector<std::string>& names) { onEvent(names); };
        channel = MessageChannel::open(*control, std::move(setup));
        return channel != nullptr;
    }
    void onEvent(const std::vector<std::string>& names) {
        char thread[16] = "";
        pthread_getname_np(pthread_self(), thread, sizeof thread);
        {
            const std::lock_guard lock(mutex);
            threadName = thread;
            heard.push_back(names);
        }
        if (hook) hook();
    }
    /** What was heard once the camera has this many answers and openers. */
    std::vector<std::vector<std::string>> heardAfterAnswers(std::size_t count) {
        EXPECT_TRUE(eventually([&] { return camera.messageAnswers().size() >= count; }));
        channel->close(*control);
        const std::lock_guard lock(mutex);
        return heard;
    }
    /** The registers that were written, and what, in order. */
    [[nodiscard]] std::vector<std::pair<std::uint32_t, std::uint32_t>> writes() const {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> written;
        for (const ControlRequest& each : camera.requests()) {
            if (each.command == 0x82) written.emplace_back(each.word(0), each.word(4));
        }
        return written;
    }

    ScriptedCamera camera;
    std::shared_ptr<ControlChannel> control;
    std::shared_ptr<EventData> data = std::make_shared<EventData>();
    std::unique_ptr<MessageChannel> channel;
    std::function<void()> hook;
    std::mutex mutex;
    std::vector<std::vector<std::string>> heard;
    std::string threadName;
};

Octets event(std::uint16_t id, const Octets& data = {}, std::size_t headerBytes = 16) {
    Octets bytes{0, 0, static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)};
    bytes.resize(headerBytes, 0x5a);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Octets operator+(Octets first, const Octets& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Octets answerTo(std::uint16_t command, std::uint16_t id) {
    return ScriptedCamera::acknowledge(0, static_cast<std::uint16_t>(command + 1), id);
}

const Octets kOpener{0};
const std::vector<std::string> kStartNames{"EventStart", "EventStartTimestamp"};
const std::vector<std::string> kEndNames{"EventEnd"};

TEST_F(MessageChannelTest, TellsTheCameraItsPortLastAndTakesItBack) {
    ASSERT_TRUE(open()) << lastErrorMessage();
    const std::uint32_t port = camera.registerAt(kMessagePort);
    EXPECT_NE(0u, port);
    channel->close(*control);
    channel->close(*control);
    EXPECT_THAT(writes(), ElementsAre(Pair(kMessageDestination, kHost.value),
                                      Pair(kMessagePort, port), Pair(kMessagePort, 0u)));
    EXPECT_TRUE(eventually([&] { return !camera.messageAnswers().empty(); }));
    EXPECT_THAT(camera.messageAnswers(), ElementsAre(kOpener));
}

TEST_F(MessageChannelTest, HandsOnWhatTheDescriptionKnows) {
    std::vector<Octets> endDataWhenTold;  // of the channel's thread until it is closed
    hook = [&] { endDataWhenTold.push_back(data->latest(0x9002)); };
    ASSERT_TRUE(open());
    const Octets start = event(0x9001);
    const Octets end = event(0x9002, {1, 2, 3, 4}, 24);
    camera.sendMessage(
        ScriptedCamera::message(kAnswerWanted, kEvent, 1, event(0x9002) + event(0x7777) + start));
    camera.sendMessage(ScriptedCamera::message(0, kEventData, 2, event(0x7778, {1})));
    camera.sendMessage(ScriptedCamera::message(kAnswerWanted | kExtended, kEventData, 3, end));
    EXPECT_THAT(heardAfterAnswers(3), ElementsAre(kEndNames, kStartNames, kEndNames));
    EXPECT_THAT(endDataWhenTold, ElementsAre(event(0x9002), event(0x9002), end));
    EXPECT_EQ(start, data->latest(0x9001));
    EXPECT_THAT(data->latest(0x7777), IsEmpty());
    EXPECT_THAT(data->latest(0x7778), IsEmpty());
    EXPECT_THAT(camera.messageAnswers(),
                ElementsAre(kOpener, answerTo(kEvent, 1), answerTo(kEventData, 3)));
    EXPECT_EQ("kst-message", threadName);
}

TEST_F(MessageChannelTest, CountsARepeatedMessageOnceAndAnswersItAgain) {
    ASSERT_TRUE(open());
    const auto send = [this](std::uint16_t id, std::uint16_t eventId) {
        camera.sendMessage(ScriptedCamera::message(kAnswerWanted, kEvent, id, event(eventId)));
    };
    send(1, 0x9001);
    send(2, 0x9002);
    send(1, 0x9001);  // again
    send(3, 0x9002);  // the same event, another message
    send(1, 0x9002);  // the same id, another message
    EXPECT_THAT(heardAfterAnswers(6), ElementsAre(kStartNames, kEndNames, kEndNames, kEndNames));
    EXPECT_THAT(camera.messageAnswers(),
                ElementsAre(kOpener, answerTo(kEvent, 1), answerTo(kEvent, 2), answerTo(kEvent, 1),
                            answerTo(kEvent, 3), answerTo(kEvent, 1)));
}

TEST_F(MessageChannelTest, DropsWhatIsNotFromTheCameraOrMalformed) {
    ASSERT_TRUE(open());
    const Octets good = ScriptedCamera::message(kAnswerWanted, kEvent, 1, event(0x9001));
    UdpSocket stranger;
    ASSERT_TRUE(stranger.open({kHost, 0}));
    const auto port = static_cast<std::uint16_t>(camera.registerAt(kMessagePort));
    ASSERT_TRUE(stranger.sendTo(good, {kHost, port}));
    for (std::size_t bytes = 0; bytes < good.size(); ++bytes)
        camera.sendMessage(Octets(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(bytes)));
    camera.sendMessage(Octets(60000, 0x42));
    camera.sendMessage(ScriptedCamera::message(kAnswerWanted, kEvent, 2, event(0x9002)));
    EXPECT_THAT(heardAfterAnswers(2), ElementsAre(kEndNames));
    EXPECT_THAT(camera.messageAnswers(), ElementsAre(kOpener, answerTo(kEvent, 2)));
}

TEST_F(MessageChannelTest, MayBeClosedAndDroppedOnItsOwnThread) {
    std::promise<void> opened;
    std::atomic<bool> isGone{false};
    hook = [&] {
        opened.get_future().wait();
        channel->close(*control);
        channel.reset();
        isGone = true;
    };
    ASSERT_TRUE(open());
    opened.set_value();
    camera.sendMessage(ScriptedCamera::message(0, kEvent, 1, event(0x9001)));
    EXPECT_TRUE(eventually([&] { return isGone.load(); }));
    EXPECT_EQ(0u, camera.registerAt(kMessagePort));
}

/** A camera that gives no messages; the register that refuses, 0: it counts no channel. */
struct SilentChannelTest : MessageChannelTest, testing::WithParamInterface<std::uint32_t> {};

TEST_P(SilentChannelTest, StaysSilentAndDoesNotFail) {
    RecordingLogger::instance().reset();
    if (GetParam() == 0)
        camera.setRegister(kChannelCount, 0);
    else
        camera.refuse(GetParam(), kRefused);
    ASSERT_TRUE(open()) << lastErrorMessage();
    EXPECT_EQ(0u, camera.registerAt(kMessagePort));
    const std::size_t before = camera.requests().size();
    channel->close(*control);
    EXPECT_EQ(before, camera.requests().size());
    const std::size_t lines = RecordingLogger::instance().lines(0, 800).size();
    EXPECT_EQ(GetParam() == 0 ? 0u : 1u, lines);
}

INSTANTIATE_TEST_SUITE_P(Refusals, SilentChannelTest,
                         testing::Values(0u, kChannelCount, kMessageDestination, kMessagePort));

TEST_F(MessageChannelTest, DoesWithoutASourcePort) {
    camera.refuse(kMessageSourcePort, kRefused);
    ASSERT_TRUE(open());
    camera.sendMessage(ScriptedCamera::message(kAnswerWanted, kEvent, 1, event(0x9001)));
    EXPECT_THAT(heardAfterAnswers(1), ElementsAre(kStartNames));
}

TEST_F(MessageChannelTest, FailsWithTheConnection) {
    ASSERT_TRUE(control->takeControl({}));
    camera.setSilent(true);
    EXPECT_FALSE(open());
    EXPECT_EQ(Error::connectionLost, static_cast<Error>(Infra::getLastError()));
    camera.setSilent(false);
}

}  // namespace
}  // namespace Vorda::Gige
