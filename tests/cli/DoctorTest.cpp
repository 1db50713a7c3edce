// SPDX-License-Identifier: Apache-2.0
//
// What `kestro doctor` makes of what it sees: this host is a folder of files, a stream is its
// counters.
#include "CameraChecks.h"
#include "CameraClock.h"
#include "Fakes.h"
#include "HostChecks.h"
#include "Json.h"
#include "StreamTrial.h"

#include <gtest/gtest.h>

#include <fstream>

namespace kestrotest {
namespace {

using namespace kestrocli;

constexpr std::uint32_t kClassC = 0xFFFFFF00;
constexpr std::uint64_t kMebi = 1U << 20U;

struct File {
    const char* path;
    const char* text;
};

/** A machine with a network card, eth1 192.168.1.1/24, that is set up well. */
class DoctorTest : public testing::Test {
 protected:
    DoctorTest() {
        host.root = folder.path();
        host.addresses = {{"lo", 0x7F000001, 0xFF000000, true},
                          {"eth1", 0xC0A80101, kClassC, false, 1500}};
        host.grantedBuffer = 32 * kMebi;
        addCard("eth1");
        write({"/proc/sys/net/core/rmem_max", "33554432"});
        write({"/proc/sys/net/ipv4/conf/all/rp_filter", "0"});
        write({"/proc/net/route", kRoutes});
        camera.serialNumber = "C1";
        camera.ip = "192.168.1.7";
        camera.mask = "255.255.255.0";
        camera.interfaceName = "eth1";
        camera.interfaceText = "eth1 192.168.1.1/24";
        facts.camera = camera;
        facts.seconds = 3;
        facts.frames = 60;
        facts.payloadBytes = kMebi;
        facts.packetBytes = 1500;
        facts.mostPacketBytes = 9000;
        facts.frameRate = 20;
    }

    void write(const File& file) const {
        const std::filesystem::path path = folder.path() + file.path;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << file.text << '\n';
    }

    void addCard(const std::string& name) const {
        const std::string card = "/sys/class/net/" + name;
        write({(card + "/device/vendor").c_str(), "0x8086"});
        write({(card + "/carrier").c_str(), "1"});
        write({(card + "/speed").c_str(), "1000"});
        write({(card + "/duplex").c_str(), "full"});
    }

    void addSecondCard(std::uint32_t address) {
        addCard("eth2");
        host.addresses.push_back({"eth2", address, kClassC, false, 1500});
    }

    [[nodiscard]] Findings ofHost() const {
        Findings all = checkInterfaces(host);
        for (const auto& part : {checkRoutes(host), checkKernel(host)}) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    static Finding named(const std::string& check, const Findings& findings) {
        for (const auto& each : findings) {
            if (each.check == check) return each;
        }
        ADD_FAILURE() << "no check " << check;
        return {};
    }
    [[nodiscard]] Finding ofHost(const std::string& check) const { return named(check, ofHost()); }
    [[nodiscard]] Finding ofStream(const std::string& check) const {
        return named(check, checkStream(host, facts));
    }

    // Destination, gateway and mask are written as a little-endian machine holds them.
    static constexpr const char* kRoutes =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n"
        "eth1\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0";

    TemporaryFolder folder;
    Host host;
    CameraRecord camera;
    StreamFacts facts;
};

void expect(const Finding& finding, Verdict verdict, const std::string& seen,
            const std::string& mend) {
    EXPECT_EQ(verdictName(finding.verdict), verdictName(verdict)) << finding.seen;
    EXPECT_NE(finding.seen.find(seen), std::string::npos) << finding.seen;
    EXPECT_NE(finding.mend.find(mend), std::string::npos) << finding.mend;
    EXPECT_EQ(finding.mend.empty(), mend.empty()) << finding.mend;
}

TEST_F(DoctorTest, FindsNothingWrongWithAHostThatIsSetUpWell) {
    for (const auto& each : ofHost()) {
        const Verdict wanted = each.check == "firewall" ? Verdict::skip : Verdict::pass;
        EXPECT_EQ(verdictName(each.verdict), verdictName(wanted))
            << each.check << ": " << each.seen;
        EXPECT_TRUE(each.mend.empty()) << each.check;
    }
}

TEST_F(DoctorTest, SeesWhatOneFileTells) {
    struct Case {
        File file;
        const char* check;
        const char* seen;
        const char* mend;
    };
    const Case cases[] = {
        {{"/sys/class/net/eth1/speed", "100"}, "link", "100 Mb/s", "ethtool eth1"},
        {{"/sys/class/net/eth1/duplex", "half"}, "link", "half duplex", "ethtool eth1"},
        {{"/proc/net/dev", "  eth1: 9 1000000 5 0 5000 0 0 0"}, "drops", "missed 5000", "-G eth1"},
        {{"/proc/net/dev", "  eth1: 9 1000000 5 0 0 5000 0 0"}, "drops", "damaged 5000", "cable"},
    };
    for (const auto& [file, check, seen, mend] : cases) {
        const auto before = host.line(file.path);
        write(file);
        expect(ofHost(check), Verdict::warn, seen, mend);
        write({file.path, before ? before->c_str() : "0"});
    }
    write({"/proc/net/dev", "  eth1: 9 1000000 5 10 0 0 0 0"});
    expect(ofHost("drops"), Verdict::pass, "", "");
    write({"/sys/class/net/eth1/speed", "-1"});
    expect(ofHost("link"), Verdict::skip, "virtual", "");
    host.isSysOurs = false;
    expect(ofHost("link"), Verdict::skip, "another network namespace", "");
    host.addresses[1].mtuBytes = 1400;
    host.addresses.push_back({"tun0", 0x0A080001, kClassC, false, 1300});
    expect(ofHost("mtu"), Verdict::warn, "eth1 1400, tun0 1300", "ip link set eth1 mtu 1500");
    host.isSysOurs = true;
    host.addresses[1].mtuBytes = 1500;
    expect(ofHost("mtu"), Verdict::pass, "tun0 1300", "");
}

TEST_F(DoctorTest, SaysWhichInterfacesAreUsed) {
    host.chosenInterfaces = "eth1, eth9";
    expect(ofHost("interfaces"), Verdict::warn, "eth9", "ip -br");
    host.chosenInterfaces = "eth9";
    expect(ofHost("interfaces"), Verdict::fail, "KESTRO_INTERFACES", "eth1 192.168.1.1/24");
    host.chosenInterfaces = "";
    addCard("eth2");
    expect(ofHost("interfaces"), Verdict::warn, "eth2 has a link",
           "ip addr add 192.168.1.1/24 dev eth2");
    write({"/sys/class/net/eth2/carrier", "0"});
    expect(ofHost("interfaces"), Verdict::pass, "eth1 192.168.1.1/24", "");
    write({"/sys/class/net/eth1/carrier", "0"});
    host.addresses.pop_back();
    expect(ofHost("interfaces"), Verdict::warn, "no network card", "dev eth1");
    host.addresses.clear();
    expect(ofHost("interfaces"), Verdict::fail, "none", "dev eth1");
}

TEST_F(DoctorTest, SeesThatTwoCardsAreInTheWayOfEachOther) {
    addSecondCard(0xC0A80102);
    expect(ofHost("subnets"), Verdict::warn, "eth1 and eth2 share 192.168.1.0/24",
           "ip addr del 192.168.1.2/24 dev eth2");
    expect(ofHost("routes"), Verdict::warn, "goes out of eth1, not of eth2", "dev eth2");
    host.chosenInterfaces = "eth1";
    expect(ofHost("subnets"), Verdict::pass, "", "");
}

TEST_F(DoctorTest, SeesThatAnswersAreFilteredByTheirWayBack) {
    write({"/proc/sys/net/ipv4/conf/eth1/rp_filter", "1"});
    expect(ofHost("rp_filter"), Verdict::pass, "the one card", "");
    addSecondCard(0xC0A80201);
    expect(ofHost("rp_filter"), Verdict::warn, "strict on eth1", "net.ipv4.conf.eth1.rp_filter=0");
    // The larger of the two numbers counts, and 2 is the loose one.
    write({"/proc/sys/net/ipv4/conf/all/rp_filter", "2"});
    expect(ofHost("rp_filter"), Verdict::pass, "", "");
}

TEST_F(DoctorTest, SeesANarrowerRouteThroughAnotherCard) {
    write({"/proc/net/route",
           "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n"
           "eth1\t0001A8C0\t00000000\t0001\t0\t0\t100\t00FFFFFF\n"
           "tun0\t0001A8C0\t00000000\t0001\t0\t0\t0\t80FFFFFF"});
    expect(ofHost("routes"), Verdict::warn, "goes out of tun0", "ip route replace 192.168.1.0/24");
}

TEST_F(DoctorTest, SaysForWhichFramesTheReceiveBufferIsEnough) {
    host.grantedBuffer = 212'992;
    expect(ofHost("receive buffer"), Verdict::warn, "208 KiB of the 4 MiB",
           "sysctl -w net.core.rmem_max=33554432");
    host.grantedBuffer = 8 * kMebi;
    expect(ofHost("receive buffer"), Verdict::pass, "frames of up to 2 MiB", "");
    expect(ofStream("stream buffer"), Verdict::pass, "4 MiB", "");
    facts.payloadBytes = 5 * kMebi;
    expect(ofStream("stream buffer"), Verdict::warn, "20 MiB wanted", "rmem_max");
    facts.payloadBytes = 50 * kMebi;
    expect(ofStream("stream buffer"), Verdict::warn, "32 MiB wanted", "rmem_max");
}

TEST_F(DoctorTest, KnowsAFirewallAndAClockThatNobodySets) {
    write({"/etc/ufw/ufw.conf", "# settings\nENABLED=yes"});
    expect(ofHost("firewall"), Verdict::skip, "ufw is on", "");
    write({"/etc/ufw/ufw.conf", "ENABLED=no"});
    write({"/sys/fs/cgroup/system.slice/firewalld.service/cgroup.procs", "761"});
    expect(ofHost("firewall"), Verdict::skip, "firewalld is on", "");
    host.isClockSynchronised = false;
    expect(ofHost("clock"), Verdict::warn, "not synchronised", "timedatectl");
}

TEST_F(DoctorTest, ProposesAFreeAddressInTheSubnetOfTheInterface) {
    camera.ip = "10.9.8.7";
    expect(named("subnet", checkPlace(host, camera, {}, {camera})), Verdict::fail, "10.9.8.7",
           "kestro force-ip C1 192.168.1.7/24");
    CameraRecord other;
    other.ip = "192.168.1.7";
    write({"/proc/net/arp", "IP address HW type\n192.168.1.8      0x1"});
    EXPECT_EQ(proposedAddress(host, camera, {camera, other}), "192.168.1.9/24");
    camera.ip = "169.254.3.255";  // the subnet's own, then 0, then this host
    EXPECT_EQ(proposedAddress(host, camera, {camera}), "192.168.1.2/24");
    camera.interfaceName = "lo";
    camera.interfaceText = "lo 127.0.0.1/8";
    camera.ip = "10.9.8.7";
    EXPECT_EQ(proposedAddress(host, camera, {camera}), "127.0.0.7/8");
    host.addresses[1].mask = 0xFFFFFFFF;
    camera.interfaceName = "eth1";
    EXPECT_EQ(proposedAddress(host, camera, {camera}), "");
}

TEST_F(DoctorTest, SaysWhoHasTheCamera) {
    expect(checkAccess(camera, {true, kestro::DeviceInfo::Open}), Verdict::pass, "nobody", "");
    expect(checkAccess(camera, {true, kestro::DeviceInfo::Exclusive}), Verdict::fail, "exclusive",
           "end that program");
    expect(checkAccess(camera, {true, kestro::DeviceInfo::Unknown}), Verdict::fail, "192.168.1.7",
           "arping -I eth1 192.168.1.7");
    expect(checkSearch(host, {}), Verdict::warn, "asked through eth1, lo", "tcpdump");
}

TEST_F(DoctorTest, TellsAStreamThatIsKeptAwayFromOneThatWaits) {
    expect(ofStream("stream"), Verdict::pass, "", "");
    facts.frames = 0;
    expect(ofStream("stream"), Verdict::fail, "firewall",
           "nft insert rule inet filter input iifname eth1 ip saddr 192.168.1.0/24");
    expect(ofStream("packet size"), Verdict::skip, "1500", "");
    write({"/run/firewalld.pid", "761"});
    expect(ofStream("stream"), Verdict::fail, "firewall",
           "firewall-cmd --permanent --zone=trusted --add-source=192.168.1.0/24 && "
           "sudo firewall-cmd --reload");
    write({"/etc/ufw/ufw.conf", "ENABLED=yes"});
    expect(ofStream("stream"), Verdict::fail, "firewall",
           "ufw allow in on eth1 proto udp from 192.168.1.0/24");
    facts.trigger = "FrameStart";
    expect(ofStream("stream"), Verdict::skip, "FrameStart", "kestro doctor C1 --free-run");
    facts.startError = "camera C1 could not be started";
    expect(ofStream("stream"), Verdict::fail, "could not be started", "kestro -v read C1");
}

TEST_F(DoctorTest, SeesThatTheWayTakesSmallerPacketsThanItsEnds) {
    expect(ofStream("packet size"), Verdict::pass, "1500 bytes", "");
    host.addresses[1].mtuBytes = 9000;
    expect(ofStream("packet size"), Verdict::warn, "take 9000", "ping -M do -s 8972 192.168.1.7");
    facts.packetBytes = 8996;  // a camera may count in steps
    expect(ofStream("packet size"), Verdict::pass, "8996 bytes", "");
}

TEST_F(DoctorTest, SaysWhatHelpsAgainstTheLosses) {
    expect(ofStream("losses"), Verdict::pass, "60 frames in 3.0 s", "");
    facts.packetsResent = 12;
    facts.resendRequests = 1;
    expect(ofStream("losses"), Verdict::warn, "12 packets came only after 1 request",
           "kestro set C1 AcquisitionFrameRate=10");
    write({"/sys/class/net/eth1/speed", "100"});
    facts.packetsLost = 4;
    facts.framesLost = 1;
    expect(ofStream("losses"), Verdict::fail, "1 lost; 4 packets lost", "ethtool eth1");
    facts.hostDrops = 3;
    expect(ofStream("losses"), Verdict::fail, "this host dropped 3 packets", "mtu 9000");
    host.grantedBuffer = 212'992;
    expect(ofStream("losses"), Verdict::fail, "3 packets", "rmem_max");
    facts.frames = 0;  // every frame was lost: packets do come
    expect(ofStream("stream"), Verdict::pass, "", "");
}

TEST_F(DoctorTest, ComparesTheCamerasClockWithThisHosts) {
    using std::chrono::microseconds;
    using std::chrono::seconds;
    const ClockReading first{1'000, 1'000'000, {}, microseconds(50)};
    const auto after = [&first](std::int64_t ticks) {
        return checkCameraClock(first, ClockReading{first.ticks + ticks, 1'000'000,
                                                    first.host + seconds(2), microseconds(50)});
    };
    expect(after(2'000'100), Verdict::pass, "50 ppm (within 50)", "");
    expect(after(2'004'000), Verdict::warn, "2000 ppm", "do not compare");
    expect(after(0), Verdict::warn, "stands still", "host_time");
    expect(checkCameraClock(first, std::nullopt), Verdict::skip, "", "");
}

TEST_F(DoctorTest, WritesAFindingAsALineOfJson) {
    EXPECT_EQ(findingLine("", {Verdict::warn, "receive buffer", "208 KiB", "sudo \"x\""}),
              R"({"camera":null,"check":"receive_buffer","verdict":"warn","seen":"208 KiB",)"
              R"("mend":"sudo \"x\""})");
    EXPECT_EQ(findingLine("M:C1", {Verdict::pass, "found", "here", ""}),
              R"({"camera":"M:C1","check":"found","verdict":"pass","seen":"here","mend":null})");
}

}  // namespace
}  // namespace kestrotest
