// SPDX-License-Identifier: Apache-2.0
#include "Interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Vorda::Gige {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::Pair;

TEST(Interfaces, IncludeLoopback) {
    const auto interfaces = runningInterfaces();
    ASSERT_THAT(interfaces, Contains(Field(&HostInterface::name, "lo")));
    for (const HostInterface& each : interfaces) {
        if (each.address.text() != "127.0.0.1") continue;
        EXPECT_EQ("255.0.0.0", each.mask.text());
        EXPECT_GE(each.mtuBytes, 1500u);
        EXPECT_TRUE(each.canBroadcast);
        EXPECT_EQ("127.255.255.255", each.subnetBroadcast().text());
    }
}

TEST(Interfaces, ReachTheHostsOfTheirSubnet) {
    const HostInterface ordinary{"e", Ipv4{0xc0a80101}, Ipv4{0xffffff00}, {}, {}, 1500, true};
    EXPECT_TRUE(ordinary.reaches(Ipv4{0xc0a801fe}));
    for (const std::uint32_t other : {0xc0a80201u, 0xc0a80100u, 0xc0a801ffu, 0u})
        EXPECT_FALSE(ordinary.reaches(Ipv4{other}));
    const HostInterface twoHosts{"e", Ipv4{0xc0a80100}, Ipv4{0xfffffffe}, {}, {}, 1500, true};
    EXPECT_TRUE(twoHosts.reaches(Ipv4{0xc0a80101}));
    EXPECT_FALSE(twoHosts.reaches(Ipv4{0xc0a80102}));
}

TEST(Interfaces, WriteSubnets) {
    EXPECT_EQ("10.0.0.1/24", subnetText(Ipv4{0x0a000001}, Ipv4{0xffffff00}));
    EXPECT_EQ("10.0.0.1/0", subnetText(Ipv4{0x0a000001}, Ipv4{}));
    EXPECT_EQ("10.0.0.1/255.0.255.0", subnetText(Ipv4{0x0a000001}, Ipv4{0xff00ff00}));
}

TEST(Interfaces, FindDefaultGatewaysInTheRoutingTable) {
    const char* const table =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
        "eth0\t00000000\t010200C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"
        "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
        "wlan0\t00000000\tFE01A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n"
        "tun0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\t0\t0\t0\n"
        "damaged\n";
    EXPECT_THAT(parseDefaultGateways(table),
                ElementsAre(Pair("eth0", Ipv4{0xc0000201}), Pair("wlan0", Ipv4{0xc0a801fe})));
    EXPECT_TRUE(parseDefaultGateways("").empty());
}

}  // namespace
}  // namespace Vorda::Gige
