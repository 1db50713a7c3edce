// SPDX-License-Identifier: Apache-2.0
//
// Finding cameras and controlling them, against scripted ones on loopback.
#include "CameraRegistry.h"
#include "Discovery.h"
#include "FakeStreamCamera.h"
#include "GigeCamera.h"
#include "LastError.h"
#include "PlatedCamera.h"
#include "RecordingLogger.h"
#include "ScriptedCamera.h"
#include "StreamSource.h"
#include "VordaGenICam.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>

namespace Vorda::Gige {
namespace {

using namespace std::chrono_literals;
using GenICam::IGigECamera;
using GenICam::IGigEInterface;
using kestro::test::ControlRequest;
using kestro::test::eventually;
using kestro::test::Octets;
using kestro::test::Reaction;
using kestro::test::ScriptedCamera;
using kestro::test::smallDescription;
using testing::ElementsAre;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kPrivilege = 0xa00;

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

/** However the program is started, it broadcasts on loopback only. */
class LoopbackOnly : public testing::Environment {
    void SetUp() override { ::setenv("KESTRO_INTERFACES", "lo", 1); }
};
[[maybe_unused]] const auto* const kLoopbackOnly =
    testing::AddGlobalTestEnvironment(new LoopbackOnly);

/** The answer of the camera with this serial number, of one discovery. */
std::optional<FoundDevice> find(Discovery& discovery, const std::string& serial) {
    const auto found = discovery.run();
    if (!found) return std::nullopt;
    const auto device = std::ranges::find_if(
        *found, [&serial](const FoundDevice& each) { return each.device.serial == serial; });
    if (device == found->end()) return std::nullopt;
    return *device;
}

TEST(Discovery, ReadsTheNamePlate) {
    PlatedCamera camera;
    Discovery discovery;
    const auto found = find(discovery, camera.serial);
    ASSERT_TRUE(found);
    EXPECT_EQ(camera.mac.text(), found->device.mac.text());
    EXPECT_EQ(camera.addressText(), found->device.address.text());
    EXPECT_EQ("255.0.0.0", found->device.mask.text());
    EXPECT_EQ("127.0.0.1", found->device.gateway.text());
    EXPECT_EQ("Acme", found->device.manufacturer);
    EXPECT_EQ("Reader", found->device.model);
    EXPECT_EQ("1.2", found->device.version);
    EXPECT_EQ("Info", found->device.information);
    EXPECT_EQ("Line 1", found->device.userName);
    EXPECT_EQ("lo", found->via.name);
    EXPECT_EQ("lo 127.0.0.1/8", found->via.description());
    EXPECT_FALSE(found->answeredItsAddress);
}

TEST(Discovery, FindsEachOfSeveralCamerasOnce) {
    PlatedCamera first;
    PlatedCamera second;
    Discovery discovery;
    const auto found = discovery.run();
    ASSERT_TRUE(found);
    for (const auto& serial : {first.serial, second.serial})
        EXPECT_EQ(1, std::ranges::count(*found, serial,
                                        [](const auto& each) { return each.device.serial; }));
}

TEST(Discovery, ClosesSoonAfterTheLastNewAnswer) {
    PlatedCamera camera;
    Discovery discovery;
    // More than once: a camera of another test program may come or go, and is waited for.
    EXPECT_TRUE(eventually(
        [&] {
            const auto begin = Clock::now();
            return find(discovery, camera.serial) && Clock::now() - begin < 600ms;
        },
        10s));
}

TEST(Discovery, WaitsForACameraOfThePreviousCall) {
    PlatedCamera quick;
    PlatedCamera slow;
    Discovery discovery;
    ASSERT_TRUE(find(discovery, slow.serial));
    slow.script([&](const ControlRequest& request) {
        Reaction reaction = slow.ordinaryReaction(request);
        for (auto& datagram : reaction.datagrams) datagram.delay = 600ms;
        return reaction;
    });
    EXPECT_TRUE(find(discovery, slow.serial));
}

TEST(Discovery, KeepsALateAnswerForTheNextCall) {
    const Variable timeout("KESTRO_DISCOVERY_TIMEOUT_MS", "100");
    PlatedCamera camera;
    // Later than the end of the call that asked, each time.
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        for (auto& datagram : reaction.datagrams) datagram.delay = 150ms;
        return reaction;
    });
    Discovery discovery;
    EXPECT_FALSE(find(discovery, camera.serial));
    EXPECT_TRUE(eventually([&] { return find(discovery, camera.serial).has_value(); }));
}

TEST(Discovery, AsksSingleAddressesAndTakesTheirAnswerAsAWay) {
    PlatedCamera camera;
    camera.script([&](const ControlRequest& request) {
        return request.wasBroadcast ? Reaction{} : camera.ordinaryReaction(request);
    });
    Discovery discovery;
    const Variable addresses("KESTRO_DISCOVERY_ADDRESSES", "nonsense, " + camera.addressText());
    camera.setRegister(0x24, camera.address());
    auto found = find(discovery, camera.serial);
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->answeredItsAddress);
    found->via.mask = Ipv4{0xffffffff};  // as if behind some router
    EXPECT_EQ("Valid", GigeCamera(*found, "k").location().validity());

    // An address that was not asked has not answered.
    camera.setRegister(0x24, 0xc6336405);  // 198.51.100.5
    found = find(discovery, camera.serial);
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->answeredItsAddress);
    EXPECT_NE("Valid", GigeCamera(*found, "k").location().validity());
}

TEST(Discovery, BelievesTheLatestAnswer) {
    PlatedCamera camera;
    camera.script([&](const ControlRequest& request) {
        camera.setRegister(0x24, 0x7f000105);
        Reaction reaction = camera.ordinaryReaction(request);
        camera.setRegister(0x24, 0x7f000106);
        for (auto& later : camera.ordinaryReaction(request).datagrams)
            reaction.datagrams.push_back(std::move(later));
        return reaction;
    });
    Discovery discovery;
    const auto found = find(discovery, camera.serial);
    ASSERT_TRUE(found);
    EXPECT_EQ("127.0.1.6", found->device.address.text());
}

TEST(Discovery, LogsWhereItAsksWhenEachAnswerCameInAndEachWarningOnce) {
    auto& logger = kestro::test::RecordingLogger::instance();
    logger.reset();
    logger.setEnabledLevel(800);
    const std::string entry = uniqueSerial();
    const Variable addresses("KESTRO_DISCOVERY_ADDRESSES", entry);
    const Variable timeout("KESTRO_DISCOVERY_TIMEOUT_MS", "soon");
    PlatedCamera camera;
    Discovery discovery;
    ASSERT_TRUE(find(discovery, camera.serial));
    ASSERT_TRUE(find(discovery, camera.serial));
    EXPECT_THAT(logger.lines(800, 800),
                testing::Contains(HasSubstr("asked through lo 127.0.0.1/8")).Times(2));
    EXPECT_THAT(logger.lines(800, 800),
                testing::Contains(AllOf(HasSubstr("Acme:" + camera.serial),
                                        testing::MatchesRegex(".*after [0-9]+\\.[0-9]+ ms"))));
    const auto warnings = logger.lines(400, 400);
    for (const std::string& part : {entry, std::string("[soon]")})
        EXPECT_EQ(1, std::ranges::count_if(warnings, [&part](const std::string& line) {
                      return line.find(part) != std::string::npos;
                  }));
    logger.reset();
}

TEST(Discovery, IgnoresHostileAnswers) {
    PlatedCamera camera;
    camera.script([&](const ControlRequest& request) {
        Reaction reaction;
        reaction.datagrams.push_back({Octets{}});
        reaction.datagrams.push_back({Octets(7, 0xff)});
        reaction.datagrams.push_back(
            {ScriptedCamera::acknowledge(0, 3, request.id, Octets(0xf7, 'x'))});
        reaction.datagrams.push_back({ScriptedCamera::acknowledge(0, 3, 7, Octets(0xf8, 'x'))});
        reaction.datagrams.push_back(
            {ScriptedCamera::acknowledge(9, 3, request.id, Octets(0xf8, 'x'))});
        reaction.datagrams.push_back({Octets(4000, 0)});
        for (auto& each : camera.ordinaryReaction(request).datagrams)
            reaction.datagrams.push_back(std::move(each));
        return reaction;
    });
    Discovery discovery;
    const auto found = discovery.run();
    ASSERT_TRUE(found);
    for (const FoundDevice& each : *found) EXPECT_NE('x', each.device.manufacturer[0]);
}

// In portions, so that the socket's buffer holds each until it is taken out.
TEST(Discovery, KeepsFourThousandCamerasAtMost) {
    constexpr std::size_t kMost = 4096;
    constexpr std::size_t kPortion = 200;
    const Variable timeout("KESTRO_DISCOVERY_TIMEOUT_MS", "700");
    PlatedCamera camera;
    std::atomic<bool> isFlooded{false};
    camera.script([&](const ControlRequest& request) {
        Reaction reaction = camera.ordinaryReaction(request);
        if (request.command != 2 || isFlooded.exchange(true)) return reaction;
        const auto answer = reaction.datagrams.at(0);
        for (std::size_t i = 0; i < kMost + 3 * kPortion; ++i) {
            auto another = answer;
            another.bytes[8 + 12] = static_cast<std::uint8_t>(0x80 + i / 256);
            another.bytes[8 + 13] = static_cast<std::uint8_t>(i);
            if (i % kPortion == 0) another.delay = 10ms;
            reaction.datagrams.push_back(std::move(another));
        }
        return reaction;
    });
    const auto found = Discovery().run();
    ASSERT_TRUE(found && isFlooded);
    EXPECT_LE(found->size(), kMost);
    EXPECT_GT(found->size(), 1U);  // a slow machine loses many
}

TEST(Discovery, FailsWithoutAnInterface) {
    const Variable names("KESTRO_INTERFACES", "nosuch0");
    EXPECT_FALSE(Discovery().run());
    EXPECT_EQ(Error::system, lastError());
}

/** What a registry makes of devices that differ in these three. */
FoundDevice device(std::uint8_t mac, const char* manufacturer, const char* serial) {
    FoundDevice found;
    found.device.mac.bytes[5] = mac;
    found.device.manufacturer = manufacturer;
    found.device.serial = serial;
    return found;
}

std::vector<std::string> keysOf(const std::vector<std::shared_ptr<GigeCamera>>& cameras) {
    std::vector<std::string> keys;
    for (const auto& camera : cameras) keys.emplace_back(camera->getKey());
    return keys;
}

TEST(CameraRegistry, NamesCamerasByMakerAndSerialNumberElseByMac) {
    CameraRegistry registry;
    const auto cameras =
        registry.update({device(1, "Acme", "2"), device(2, "Acme", ""), device(3, "Acme", "1"),
                         device(4, "Best", "9"), device(5, "Best", "9")});
    EXPECT_THAT(keysOf(cameras), ElementsAre("00:00:00:00:00:02", "00:00:00:00:00:04",
                                             "00:00:00:00:00:05", "Acme:1", "Acme:2"));
}

TEST(CameraRegistry, KeepsKeysWithinTheirLength) {
    CameraRegistry registry;
    const auto cameras =
        registry.update({device(1, std::string(32, 'm').c_str(), "0123456789abcdef")});
    EXPECT_LE(std::string(cameras.at(0)->getKey()).size(), 63u);
}

TEST(CameraRegistry, GivesOneObjectPerDeviceWhileItIsHeld) {
    CameraRegistry registry;
    const auto first = registry.update({device(1, "Acme", "1")});
    FoundDevice moved = device(1, "Acme", "1");
    moved.device.address = Ipv4{0x0a000007};
    const auto second = registry.update({moved, device(2, "Acme", "1")});
    EXPECT_THAT(keysOf(second), ElementsAre("00:00:00:00:00:02", "Acme:1"));
    EXPECT_EQ(first.at(0), second.at(1));
    EXPECT_EQ("10.0.0.7", first.at(0)->location().address.text());
}

TEST(GigeCamera, SaysWhyItsAddressIsNotValid) {
    FoundDevice found;
    found.via = {"eth7", Ipv4{0xc0a80101}, Ipv4{0xffffff00}, {}, {}, 1500, true};
    const auto validity = [&found](std::uint32_t address) {
        found.device.address = Ipv4{address};
        found.device.mask = Ipv4{0xffff0000};
        return GigeCamera(found, "k").location().validity();
    };
    EXPECT_EQ("Valid", validity(0xc0a80107));
    const std::string sentence = validity(0xc0a80207);
    EXPECT_THAT(sentence, HasSubstr("192.168.2.7/16"));
    EXPECT_THAT(sentence, HasSubstr("eth7 192.168.1.1/24"));
    for (const std::uint32_t address : {0u, 0xffffffffu, 0xc0a80100u, 0xc0a801ffu})
        EXPECT_NE("Valid", validity(address));
}

TEST(GigeCamera, SendsNothingToAnAddressThatIsNotValid) {
    PlatedCamera scripted;
    FoundDevice found = loopbackDevice(scripted);
    found.via.mask = Ipv4{0xfffffffc};
    const auto camera = std::make_shared<GigeCamera>(found, "Acme:1");
    EXPECT_FALSE(camera->connect(2));
    EXPECT_EQ(Error::notReachable, lastError());
    EXPECT_EQ(255, IGigECamera::getInstance(camera)->getAccessPermission());
    EXPECT_TRUE(scripted.requests().empty());
}

TEST(GigeCamera, ConnectsAndReleases) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    EXPECT_FALSE(camera->connect(1));
    EXPECT_EQ(Error::notSupported, lastError());
    ASSERT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_TRUE(camera->connect(2));
    EXPECT_TRUE(camera->isConnected());
    EXPECT_EQ(2u, scripted.registerAt(kPrivilege));
    EXPECT_TRUE(camera->disConnect());
    EXPECT_FALSE(camera->isConnected());
    EXPECT_EQ(0u, scripted.registerAt(kPrivilege));
    EXPECT_TRUE(camera->disConnect());
}

/** How many bytes of its description the camera was asked for so far. */
std::size_t descriptionBytesRead(const PlatedCamera& camera) {
    std::size_t bytes = 0;
    for (const ControlRequest& request : camera.requests()) {
        const bool isReadMemory = request.command == 0x84;
        if (isReadMemory && request.word(0) >= 0x10000) bytes += request.word(4) & 0xffff;
    }
    return bytes;
}

std::int64_t payloadSizeOf(const GigeCamera& camera) {
    std::int64_t value = 0;
    const auto features = camera.features();
    return features && features->getInteger("PayloadSize", value) ? value : -1;
}

TEST(GigeCamera, IsConnectedAgainWithWhatIsKeptOfItsModel) {
    const std::string archive = kestro::test::golden("description.zip");
    PlatedCamera scripted;
    PlatedCamera another;
    scripted.setDescription("camera.zip", archive);
    another.setDescription("camera.zip", archive);
    const auto first = cameraFor(scripted);
    const auto second = cameraFor(another);
    ASSERT_TRUE(first->connect(2)) << lastErrorMessage();
    const std::size_t whole = descriptionBytesRead(scripted);
    EXPECT_GE(whole, archive.size());
    // The other camera of the model, too, reads the archive's end only. Each has its own values.
    ASSERT_TRUE(second->connect(2)) << lastErrorMessage();
    EXPECT_LT(descriptionBytesRead(another), 256u);
    ASSERT_TRUE(first->features()->setInteger("PayloadSize", 640)) << lastErrorMessage();
    EXPECT_EQ(640, payloadSizeOf(*first));
    EXPECT_EQ(1310720, payloadSizeOf(*second));
    ASSERT_TRUE(first->disConnect());
    ASSERT_TRUE(first->connect(2)) << lastErrorMessage();
    EXPECT_LT(descriptionBytesRead(scripted) - whole, 256u);
    EXPECT_EQ(1310720, payloadSizeOf(*first));
}

TEST(GigeCamera, IsConnectedAgainWithTheDescriptionThatItHasByNow) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_EQ(307200, payloadSizeOf(*camera));
    ASSERT_TRUE(camera->disConnect());
    // The same name and size, another register.
    std::string updated = smallDescription();
    updated.replace(updated.find("0xa000"), 6, "0xa0f0");
    scripted.setDescription("camera.xml", updated);
    scripted.setRegister(0xa0f0, 1234);
    ASSERT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_EQ(1234, payloadSizeOf(*camera));
}

TEST(GigeCamera, ReleasesTheControlWhenItIsDropped) {
    PlatedCamera scripted;
    auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    camera.reset();
    EXPECT_EQ(0u, scripted.registerAt(kPrivilege));
}

TEST(GigeCamera, GivesTheControlBackWhenTheDescriptionCannotBeUsed) {
    PlatedCamera scripted;
    scripted.setDescription("camera.xml", smallDescription().substr(0, 900));
    const auto camera = cameraFor(scripted);
    EXPECT_FALSE(camera->connect(2));
    EXPECT_EQ(Error::description, lastError());
    EXPECT_EQ(0u, scripted.registerAt(kPrivilege));
    EXPECT_FALSE(camera->isConnected());
}

TEST(GigeCamera, WritesItsDescriptionToAFile) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    const auto folder = std::filesystem::temp_directory_path() / uniqueSerial();
    std::filesystem::create_directory(folder);
    const std::string path = folder / "camera.xml";
    EXPECT_FALSE(camera->downloadGenICamXML(path.c_str()));
    EXPECT_EQ(Error::notConnected, lastError());
    ASSERT_TRUE(camera->connect(2));
    EXPECT_FALSE(camera->downloadGenICamXML(nullptr));
    EXPECT_FALSE(camera->downloadGenICamXML((folder / "no/such/folder").c_str()));
    ASSERT_TRUE(camera->downloadGenICamXML(path.c_str())) << lastErrorMessage();
    std::ifstream file(path);
    EXPECT_EQ(smallDescription(), std::string(std::istreambuf_iterator<char>(file), {}));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder), {}));
    // A device is written to and not replaced.
    const auto sink = folder / "sink";
    std::filesystem::create_symlink("/dev/null", sink);
    EXPECT_TRUE(camera->downloadGenICamXML(sink.c_str()));
    EXPECT_TRUE(std::filesystem::is_symlink(sink));
    std::filesystem::remove_all(folder);
}

TEST(GigeCamera, ReadsTheAccessPermissionWithoutTakingControl) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    const auto view = IGigECamera::getInstance(camera);
    for (const auto& [value, permission] :
         {std::pair{0u, 0}, {1u, 1}, {2u, 2}, {6u, 6}, {4u, 0}, {3u, 1}, {0x12340002u, 2}}) {
        scripted.setRegister(kPrivilege, value);
        EXPECT_EQ(permission, view->getAccessPermission()) << value;
        EXPECT_EQ(value, scripted.registerAt(kPrivilege));
    }
    scripted.setSilent(true);
    EXPECT_EQ(255, view->getAccessPermission());
}

TEST(GigeCamera, MayBeDroppedByTheHandlerOfItsLoss) {
    PlatedCamera scripted;
    auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    const auto listener = std::make_shared<ConnectionListener>();
    auto subscription = camera->events().subscribe();
    std::atomic<bool> dropped{false};
    listener->hook = [&] {
        subscription.reset();
        camera.reset();
        dropped = true;
    };
    ASSERT_TRUE(subscription->subscribeConnectArgs(
        GenICam::ConnectBinding::toMember<&ConnectionListener::onConnect>(listener)));
    scripted.setRegister(kPrivilege, 0);
    EXPECT_TRUE(eventually([&] { return dropped.load(); }));
}

TEST(GigeCamera, SetsUpItsStreamChannel) {
    PlatedCamera scripted;
    scripted.setRegister(0xd1c, 50001);
    const auto camera = cameraFor(scripted);
    QuietInlet inlet(50000);
    StreamSetup setup;
    EXPECT_FALSE(camera->openStreamChannel(inlet, setup, {}));
    EXPECT_EQ(Error::notConnected, lastError());
    ASSERT_TRUE(camera->connect(2));
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, {})) << lastErrorMessage();
    EXPECT_EQ(307200u, setup.payloadBytes);
    EXPECT_EQ(1400u, setup.packetBytes);
    EXPECT_TRUE(setup.canResend);
    EXPECT_TRUE(setup.inBatches);
    EXPECT_EQ(50001u, inlet.cameraPort);
    EXPECT_EQ(0x7f000001u, scripted.registerAt(0xd18));
    EXPECT_EQ(50000u, scripted.registerAt(0xd00));
    ASSERT_TRUE(camera->startAcquisition());
    EXPECT_EQ(1u, scripted.registerAt(kestro::test::kTransportLockRegister));
    EXPECT_EQ(1u, scripted.registerAt(kestro::test::kAcquisitionStartRegister));
    ASSERT_TRUE(camera->stopAcquisition(std::weak_ptr<LinkedStream>()));
    EXPECT_EQ(1u, scripted.registerAt(kestro::test::kAcquisitionStopRegister));
    EXPECT_EQ(0u, scripted.registerAt(kestro::test::kTransportLockRegister));
    camera->closeStreamChannel({});
    EXPECT_EQ(0u, scripted.registerAt(0xd00));
}

/** Camera and stream of its own, where packets of more than 1500 bytes do not get through. */
class NarrowPath {
 public:
    NarrowPath() : stream_(scripted.addressText().c_str()) {
        scripted.setRegister(0xd1c, stream_.port());
        scripted.setRegister(kestro::test::kPayloadSizeRegister, 4000);
        scripted.script([this](const ControlRequest& request) {
            const bool isOrder = request.command == 0x0082 && request.word(0) == 0xd04 &&
                                 (request.word(4) & 0x80000000) != 0;
            if (isOrder) sendTestPacket(request.word(4) & 0xffff);
            return scripted.ordinaryReaction(request);
        });
    }
    void send(const Octets& datagram) {
        stream_.sendTo(static_cast<std::uint16_t>(scripted.registerAt(0xd00)), datagram);
    }

    PlatedCamera scripted;
    std::atomic<bool> cameFirst{false};  ///< something from the host, before the first test packet

 private:
    void sendTestPacket(std::uint32_t bytes) {
        if (sent_++ == 0) cameFirst = stream_.receive() >= 0;
        if (bytes > 1500) return;
        for (int i = 0; i < 2; ++i) send(Octets(bytes - 28, 0xff));
    }

    kestro::test::TestSocket stream_;
    int sent_ = 0;
};

TEST(GigeCamera, OpensTheFirewallBeforeTestPacketsFindTheirSize) {
    auto& logger = kestro::test::RecordingLogger::instance();
    logger.reset();
    logger.setEnabledLevel(800);
    NarrowPath path;
    const auto camera = cameraFor(path.scripted);
    ASSERT_TRUE(camera->connect(2));
    const auto counters = std::make_shared<StreamCounters>();
    const auto source = makeStreamSource(camera, counters);
    ASSERT_TRUE(source->startGrabbing(0, 0)) << lastErrorMessage();
    EXPECT_TRUE(path.cameFirst);
    EXPECT_EQ(0x40000000u + 1500u, path.scripted.registerAt(0xd04));
    EXPECT_THAT(logger.lines(800, 800), testing::Contains(HasSubstr("1500 bytes: the largest")));
    logger.reset();
    // A test packet that is late, and a frame.
    path.send(kestro::test::PacketWriter{.blockId = 0, .stride = 8964}.payload(0, Octets(8964)));
    const Octets image = kestro::test::content(4000, 1);
    for (const Octets& packet : kestro::test::PacketWriter{.stride = 1464}.block(image))
        path.send(packet);
    GenICam::CFrame frame;
    ASSERT_TRUE(source->getFrame(frame, 10000)) << counters->text();
    EXPECT_TRUE(std::ranges::equal(
        image,
        std::span(static_cast<const std::uint8_t*>(frame.getImage()), frame.getImageSize())));
    EXPECT_TRUE(source->stopGrabbing());
    EXPECT_EQ("complete 1, delivered 1, packets 6", counters->text());
}

TEST(GigeCamera, ClosesTheStreamChannelThatItCannotSetUp) {
    PlatedCamera scripted;
    scripted.setRegister(kestro::test::kPayloadSizeRegister, 0);
    const auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    QuietInlet inlet(50000);
    StreamSetup setup;
    EXPECT_FALSE(camera->openStreamChannel(inlet, setup, {}));
    EXPECT_EQ(Error::badAnswer, lastError());
    EXPECT_EQ(0u, scripted.registerAt(0xd00));
    scripted.setRegister(kestro::test::kPayloadSizeRegister, 1000);
    const Variable packetByPacket("KESTRO_GRO", "0");
    EXPECT_TRUE(camera->openStreamChannel(inlet, setup, {}));
    EXPECT_FALSE(setup.inBatches);
}

TEST(GigeCamera, HasOneStreamAtATime) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    QuietInlet inlet(50000);
    QuietInlet other(50001);
    StreamSetup setup;
    ASSERT_TRUE(camera->openStreamChannel(inlet, setup, {}));
    EXPECT_FALSE(camera->openStreamChannel(other, setup, {}));
    EXPECT_EQ(Error::alreadyGrabbing, lastError());
    EXPECT_EQ(50000u, scripted.registerAt(0xd00));
    camera->closeStreamChannel({});
    EXPECT_TRUE(camera->openStreamChannel(other, setup, {}));
}

TEST(GigeCamera, KeepsItsStreamFromOneOfAnEarlierConnection) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    auto early = makeStreamSource(camera);
    ASSERT_TRUE(early->startGrabbing(0, 0)) << lastErrorMessage();
    EXPECT_TRUE(camera->disConnect());
    ASSERT_TRUE(camera->connect(2));
    const auto late = makeStreamSource(camera);
    ASSERT_TRUE(late->startGrabbing(0, 0)) << lastErrorMessage();
    const std::uint32_t port = scripted.registerAt(0xd00);
    EXPECT_TRUE(early->stopGrabbing());
    EXPECT_EQ(0u, scripted.registerAt(kestro::test::kAcquisitionStopRegister));
    EXPECT_EQ(1u, scripted.registerAt(kestro::test::kTransportLockRegister));
    EXPECT_EQ(port, scripted.registerAt(0xd00));
    EXPECT_FALSE(early->startGrabbing(0, 0));
    early.reset();
    EXPECT_EQ(port, scripted.registerAt(0xd00));
    EXPECT_TRUE(late->stopGrabbing());
    EXPECT_EQ(1u, scripted.registerAt(kestro::test::kAcquisitionStopRegister));
    EXPECT_EQ(0u, scripted.registerAt(0xd00));
}

TEST(GigeCamera, UnlocksTheTransportWhenAcquisitionDoesNotStart) {
    PlatedCamera scripted;
    const auto camera = cameraFor(scripted);
    ASSERT_TRUE(camera->connect(2));
    scripted.refuse(kestro::test::kAcquisitionStartRegister, 0x8007);
    EXPECT_FALSE(camera->startAcquisition());
    EXPECT_EQ(Error::refused, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr("AcquisitionStart"));
    EXPECT_EQ(0u, scripted.registerAt(kestro::test::kTransportLockRegister));
}

TEST(GigeCamera, ClosesTheStreamChannelOfADeadCameraQuietly) {
    const auto camera = cameraFor(PlatedCamera());
    setLastError(Error::alreadyGrabbing, "kept");
    camera->closeStreamChannel({});
    EXPECT_EQ("kept", lastErrorMessage());
}

bool isForceIpFor(const PlatedCamera& camera, const ControlRequest& request) {
    // The flags: an answer is wanted, and may be broadcast.
    return request.command == 0x0004 && request.flags == 0x11 && request.payload.size() == 56 &&
           std::ranges::equal(camera.mac.bytes, std::span(request.payload).subspan(2, 6));
}

/** Takes over the address of a FORCEIP, as a camera does that is not controlled. */
Reaction obeyForceIp(PlatedCamera& camera, const ControlRequest& request) {
    if (!isForceIpFor(camera, request)) return camera.ordinaryReaction(request);
    camera.setRegister(0x24, request.word(0x14));
    camera.setRegister(0x34, request.word(0x24));
    camera.setRegister(0x44, request.word(0x34));
    return {{{ScriptedCamera::acknowledge(0, 5, request.id)}}};
}

TEST(GigeCamera, GetsAnotherAddressByForce) {
    PlatedCamera scripted;
    Discovery discovery;
    scripted.setRegister(0x24, 0xc6336405);
    const auto found = find(discovery, scripted.serial);
    ASSERT_TRUE(found);
    const auto camera = std::make_shared<GigeCamera>(*found, "Acme:1");
    const auto view = IGigECamera::getInstance(camera);
    EXPECT_STRNE("Valid", view->getIpValidity().c_str());
    scripted.script([&](const ControlRequest& request) { return obeyForceIp(scripted, request); });
    ASSERT_TRUE(view->forceIpAddress(scripted.addressText().c_str(), "255.255.0.0", "127.0.0.9"))
        << lastErrorMessage();
    EXPECT_STREQ("Valid", view->getIpValidity().c_str());
    EXPECT_EQ(scripted.addressText(), view->getIpAddress().c_str());
    EXPECT_STREQ("255.255.0.0", view->getSubnetMask().c_str());
    EXPECT_STREQ("127.0.0.9", view->getGateway().c_str());
    EXPECT_TRUE(camera->connect(2)) << lastErrorMessage();
    EXPECT_FALSE(view->forceIpAddress(scripted.addressText().c_str(), "255.0.0.0", "0.0.0.0"));
}

TEST(GigeCamera, RefusesMalformedAddressesByForce) {
    PlatedCamera scripted;
    const auto view = IGigECamera::getInstance(cameraFor(scripted));
    const char* const cases[][3] = {
        {nullptr, "255.0.0.0", "0.0.0.0"},      {"10.0.0", "255.0.0.0", "0.0.0.0"},
        {"0.0.0.0", "255.0.0.0", "0.0.0.0"},    {"224.0.0.1", "255.0.0.0", "0.0.0.0"},
        {"10.0.0.1", "255.0.255.0", "0.0.0.0"}, {"10.0.0.1", "0.0.0.0", "0.0.0.0"},
        {"10.0.0.1", "255.0.0.0", ""},          {"10.0.0.1", "255.0.0.0", nullptr}};
    for (const auto& each : cases) {
        EXPECT_FALSE(view->forceIpAddress(each[0], each[1], each[2]));
        EXPECT_EQ(Error::invalidArgument, lastError());
    }
    for (const ControlRequest& request : scripted.broadcasts())
        EXPECT_FALSE(isForceIpFor(scripted, request));
}

TEST(GigeCamera, SaysWhenForceIsNotAcknowledged) {
    PlatedCamera scripted;
    scripted.setSilent(true);
    const auto camera = cameraFor(scripted);
    EXPECT_FALSE(camera->forceIpAddress("127.0.2.200", "255.0.0.0", "0.0.0.0"));
    EXPECT_EQ(Error::timeout, lastError());
    EXPECT_EQ(scripted.addressText(), camera->location().address.text());
}

TEST(GigeCamera, ShowsItsInterface) {
    PlatedCamera scripted;
    const auto view = IGigEInterface::getInstance(cameraFor(scripted));
    EXPECT_STREQ("127.0.0.1", view->getIpAddress().c_str());
    EXPECT_STREQ("255.0.0.0", view->getSubnetMask().c_str());
    EXPECT_STREQ("", view->getGateway().c_str());
    EXPECT_STREQ("lo", view->getName().c_str());
    EXPECT_STREQ("lo 127.0.0.1/8", view->getDescription().c_str());
    EXPECT_FALSE(IGigEInterface::getInstance(nullptr));
    EXPECT_FALSE(IGigECamera::getInstance(nullptr));
}

}  // namespace
}  // namespace Vorda::Gige
