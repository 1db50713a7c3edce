// SPDX-License-Identifier: Apache-2.0
#include "ControlChannel.h"

#include "LastError.h"
#include "ScriptedCamera.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <cerrno>

namespace {

/** Nothing can be sent from a socket as long as something that came in lies there unread. */
enum class Way { free, closing, closed };
std::atomic<Way> wayOut{Way::free};

}  // namespace

/** The system's, for this program. */
extern "C" ssize_t send(int socket, const void* data, std::size_t bytes, int flags) {
    pollfd unread{socket, POLLIN, 0};
    const int waitMs = wayOut == Way::closing ? 5000 : 0;
    if (wayOut != Way::free && ::poll(&unread, 1, waitMs) == 1) {
        wayOut = Way::closed;
        errno = ENETUNREACH;
        return -1;
    }
    wayOut = Way::free;
    return ::sendto(socket, data, bytes, flags, nullptr, 0);
}

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using kestro::test::ControlRequest;
using kestro::test::eventually;
using kestro::test::Octets;
using kestro::test::Reaction;
using kestro::test::ScriptedCamera;
using testing::HasSubstr;

constexpr std::uint32_t kSomeRegister = 0xb000;
constexpr std::uint32_t kHeartbeatMs = 0x938;
constexpr std::uint32_t kPrivilege = 0xa00;
constexpr Ipv4 kHost{0x7f000001};

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

std::shared_ptr<ControlChannel> channelTo(const ScriptedCamera& camera) {
    return ControlChannel::open(kHost, Ipv4{camera.address()});
}

bool isReadOf(const ControlRequest& request, std::uint32_t address) {
    return request.command == 0x0080 && request.word(0) == address;
}

TEST(ControlChannel, ReadsMemoryOfAnyAddressAndSize) {
    ScriptedCamera camera;
    std::string content(1500, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
    camera.setMemory(0xc000, content);
    const auto channel = channelTo(camera);
    for (const auto& [offset, size] : {std::pair{0u, 4u}, {1u, 1u}, {3u, 2u}, {2u, 1300u}}) {
        Octets data(size);
        ASSERT_TRUE(channel->readMemory(0xc000 + offset, data));
        EXPECT_EQ(content.substr(offset, size), std::string(data.begin(), data.end()));
    }
    for (const ControlRequest& request : camera.requests()) {
        EXPECT_EQ(0u, request.word(0) % 4);
        EXPECT_EQ(0u, request.word(4) % 4);
        EXPECT_LE(request.word(4), 536u);
    }
}

TEST(ControlChannel, WritesMemoryWithoutTouchingItsNeighbours) {
    ScriptedCamera camera;
    camera.setMemory(0xc000, std::string(1200, '.'));
    const auto channel = channelTo(camera);
    const std::string text(1001, 'x');
    ASSERT_TRUE(channel->writeMemory(0xc003, Octets(text.begin(), text.end())));
    Octets data(1200);
    ASSERT_TRUE(channel->readMemory(0xc000, data));
    EXPECT_EQ("..." + text + std::string(196, '.'), std::string(data.begin(), data.end()));
}

TEST(ControlChannel, RefusesAddressesBeyond32Bits) {
    ScriptedCamera camera;
    const auto channel = channelTo(camera);
    std::array<std::uint8_t, 8> data{};
    EXPECT_FALSE(channel->readMemory(0xfffffffc, data));
    EXPECT_EQ(Error::invalidArgument, lastError());
    EXPECT_FALSE(channel->writeRegister(std::uint64_t{1} << 32, 0));
    EXPECT_TRUE(camera.requests().empty());
}

TEST(ControlChannel, RepeatsAnUnansweredRequestUnderItsId) {
    ScriptedCamera camera;
    std::atomic<int> count{0};
    camera.script([&](const ControlRequest& request) {
        return ++count < 3 ? Reaction{} : camera.ordinaryReaction(request);
    });
    std::uint32_t value = 1;
    EXPECT_TRUE(channelTo(camera)->readRegister(kSomeRegister, value));
    const auto requests = camera.requests();
    ASSERT_EQ(3u, requests.size());
    EXPECT_NE(0, requests[0].id);
    EXPECT_EQ(requests[0].id, requests[1].id);
    EXPECT_EQ(requests[0].id, requests[2].id);
}

TEST(ControlChannel, TakesTheLateAnswerToAnEarlierAttempt) {
    ScriptedCamera camera;
    std::atomic<int> count{0};
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        reaction.datagrams.at(0).delay = 300ms;
        return ++count == 1 ? reaction : Reaction{};
    });
    std::uint32_t value = 1;
    EXPECT_TRUE(channelTo(camera)->readRegister(kSomeRegister, value));
}

TEST(ControlChannel, GivesUpOnASilentCamera) {
    ScriptedCamera camera;
    camera.setSilent(true);
    std::uint32_t value = 0;
    EXPECT_FALSE(channelTo(camera)->readRegister(kSomeRegister, value));
    EXPECT_EQ(Error::timeout, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr(camera.addressText()));
    EXPECT_EQ(9u, camera.requests().size());
}

TEST(ControlChannel, OutlastsALostRouteWhateverCameInBefore) {
    ScriptedCamera camera;
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        reaction.datagrams.push_back(reaction.datagrams.at(0));
        return reaction;
    });
    const auto channel = channelTo(camera);
    std::uint32_t value = 0;
    ASSERT_TRUE(channel->readRegister(kSomeRegister, value));
    const std::shared_ptr<void> opened(nullptr, [](void*) { wayOut = Way::free; });
    wayOut = Way::closing;
    EXPECT_TRUE(channel->readRegister(kSomeRegister, value)) << lastErrorMessage();
    EXPECT_EQ(Way::free, wayOut);
}

/** A datagram before the answer that must not be taken for it, made with the request's id. */
struct Stray {
    const char* name;
    Octets (*make)(std::uint16_t id);
    bool fromElsewhere = false;
};

/** An answer to READREG, if it is not made to be something else. */
Octets answerWith(std::uint16_t id, const Octets& payload = {0, 0, 0, 9}, int command = 0x81) {
    return ScriptedCamera::acknowledge(0, static_cast<std::uint16_t>(command), id, payload);
}

const Stray kStrays[] = {
    {"WrongId", [](std::uint16_t id) { return answerWith(static_cast<std::uint16_t>(id + 1)); }},
    {"WrongCommand",
     [](std::uint16_t id) {
         return answerWith(id, {0, 0, 0, 9}, 0x83);
     }},
    {"WrongSource", [](std::uint16_t id) { return answerWith(id); }, true},
    {"Short",
     [](std::uint16_t) {
         return Octets{0, 0, 0, 0x81, 0};
     }},
    {"Empty", [](std::uint16_t) { return Octets{}; }},
    {"CutPayload",
     [](std::uint16_t id) {
         return answerWith(id, {0, 9});
     }},
    {"LengthBeyondTheDatagram",
     [](std::uint16_t id) {
         Octets bytes = answerWith(id);
         bytes[4] = 0xff;
         return bytes;
     }},
    {"Huge", [](std::uint16_t id) { return answerWith(id, Octets(60000, 9)); }}};

class ControlChannelStray : public testing::TestWithParam<Stray> {};

TEST_P(ControlChannelStray, IsIgnored) {
    ScriptedCamera camera;
    camera.setRegister(kSomeRegister, 4711);
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        reaction.datagrams.insert(reaction.datagrams.begin(),
                                  {GetParam().make(request.id), 0ms, GetParam().fromElsewhere});
        return reaction;
    });
    std::uint32_t value = 0;
    ASSERT_TRUE(channelTo(camera)->readRegister(kSomeRegister, value));
    EXPECT_EQ(4711u, value);
    EXPECT_EQ(1u, camera.requests().size());
}

INSTANTIATE_TEST_SUITE_P(ControlChannel, ControlChannelStray, testing::ValuesIn(kStrays),
                         [](const auto& stray) { return stray.param.name; });

TEST(ControlChannel, SaysWhenAnAnswerIsCut) {
    ScriptedCamera camera;
    camera.script([](const ControlRequest& request) {
        return Reaction{{{ScriptedCamera::acknowledge(0, 0x81, request.id, {0, 1})}}};
    });
    std::uint32_t value = 0;
    EXPECT_FALSE(channelTo(camera)->readRegister(kSomeRegister, value));
    EXPECT_EQ(Error::badAnswer, lastError());
}

TEST(ControlChannel, WaitsAsLongAsACameraAsks) {
    ScriptedCamera camera;
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        reaction.datagrams.at(0).delay = 450ms;
        reaction.datagrams.insert(
            reaction.datagrams.begin(),
            {ScriptedCamera::acknowledge(0, 0x89, request.id, {0, 0, 0x07, 0xd0})});
        return reaction;
    });
    EXPECT_TRUE(channelTo(camera)->writeRegister(kSomeRegister, 5));
    EXPECT_EQ(1u, camera.requests().size());
}

TEST(ControlChannel, IsNotHurriedBySignals) {
    ScriptedCamera camera;
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        for (auto& datagram : reaction.datagrams) datagram.delay = 150ms;
        return reaction;
    });
    struct sigaction before {};
    struct sigaction noted {};
    noted.sa_handler = [](int) {};
    ASSERT_EQ(0, ::sigaction(SIGALRM, &noted, &before));
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    ASSERT_EQ(0, ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr));
    std::uint32_t value = 0;
    EXPECT_TRUE(channelTo(camera)->readRegister(kSomeRegister, value));
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(1u, camera.requests().size());
}

TEST(ControlChannel, TakesARefusalAsFinalAndNamesIt) {
    ScriptedCamera camera;
    camera.refuse(kSomeRegister, 0x8003);
    EXPECT_FALSE(channelTo(camera)->writeRegister(kSomeRegister, 5));
    EXPECT_EQ(Error::refused, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr("invalid address (0x8003)"));
    EXPECT_THAT(lastErrorMessage(), HasSubstr("0x0000b000"));
    EXPECT_EQ(1u, camera.requests().size());
}

TEST(ControlChannel, TakesTheControlAndReleasesIt) {
    ScriptedCamera camera;
    const auto channel = channelTo(camera);
    ASSERT_TRUE(channel->takeControl([] {}));
    EXPECT_EQ(2u, camera.registerAt(kPrivilege));
    EXPECT_TRUE(channel->isOnline());
    channel->close();
    EXPECT_EQ(0u, camera.registerAt(kPrivilege));
    EXPECT_FALSE(channel->isOnline());
    std::uint32_t value = 0;
    EXPECT_FALSE(channel->readRegister(kSomeRegister, value));
    EXPECT_EQ(Error::notConnected, lastError());
    channel->close();
}

TEST(ControlChannel, SaysWhoControlsTheCamera) {
    ScriptedCamera camera;
    camera.refuse(0x938, 0x8006);
    camera.script([&](const ControlRequest& request) {
        if (request.command != 0x0082) return camera.ordinaryReaction(request);
        return Reaction{{{ScriptedCamera::acknowledge(0x8006, 0x83, request.id)}}};
    });
    camera.setRegister(0xa14, 0x0a000003);
    EXPECT_FALSE(channelTo(camera)->takeControl([] {}));
    EXPECT_EQ(Error::accessDenied, lastError());
    EXPECT_EQ("the camera is controlled by another program (10.0.0.3)", lastErrorMessage());

    camera.refuse(0xa14, 0x8003);
    EXPECT_FALSE(channelTo(camera)->takeControl([] {}));
    EXPECT_EQ("the camera is controlled by another program", lastErrorMessage());
}

/** A channel that controls a camera and counts what it hears of its end. */
struct Controlled {
    ScriptedCamera camera;
    std::shared_ptr<ControlChannel> channel = channelTo(camera);
    std::atomic<int> losses{0};
    bool taken = channel->takeControl([this] { ++losses; });
};

TEST(ControlChannel, NoticesADeadCameraAndAsksItNoMore) {
    Controlled test;
    ASSERT_TRUE(test.taken);
    test.camera.setSilent(true);
    ASSERT_TRUE(eventually([&] { return test.losses == 1; }, 3s));
    EXPECT_FALSE(test.channel->isOnline());
    const std::size_t asked = test.camera.requests().size();
    std::uint32_t value = 0;
    EXPECT_FALSE(test.channel->readRegister(kSomeRegister, value));
    EXPECT_EQ(Error::connectionLost, lastError());
    test.channel->close();
    EXPECT_EQ(asked, test.camera.requests().size());
    EXPECT_EQ(1, test.losses);
}

/** Each attempt takes its time: an application that stops or leaves must not wait for many. */
TEST(ControlChannel, TriesADeadCameraAFewTimesOnly) {
    for (const bool isWrite : {true, false}) {
        Controlled test;
        ASSERT_TRUE(test.taken);
        test.camera.setSilent(true);
        const std::size_t before = test.camera.requests().size();
        if (isWrite) {
            EXPECT_FALSE(test.channel->writeRegister(kSomeRegister, 1));
            EXPECT_EQ(Error::connectionLost, lastError());
        } else {
            test.channel->close();
            EXPECT_EQ(0, test.losses);
        }
        EXPECT_LE(test.camera.requests().size() - before, isWrite ? 9u : 5u);
    }
}

TEST(ControlChannel, NoticesThatTheCameraGaveTheControlUp) {
    Controlled test;
    ASSERT_TRUE(test.taken);
    test.camera.setRegister(kPrivilege, 0);
    EXPECT_TRUE(eventually([&] { return test.losses == 1; }));
}

TEST(ControlChannel, AsksForItsControlAfterASilence) {
    ScriptedCamera camera;
    camera.setRegister(kHeartbeatMs, 100);  // less than it takes to repeat a question
    std::atomic<bool> isAnothers{false};
    std::atomic<bool> wasSilent{false};
    std::atomic<int> losses{0};
    camera.script([&](const ControlRequest& request) {
        const bool isWrite = request.command == 0x0082;
        if (isWrite && (request.word(0) == kHeartbeatMs || isAnothers))
            return Reaction{{{ScriptedCamera::acknowledge(0x8006, 0x83, request.id)}}};
        if (isAnothers && !wasSilent.exchange(true)) return Reaction{};
        return camera.ordinaryReaction(request);
    });
    const auto channel = channelTo(camera);
    ASSERT_TRUE(channel->takeControl([&] { ++losses; }));
    isAnothers = true;
    EXPECT_TRUE(eventually([&] { return losses == 1; }));
}

TEST(ControlChannel, DoesNotQuietlyTakeBackWhatTheCameraGaveUp) {
    Controlled test;
    ASSERT_TRUE(test.taken);
    test.camera.refuse(kSomeRegister, 0x8006);
    test.camera.setRegister(kPrivilege, 0);
    EXPECT_FALSE(test.channel->writeRegister(kSomeRegister, 1));
    EXPECT_FALSE(test.channel->isOnline());
    EXPECT_EQ(0u, test.camera.registerAt(kPrivilege));
    EXPECT_TRUE(eventually([&] { return test.losses == 1; }));
}

TEST(ControlChannel, NoticesThatAnotherProgramTookTheControl) {
    Controlled test;
    ASSERT_TRUE(test.taken);
    test.camera.script([&](const ControlRequest& request) {
        if (request.command != 0x0082) return test.camera.ordinaryReaction(request);
        return Reaction{{{ScriptedCamera::acknowledge(0x8006, 0x83, request.id)}}};
    });
    EXPECT_FALSE(test.channel->writeRegister(kSomeRegister, 1));
    EXPECT_EQ(Error::refused, lastError());
    EXPECT_FALSE(test.channel->isOnline());
    EXPECT_TRUE(eventually([&] { return test.losses == 1; }));
}

TEST(ControlChannel, OutlivesALockedRegisterAndAnUnansweredOne) {
    Controlled test;
    ASSERT_TRUE(test.taken);
    test.camera.refuse(kSomeRegister, 0x8006);
    EXPECT_FALSE(test.channel->writeRegister(kSomeRegister, 1));
    test.camera.script([&](const ControlRequest& request) {
        return isReadOf(request, kSomeRegister) ? Reaction{}
                                                : test.camera.ordinaryReaction(request);
    });
    std::uint32_t value = 0;
    EXPECT_FALSE(test.channel->readRegister(kSomeRegister, value));
    EXPECT_EQ(Error::timeout, lastError());
    EXPECT_TRUE(test.channel->isOnline());
    EXPECT_EQ(0, test.losses);
}

TEST(ControlChannel, MayBeDroppedWhereItsLossIsNoticed) {
    ScriptedCamera camera;
    auto channel = channelTo(camera);
    std::atomic<bool> dropped{false};
    ASSERT_TRUE(channel->takeControl([&] {
        channel.reset();
        dropped = true;
    }));
    camera.setRegister(kPrivilege, 0);
    EXPECT_TRUE(eventually([&] { return dropped.load(); }));
}

TEST(ControlChannel, AsksForPacketsWithoutAnAnswer) {
    ScriptedCamera camera;
    channelTo(camera)->requestResend({7, 3, 4, false});
    ASSERT_TRUE(eventually([&] { return !camera.requests().empty(); }));
    const ControlRequest request = camera.requests().front();
    EXPECT_EQ(0x0040, request.command);
    EXPECT_EQ(0, request.flags & 1);
    EXPECT_EQ(3u, request.word(4));
    EXPECT_EQ(4u, request.word(8));
}

}  // namespace
}  // namespace Vorda::Gige
