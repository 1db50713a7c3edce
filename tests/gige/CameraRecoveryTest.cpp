// SPDX-License-Identifier: Apache-2.0
//
// A connected camera that is lost and comes back, scripted.
#include "LastError.h"
#include "ModelStore.h"
#include "PlatedCamera.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <random>
#include <set>
#include <thread>
#include <utility>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using kestro::test::ControlRequest;
using kestro::test::eventually;
using kestro::test::Reaction;
using testing::Contains;
using testing::HasSubstr;

constexpr std::uint32_t kPrivilege = 0xa00;
constexpr std::uint32_t kController = 0xa14;
constexpr std::uint32_t kPacketSize = 0xd04;
constexpr std::uint16_t kDiscovery = 0x0002;
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kWriteRegister = 0x0082;

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

/** A connected camera that says who controls it, and its listener. */
class CameraRecovery : public testing::Test {
 protected:
    CameraRecovery() {
        ::setenv("KESTRO_INTERFACES", "lo", 1);
        kestro::test::RecordingLogger::instance().reset();
        subscription = camera->events().subscribe();
        EXPECT_TRUE(subscription->subscribeConnectArgs(
            GenICam::ConnectBinding::toMember<&ConnectionListener::onConnect>(listener)));
    }
    void connect() { ASSERT_TRUE(camera->connect(2)) << lastErrorMessage(); }
    /** Gives its controller up, as a camera does that was restarted. */
    void giveUp() { scripted.setRegister(kPrivilege, 0); }
    /** Is free for a moment and then controlled by another program, at 127.0.0.77. */
    void beTaken() {
        scripted.setRegister(kController, 0x7f00004d);
        scripted.script([this](const ControlRequest& request) {
            const bool isPrivilege = !request.payload.empty() && request.word(0) == kPrivilege;
            if (isPrivilege && request.command == kWriteRegister) {
                ++refusedOrders;
                return Reaction{{{ScriptedCamera::acknowledge(0x8006, 0x0083, request.id)}}};
            }
            Reaction ordinary = scripted.ordinaryReaction(request);
            if (isPrivilege) scripted.setRegister(kPrivilege, 2);
            return ordinary;
        });
        giveUp();
    }
    [[nodiscard]] std::size_t questionsFor(std::uint32_t address) const {
        const auto requests = scripted.requests();
        return static_cast<std::size_t>(std::ranges::count_if(requests, [&](const auto& each) {
            return each.command == kReadRegister && each.word(0) == address;
        }));
    }
    /** How often it was asked at its address where it is. */
    [[nodiscard]] std::size_t searches() const {
        const auto requests = scripted.requests();
        return static_cast<std::size_t>(
            std::ranges::count(requests, kDiscovery, &ControlRequest::command));
    }
    bool awaitReturn(int number = 1) {
        return eventually([&] { return listener->online == number; });
    }

    PlatedCamera scripted;
    const std::shared_ptr<GigeCamera> camera = cameraFor(scripted);
    const std::shared_ptr<ConnectionListener> listener = std::make_shared<ConnectionListener>();
    std::shared_ptr<GenICam::IEventSubscribe> subscription;
    std::atomic<int> refusedOrders{0};
};

TEST_F(CameraRecovery, ReportsTheLossOnceAndThenTheReturn) {
    connect();
    scripted.setSilent(true);
    ASSERT_TRUE(eventually([&] { return listener->offline == 1; }));
    EXPECT_FALSE(camera->isConnected());
    EXPECT_FALSE(camera->startAcquisition());
    EXPECT_EQ(Error::connectionLost, lastError());
    EXPECT_EQ(0, listener->online);
    scripted.setSilent(false);
    ASSERT_TRUE(awaitReturn());
    EXPECT_TRUE(camera->isConnected());
    EXPECT_EQ(1, listener->offline);
    EXPECT_TRUE(camera->connect(2));
    EXPECT_EQ(1, listener->online);
}

TEST_F(CameraRecovery, StaysLostWhereThatIsWanted) {
    const Variable off("KESTRO_RECONNECT", "0");
    connect();
    scripted.setSilent(true);
    ASSERT_TRUE(eventually([&] { return listener->offline == 1; }));
    EXPECT_FALSE(camera->connect(2));
    scripted.setSilent(false);
    EXPECT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_EQ(0, listener->online);
}

TEST_F(CameraRecovery, KeepsItsPortForTheCameraMayStillKnowIt) {
    connect();
    for (int i = 1; i <= 3; ++i) {
        giveUp();
        ASSERT_TRUE(awaitReturn(i));
    }
    std::set<std::uint16_t> ports;
    for (const ControlRequest& request : scripted.requests())
        if (request.command >= kReadRegister) ports.insert(request.port);
    EXPECT_EQ(1u, ports.size());
}

TEST_F(CameraRecovery, KeepsItsDescriptionThoughOthersPushedItOut) {
    connect();
    ModelStore& store = ModelStore::ofThisProcess();
    Bytes url(512);
    ASSERT_TRUE(camera->registers()->readMemory(0x200, url));
    const ModelName name{camera->getVendor(), camera->getModelName(), camera->getDeviceVersion(),
                         BigEndianReader(url).text(url.size())};
    const auto kept = store.find(name);
    ASSERT_TRUE(kept);
    for (std::size_t i = 0; i < ModelStore::kMostDescriptions; ++i)
        static_cast<void>(
            store.keep({"other", std::to_string(i), "", ""}, std::make_shared<DescriptionFile>()));
    ASSERT_FALSE(store.find(name));
    giveUp();
    ASSERT_TRUE(awaitReturn());
    EXPECT_EQ(kept, store.find(name));
}

TEST_F(CameraRecovery, WaitsForAnotherProgramToLetGo) {
    connect();
    beTaken();
    ASSERT_TRUE(eventually([&] { return questionsFor(kController) >= 3; }));
    EXPECT_FALSE(camera->isConnected());
    EXPECT_FALSE(camera->connect(2));
    EXPECT_EQ(Error::accessDenied, lastError());
    EXPECT_EQ(0, refusedOrders);
    scripted.script([this](const ControlRequest& each) { return scripted.ordinaryReaction(each); });
    giveUp();
    EXPECT_TRUE(awaitReturn());
    EXPECT_EQ(1, std::ranges::count_if(kestro::test::RecordingLogger::instance().lines(400, 400),
                                       [](const std::string& line) {
                                           return line.find("controlled by another program") !=
                                                  std::string::npos;
                                       }));
}

TEST_F(CameraRecovery, IsJoinedByConnect) {
    connect();
    scripted.setSilent(true);
    ASSERT_TRUE(eventually([&] { return listener->offline == 1; }));
    EXPECT_FALSE(camera->connect(2));
    scripted.setSilent(false);
    EXPECT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_TRUE(camera->isConnected());
    EXPECT_TRUE(awaitReturn());
    giveUp();
    EXPECT_TRUE(awaitReturn(2));
}

TEST_F(CameraRecovery, TakesNoAnswerOfAnEarlierOutageForTheCamera) {
    connect();
    scripted.script([this](const ControlRequest& request) {
        Reaction reaction = scripted.ordinaryReaction(request);
        if (request.command == kDiscovery) reaction.datagrams.push_back(reaction.datagrams.at(0));
        return reaction;
    });
    giveUp();
    ASSERT_TRUE(awaitReturn());
    std::atomic<int> commands{0};
    scripted.script([&commands](const ControlRequest& request) {
        if (request.command != kDiscovery) ++commands;
        return Reaction{};
    });
    ASSERT_TRUE(eventually([&] { return listener->offline == 2; }));
    commands = 0;
    const std::size_t before = searches();
    ASSERT_TRUE(eventually([&] { return searches() >= before + 3; }));
    EXPECT_EQ(0, commands);
    scripted.script([](const ControlRequest&) { return Reaction{}; });
}

TEST_F(CameraRecovery, EndsWithDisConnect) {
    connect();
    scripted.setSilent(true);
    ASSERT_TRUE(eventually([&] { return listener->offline == 1; }));
    EXPECT_TRUE(camera->disConnect());
    scripted.setSilent(false);
    // Longer than any pause between attempts.
    Discovery discovery;
    EXPECT_TRUE(discovery.run());
    EXPECT_TRUE(discovery.run());
    EXPECT_FALSE(camera->isConnected());
    EXPECT_EQ(0, listener->online);
    connect();
}

TEST_F(CameraRecovery, TellsNobodyWhatBecameOfAnEarlierConnection) {
    connect();
    std::promise<void> entered;
    std::promise<void> mayLeave;
    listener->hook = [&, isFirst = true]() mutable {
        if (!std::exchange(isFirst, false)) return;
        entered.set_value();
        mayLeave.get_future().wait();
    };
    camera->events().postConnection(true);
    entered.get_future().wait();
    camera->events().postConnection(false);
    EXPECT_TRUE(camera->disConnect());
    connect();
    const auto fresh = std::make_shared<ConnectionListener>();
    const auto renewed = camera->events().subscribe();
    ASSERT_TRUE(renewed->subscribeConnectArgs(
        GenICam::ConnectBinding::toMember<&ConnectionListener::onConnect>(fresh)));
    camera->events().postConnection(true);
    mayLeave.set_value();
    ASSERT_TRUE(eventually([&] { return fresh->online == 1; }));
    EXPECT_EQ(0, fresh->offline);
}

TEST_F(CameraRecovery, SetsThePacketSizeOfTheApplicationAgain) {
    scripted.setRegister(kPacketSize, 1400);
    connect();
    ASSERT_TRUE(camera->registers()->writeRegister(kPacketSize, 0x40000000 + 1300));
    scripted.setRegister(kPacketSize, 1400);
    giveUp();
    ASSERT_TRUE(awaitReturn());
    EXPECT_EQ(1300u, scripted.registerAt(kPacketSize));
    QuietInlet inlet(50000);
    StreamSetup setup;
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, {}));
    EXPECT_EQ(1300u, setup.packetBytes);
}

/** A stream that does what a test wants. */
struct ScriptedStream final : LinkedStream {
    bool resume() override { return onResume(); }
    std::function<bool()> onResume;
};

TEST_F(CameraRecovery, ResumesTheStreamBeforeItSaysThatItIsBack) {
    connect();
    QuietInlet inlet(50000);
    StreamSetup setup;
    const auto stream = std::make_shared<ScriptedStream>();
    std::atomic<int> attempts{0};
    stream->onResume = [&] {
        EXPECT_FALSE(camera->isConnected());
        EXPECT_FALSE(camera->features());
        EXPECT_EQ(0, listener->online);
        EXPECT_TRUE(camera->openStreamChannel(inlet, setup, stream)) << lastErrorMessage();
        EXPECT_TRUE(camera->startAcquisition());
        if (++attempts < 3) return fail(Error::system, "no memory for the buffers");
        return true;
    };
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, stream));
    // As it is when the camera was away for a moment only.
    scripted.setRegister(kestro::test::kTransportLockRegister, 1);
    giveUp();
    ASSERT_TRUE(awaitReturn());
    EXPECT_EQ(3, attempts);
    EXPECT_EQ(50000u, scripted.registerAt(0xd00));
    EXPECT_THAT(kestro::test::RecordingLogger::instance().lines(300, 300),
                Contains(HasSubstr("no memory for the buffers")).Times(1));
    EXPECT_FALSE(camera->openStreamChannel(inlet, setup, std::make_shared<ScriptedStream>()));
    EXPECT_EQ(Error::alreadyGrabbing, lastError());
    camera->closeStreamChannel(stream);
    giveUp();
    ASSERT_TRUE(awaitReturn(2));
    EXPECT_EQ(3, attempts);
}

TEST_F(CameraRecovery, SaysOnceWhatTheCameraDoesNotTakeAgain) {
    constexpr std::uint32_t kGain = 0xa010;
    const std::string port = "<Port Name=\"Device\"/>";
    std::string text = smallDescription();
    text.insert(text.find(port),
                "<IntReg Name=\"Gain\"><Address>0xa010</Address><Length>4</Length>"
                "<AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>");
    scripted.setDescription("camera.xml", text);
    connect();
    ASSERT_TRUE(camera->features()->setInteger("Gain", 7)) << lastErrorMessage();
    QuietInlet inlet(50000);
    StreamSetup setup;
    const auto stream = std::make_shared<ScriptedStream>();
    std::atomic<int> attempts{0};
    stream->onResume = [&] { return ++attempts > 2 || fail(Error::system, "no memory"); };
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, stream));
    scripted.refuse(kGain, 0x8002);
    giveUp();
    ASSERT_TRUE(awaitReturn());
    EXPECT_EQ(3, attempts);
    const auto warnings = [] { return kestro::test::RecordingLogger::instance().lines(400, 400); };
    EXPECT_TRUE(eventually([&] {
        return std::ranges::any_of(warnings(), [](const std::string& line) {
            return line.find("the camera is back") != std::string::npos;
        });
    }));
    EXPECT_THAT(warnings(), Contains(HasSubstr("does not take a setting again")).Times(1));
}

TEST_F(CameraRecovery, LetsAStreamGoThatWasDroppedWhileItWasResumed) {
    connect();
    QuietInlet inlet(50000);
    StreamSetup setup;
    auto stream = std::make_shared<ScriptedStream>();
    stream->onResume = [&] {
        stream.reset();
        return true;
    };
    const std::weak_ptr<LinkedStream> dropped = stream;
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, stream));
    giveUp();
    ASSERT_TRUE(awaitReturn());
    EXPECT_TRUE(eventually([&] { return dropped.expired(); }));
}

/** The camera comes and goes as it likes while the application ends at any moment of it. */
TEST_F(CameraRecovery, EndsAtAnyMoment) {
    const auto seed = static_cast<unsigned>(std::random_device{}());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&random](int most) {
        return std::uniform_int_distribution<int>(0, most)(random);
    };
    for (int round = 0; round < 12; ++round) {
        auto own = cameraFor(scripted);
        scripted.setSilent(false);
        ASSERT_TRUE(eventually([&] { return own->connect(2); })) << lastErrorMessage();
        const int moment = pick(500);
        const int how = pick(3);
        SCOPED_TRACE("round " + std::to_string(round) + ", way " + std::to_string(how));
        if (pick(1) == 0) scripted.setSilent(true);
        giveUp();
        // A moment is a time, whatever the camera is at then.
        std::this_thread::sleep_for(std::chrono::milliseconds(moment));
        auto meanwhile =
            std::async(std::launch::async, [=] { static_cast<void>(own->connect(2)); });
        if (how <= 1) {
            EXPECT_TRUE(own->disConnect());
        } else if (how == 2) {
            static_cast<void>(own->connect(2));
        }
        meanwhile.get();
        own.reset();
    }
}

}  // namespace
}  // namespace Vorda::Gige
