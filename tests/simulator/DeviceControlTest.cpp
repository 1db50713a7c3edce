// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <fstream>
#include <map>

#include "RawClient.h"

namespace rawclient {
namespace {

using kestrosim::CameraOptions;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kDiscovery = 0x0002;
constexpr std::uint32_t kForceIp = 0x0004;
constexpr std::uint32_t kReadRegister = 0x0080;
constexpr std::uint32_t kWriteRegister = 0x0082;
constexpr std::uint32_t kReadMemory = 0x0084;
constexpr std::uint32_t kWriteMemory = 0x0086;
constexpr std::uint32_t kHeartbeat = 0x0938;
constexpr std::uint32_t kPrivilege = 0x0a00;
constexpr std::uint32_t kNoAnswer = 0xffffffff;

std::string text(const Bytes& bytes, std::size_t offset) {
    return reinterpret_cast<const char*>(bytes.data() + offset);
}

Bytes description(Client& client) {
    const std::string url = text(client.readMemory(0x200, 512), 0);
    unsigned address = 0;
    unsigned size = 0;
    char name[32] = "";
    EXPECT_EQ(std::sscanf(url.c_str(), "Local:%31[^;];%x;%x", name, &address, &size), 3) << url;
    Bytes all;
    while (all.size() < size) {
        const auto left = static_cast<std::uint32_t>(size - all.size());
        const std::uint32_t count = std::min(512U, (left + 3) / 4 * 4);
        all = all + client.readMemory(address + static_cast<std::uint32_t>(all.size()), count);
    }
    all.resize(size);
    return all;
}

TEST(SimulatedDiscovery, TellsWhoTheCameraIs) {
    CameraOptions options = TestCamera::small();
    options.serial = "S-1";
    options.userName = "left";
    const TestCamera camera(options);
    Client client(camera.options.address);
    const Reply reply = client.command(kDiscovery, {});
    ASSERT_EQ(reply.status, 0U);
    EXPECT_EQ(reply.command, 0x0003U);
    ASSERT_EQ(reply.payload.size(), 248U);
    const Bytes& fields = reply.payload;
    EXPECT_GE(number(fields, 0x00, 2), 1U);        // version
    EXPECT_EQ(number(fields, 0x04, 4) >> 31, 1U);  // big endian
    EXPECT_EQ(fields[0x0a] & 0x03, 0x02);          // a MAC of one, locally administered
    EXPECT_EQ(number(fields, 0x24, 4), addressNumber(camera.options.address));
    EXPECT_EQ(number(fields, 0x34, 4), 0xff000000U);
    EXPECT_EQ(text(fields, 0x48), "Kestro");
    EXPECT_EQ(text(fields, 0x68), "SimReader");
    EXPECT_EQ(text(fields, 0xd8), "S-1");
    EXPECT_EQ(text(fields, 0xe8), "left");
}

TEST(SimulatedDiscovery, EveryCameraAnswersABroadcastFromItsOwnAddress) {
    const TestCamera one;
    const TestCamera two;
    for (const char* const broadcast : {"255.255.255.255", "127.255.255.255"}) {
        const Socket socket;
        socket.send({0x42, 0x11, 0x00, 0x02, 0, 0, 0xff, 0xff}, broadcast);
        std::map<std::string, Bytes> answers;
        while (answers.count(one.options.address) + answers.count(two.options.address) < 2) {
            const auto received = socket.receive();
            ASSERT_TRUE(received) << broadcast;
            answers[received->from] = received->bytes;
        }
        EXPECT_NE(number(answers[one.options.address], 8 + 0x0a, 6),
                  number(answers[two.options.address], 8 + 0x0a, 6));
    }
}

TEST(SimulatedDiscovery, ClaimsAnotherAddress) {
    CameraOptions options = TestCamera::small();
    options.claim = "198.51.100.5/24";
    const TestCamera camera(options);
    const Bytes fields = Client(camera.options.address).command(kDiscovery, {}).payload;
    EXPECT_EQ(number(fields, 0x24, 4), addressNumber("198.51.100.5"));
    EXPECT_EQ(number(fields, 0x34, 4), 0xffffff00U);
}

std::string failureOf(const CameraOptions& options) {
    try {
        const kestrosim::SimulatedCamera camera(options);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(SimulatedCamera, SaysWhyItCannotBeSwitchedOn) {
    const TestCamera first;
    CameraOptions options = first.options;
    EXPECT_NE(failureOf(options).find(options.address + ": UDP port 3956 is already in use"),
              std::string::npos);
    options.address = "192.0.2.77";
    EXPECT_NE(failureOf(options).find("192.0.2.77"), std::string::npos);
    options = TestCamera::small();
    options.address = TestCamera::freshAddress();
    options.truthFile = "/nonexistent/truth";
    EXPECT_NE(failureOf(options).find("/nonexistent/truth"), std::string::npos);
    options.truthFile.clear();
    options.width = 321;
    EXPECT_NE(failureOf(options).find("width"), std::string::npos);
}

TEST(SimulatedCamera, UnpluggedIsSilentAndFreesItsAddress) {
    TestCamera camera;
    Client client(camera.options.address);
    ASSERT_EQ(client.command(kDiscovery, {}).status, 0U);
    camera.camera.reset();
    EXPECT_EQ(client.command(kDiscovery, {}, 100).status, kNoAnswer);
    EXPECT_EQ(failureOf(camera.options), "");
}

struct StatusCase {
    const char* name;
    std::uint32_t command;
    Bytes payload;
    std::uint32_t status;
};

class GvcpStatus : public testing::TestWithParam<StatusCase> {};

TEST_P(GvcpStatus, IsTheStandards) {
    const TestCamera camera;
    Client client(camera.options.address);
    ASSERT_EQ(client.write(kPrivilege, 2), 0U);
    const Reply reply = client.command(GetParam().command, GetParam().payload);
    EXPECT_EQ(reply.status, GetParam().status);
    EXPECT_EQ(reply.command, GetParam().command + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, GvcpStatus,
    testing::Values(
        StatusCase{"UnknownCommand", 0x00aa, {}, 0x8001},
        StatusCase{"ReadNothing", kReadRegister, {}, 0x8002},
        StatusCase{"ReadHole", kReadRegister, be32(0x8000), 0x8003},
        StatusCase{"ReadLastAddress", kReadRegister, be32(0xfffffffc), 0x8003},
        StatusCase{"ReadOddAddress", kReadRegister, be32(0x0002), 0x8005},
        StatusCase{"ReadMemoryOddCount", kReadMemory, be32(0) + be32(3), 0x8005},
        StatusCase{"ReadMemoryTooMuch", kReadMemory, be32(0) + be32(540), 0x8002},
        StatusCase{"ReadMemoryIntoHole", kReadMemory, be32(0) + be32(536), 0x8003},
        StatusCase{"ReadMemoryPastDescription", kReadMemory, be32(0x17fffff0) + be32(16), 0x8003},
        StatusCase{"WriteReadOnly", kWriteRegister, be32(0x0000) + be32(1), 0x8004},
        StatusCase{"WriteDescription", kWriteRegister, be32(0x100000) + be32(1), 0x8004},
        StatusCase{"WriteHole", kWriteRegister, be32(0x8000) + be32(1), 0x8003},
        StatusCase{"WritePacketSizeOfZero", kWriteRegister, be32(0x0d04) + be32(0), 0x8002},
        StatusCase{"WriteHalfARegister", kWriteRegister, be32(0x0938), 0x8002},
        StatusCase{"WriteMemoryOddLength", kWriteMemory, be32(0xe8) + Bytes{1, 2, 3, 4, 5}, 0x8005},
        StatusCase{"WriteMemoryPastUserName", kWriteMemory, be32(0xe8) + Bytes(20), 0x8003}),
    [](const auto& test) { return test.param.name; });

TEST(GvcpRegisters, AreWrittenUpToTheFirstRefused) {
    const TestCamera camera;
    Client client(camera.options.address);
    ASSERT_EQ(client.write(kPrivilege, 2), 0U);
    const Reply reply = client.command(
        kWriteRegister, be32(kHeartbeat) + be32(5000) + be32(0) + be32(1) + be32(0x0d08) + be32(7));
    EXPECT_EQ(reply.status, 0x8004U);
    EXPECT_EQ(reply.payload, be32(1));
    EXPECT_EQ(client.read(kHeartbeat), 5000U);
    EXPECT_EQ(client.read(0x0d08), 0U);
    const Reply both = client.command(kReadRegister, be32(kHeartbeat) + be32(kPrivilege));
    EXPECT_EQ(both.payload, be32(5000) + be32(2));
}

TEST(GvcpRegisters, AreCountedByKindOfCommand) {
    const TestCamera camera;
    Client client(camera.options.address);
    ASSERT_EQ(client.write(kPrivilege, 2), 0U);
    const Bytes order = be32(kHeartbeat) + be32(5000) + be32(0) + be32(1);
    EXPECT_EQ(client.command(kWriteRegister, order).status, 0x8004U);
    EXPECT_EQ(client.repeat(kWriteRegister, order).status, 0x8004U) << "answered, not done again";
    EXPECT_EQ(client.command(kReadRegister, be32(kHeartbeat) + be32(kPrivilege)).status, 0U);
    EXPECT_EQ(client.readMemory(0x48, 32).size(), 32U);
    EXPECT_EQ(client.command(kWriteMemory, be32(0xe8) + Bytes(16)).status, 0U);
    EXPECT_EQ(client.command(kWriteMemory, be32(0xe8) + Bytes(20)).status, 0x8003U);
    const auto did = camera.camera->statistics();
    EXPECT_EQ(did.commandsAnswered, 7U);
    EXPECT_EQ(did.registersWritten, 2U);
    EXPECT_EQ(did.registersRead, 2U);
    EXPECT_EQ(did.memoryReads, 1U);
    EXPECT_EQ(did.memoryWrites, 1U);
    EXPECT_EQ(did.commandsRefused, 3U);
}

TEST(GvcpRegisters, KeepTheUserName) {
    const TestCamera camera;
    Client client(camera.options.address);
    ASSERT_EQ(client.write(kPrivilege, 2), 0U);
    Bytes name{'d', 'o', 'c', 'k', ' ', '7'};
    name.resize(16);
    EXPECT_EQ(client.command(kWriteMemory, be32(0xe8) + name).status, 0U);
    EXPECT_EQ(text(client.command(kDiscovery, {}).payload, 0xe8), "dock 7");
}

TEST(ControlPrivilege, KeepsOthersFromWriting) {
    const TestCamera camera;
    Client owner(camera.options.address);
    Client other(camera.options.address);
    EXPECT_EQ(owner.write(kHeartbeat, 1000), 0x8006U) << "without control";
    ASSERT_EQ(owner.write(kPrivilege, 2), 0U);
    EXPECT_EQ(other.write(kHeartbeat, 1000), 0x8006U);
    EXPECT_EQ(other.write(kPrivilege, 2), 0x8006U);
    EXPECT_EQ(other.write(kPrivilege, 0), 0x8006U);
    EXPECT_EQ(other.read(kHeartbeat), 3000U);
    EXPECT_EQ(other.read(0x0a04), owner.socket().port());
    EXPECT_EQ(other.read(0x0a14), addressNumber("127.0.0.1"));

    ASSERT_EQ(owner.write(kPrivilege, 1), 0U);
    EXPECT_EQ(other.command(kReadRegister, be32(kHeartbeat)).status, 0x8006U);
    EXPECT_EQ(other.read(kPrivilege), 1U) << "who has control, everyone may ask";

    ASSERT_EQ(owner.write(kPrivilege, 0), 0U);
    EXPECT_EQ(other.write(kPrivilege, 2), 0U);
}

TEST(ControlPrivilege, ExpiresWhenItsOwnerFallsSilent) {
    const TestCamera camera;
    Client owner(camera.options.address);
    Client other(camera.options.address);
    ASSERT_EQ(owner.write(kPrivilege, 2), 0U);
    ASSERT_EQ(owner.write(kHeartbeat, 500), 0U);
    const auto silentSince = Clock::now();
    ASSERT_EQ(owner.write(0x0d00, 40000), 0U);
    while (other.read(kPrivilege) == 2) {
        ASSERT_LT(Clock::now() - silentSince, std::chrono::seconds(10));
    }
    EXPECT_GE(Clock::now() - silentSince, std::chrono::milliseconds(500));
    EXPECT_EQ(other.read(0x0d00), 0U) << "the stream channel is closed";
    EXPECT_EQ(owner.write(kHeartbeat, 1000), 0x8006U);
}

TEST(ControlPrivilege, IsTakenAgainByTheSameDatagramAfterItExpired) {
    const TestCamera camera;
    Client owner(camera.options.address);
    Client other(camera.options.address);
    const Bytes order = be32(kPrivilege) + be32(2) + be32(kHeartbeat) + be32(500);
    ASSERT_EQ(owner.command(kWriteRegister, order).status, 0U);
    const auto silentSince = Clock::now();
    while (other.read(kPrivilege) == 2) {
        ASSERT_LT(Clock::now() - silentSince, std::chrono::seconds(10));
    }
    EXPECT_EQ(owner.repeat(kWriteRegister, order).status, 0U);
    EXPECT_EQ(other.read(kPrivilege), 2U);
}

TEST(ControlPrivilege, LastsAsLongAsItsOwnerReads) {
    const TestCamera camera;
    Client owner(camera.options.address);
    ASSERT_EQ(owner.write(kPrivilege, 2), 0U);
    ASSERT_EQ(owner.write(kHeartbeat, 500), 0U);
    const auto until = Clock::now() + std::chrono::milliseconds(800);
    while (Clock::now() < until) EXPECT_EQ(owner.read(kPrivilege), 2U);
}

TEST(GvcpHostileDatagrams, ChangeNothing) {
    const TestCamera camera;
    Client client(camera.options.address);
    const Bytes before = client.command(kDiscovery, {}).payload;
    const std::vector<Bytes> silent = {{},
                                       {0x42},
                                       {0x43, 1, 0, 2, 0, 0, 0, 7},
                                       Bytes(8),
                                       Bytes(60000, 0xff),
                                       {0x42, 0, 0, 0x80, 0, 4, 0, 9, 0, 0, 0, 0},
                                       Bytes{0x42, 0x11, 0, 4, 0, 56, 0, 7} + Bytes(56, 0x55),
                                       Bytes{0x42, 0x01, 0, 4, 0, 3, 0, 7} + Bytes(3),
                                       Bytes{0x42, 0x10, 0, 0x40, 0, 12, 0, 7} + Bytes(12, 0xff),
                                       Bytes{0x42, 0x00, 0, 0x40, 0, 12, 0, 7} + Bytes(12, 0xff)};
    for (const Bytes& datagram : silent) client.socket().send(datagram, camera.options.address);
    const std::vector<Bytes> refused = {
        {0x42, 1, 0, 0x80, 0xff, 0xff, 0, 101},        // longer than the datagram
        {0x42, 1, 0, 0x80, 0, 0, 0, 101, 1, 2, 3, 4},  // shorter
        {0x42, 1, 0, 0x80, 0, 4, 0, 0, 0, 0, 0, 0}};   // request id 0
    for (const Bytes& datagram : refused) {
        client.socket().send(datagram, camera.options.address);
        const auto answer = client.socket().receive();
        ASSERT_TRUE(answer);
        EXPECT_EQ(number(answer->bytes, 0, 2), 0x800eU) << "and nothing else was answered";
    }
    EXPECT_EQ(client.command(kDiscovery, {}).payload, before);
}

Bytes forceIp(const Bytes& mac, const std::string& address) {
    return Bytes(2) + mac + Bytes(12) + be32(addressNumber(address)) + Bytes(12) +
           be32(0xffffff00) + Bytes(12) + be32(addressNumber("10.1.2.1"));
}

TEST(ForceIp, GivesTheCameraOfThatMacAnotherAddress) {
    const TestCamera camera;
    const std::string& address = camera.options.address;
    Client client(address);
    const Bytes fields = client.command(kDiscovery, {}).payload;
    const Bytes mac(fields.begin() + 0x0a, fields.begin() + 0x10);
    Bytes foreign = mac;
    foreign[5] ^= 1;
    EXPECT_EQ(client.command(kForceIp, forceIp(foreign, "10.1.2.3"), 100).status, kNoAnswer);
    EXPECT_EQ(client.read(0x24), addressNumber(address));

    // An address that is not this host's: said, but answered where the camera can be reached.
    EXPECT_EQ(client.command(kForceIp, forceIp(mac, "10.1.2.3")).status, 0U);
    EXPECT_EQ(client.read(0x24), addressNumber("10.1.2.3"));
    EXPECT_EQ(client.read(0x34), 0xffffff00U);
    EXPECT_EQ(client.read(0x44), addressNumber("10.1.2.1"));

    const std::string moved = "127.0.3." + address.substr(address.rfind('.') + 1);
    EXPECT_EQ(client.command(kForceIp, forceIp(mac, moved)).status, 0U);
    Client atNewPlace(moved);
    EXPECT_EQ(atNewPlace.read(0x24), addressNumber(moved));
    EXPECT_EQ(client.command(kDiscovery, {}, 100).status, kNoAnswer);

    ASSERT_EQ(atNewPlace.write(kPrivilege, 2), 0U);
    EXPECT_EQ(atNewPlace.command(kForceIp, forceIp(mac, address), 100).status, kNoAnswer)
        << "not while it is under control";
}

/** The only file of an archive whose local header tells everything. */
std::string unzipped(const Bytes& zip) {
    const auto field = [&](std::size_t at, std::size_t bytes) {
        std::size_t value = 0;
        for (std::size_t i = bytes; i-- > 0;) value = value << 8 | zip.at(at + i);
        return value;
    };
    EXPECT_EQ(field(0, 4), 0x04034b50U);
    const std::size_t begin = 30 + field(26, 2) + field(28, 2);
    std::string bytes(field(22, 4), '\0');
    z_stream stream{};
    stream.next_in = const_cast<Bytef*>(&zip.at(begin));
    stream.avail_in = static_cast<uInt>(field(18, 4));
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    inflateEnd(&stream);
    EXPECT_EQ(stream.total_out, bytes.size());
    EXPECT_EQ(crc32(0, stream.next_out - bytes.size(), static_cast<uInt>(bytes.size())),
              field(14, 4));
    return bytes;
}

TEST(CameraDescription, IsServedWhole) {
    const TestCamera camera;
    Client client(camera.options.address);
    const std::string xml = unzipped(description(client));
    EXPECT_EQ(xml.rfind("<?xml", 0), 0U);
    EXPECT_EQ(xml.substr(xml.size() - 23), "</RegisterDescription>\n");
    for (const char* const feature :
         {"DeviceUserID", "Width", "PixelFormat", "AcquisitionStart", "ExposureTime",
          "TriggerSoftware", "PayloadSize", "GevSCPSPacketSize", "ResultFormat", "QR63_PPM"}) {
        EXPECT_NE(xml.find("Name=\"" + std::string(feature) + '"'), std::string::npos) << feature;
    }
}

TEST(CameraDescription, IsTheGivenFileWhateverItHolds) {
    const std::string path = testing::TempDir() + "description-" + std::to_string(::getpid());
    const Bytes odd{'<', 0, 0xff, 'x', 'm'};
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(odd.data()), 5);
    CameraOptions options = TestCamera::small();
    options.descriptionFile = path;
    const TestCamera camera(options);
    Client client(camera.options.address);
    EXPECT_EQ(description(client), odd);
    std::remove(path.c_str());
}

}  // namespace
}  // namespace rawclient
