// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"
#include "Fakes.h"
#include "Find.h"
#include "Sim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kestrocli;
using testing::HasSubstr;

namespace {

std::vector<FoundCamera> twoCameras() {
    CameraRecord gate;
    gate.key = "Maker:A1";
    gate.serialNumber = "A1";
    gate.userName = "gate";
    gate.ip = "192.168.1.7";
    gate.mac = "01:23:45:67:89:ab";
    CameraRecord belt = gate;
    belt.key = "Other:A1";
    belt.userName = "belt\x1b[31m";
    belt.ip = "192.168.1.8";
    belt.mac = "01:23:45:67:89:ac";
    return {{nullptr, gate}, {nullptr, belt}};
}

ExitCode codeOf(const std::string& text, std::string& message) {
    try {
        (void)chooseCamera(twoCameras(), text);
    } catch (const Failure& failure) {
        message = failure.what();
        return failure.code();
    }
    return ExitCode::ok;
}

TEST(CameraChoice, TakesKeyNameAddressAndMac) {
    for (const char* text :
         {"Maker:A1", "gate", "192.168.1.7", "01:23:45:67:89:AB", "01-23-45-67-89-ab"}) {
        EXPECT_EQ(chooseCamera(twoCameras(), text).record.key, "Maker:A1") << text;
    }
}

TEST(CameraChoice, ListsWhatThereIsWhenNoneFits) {
    for (const char* text : {"A", "A11", "a1", "", "192.168.1", "0123456789"}) {
        std::string message;
        EXPECT_EQ(codeOf(text, message), ExitCode::notFound) << text;
        EXPECT_THAT(message, HasSubstr("192.168.1.8"));
        EXPECT_THAT(message, HasSubstr("belt\\x1B[31m"))
            << "camera texts reach the terminal escaped";
    }
}

TEST(CameraChoice, RefusesATextThatMeansSeveral) {
    std::string message;
    EXPECT_EQ(codeOf("A1", message), ExitCode::usage);
    EXPECT_THAT(message, HasSubstr("Maker:A1"));
    EXPECT_THAT(message, HasSubstr("Other:A1"));
}

TEST(SimulatedCameras, AreNumberedFromTheFirst) {
    SimOptions options;
    options.count = 3;
    options.serial = "S";
    options.userName = "line";
    options.address = "127.0.0.254";
    options.claim = "198.51.100.255/24";
    options.seed = 40;
    const auto plans = planCameras(options);
    ASSERT_EQ(plans.size(), 3U);
    EXPECT_EQ(plans[0].serial, "S-1");
    EXPECT_EQ(plans[2].serial, "S-3");
    EXPECT_EQ(plans[2].userName, "line-3");
    EXPECT_EQ(plans[0].address, "127.0.0.254");
    EXPECT_EQ(plans[2].address, "127.0.1.0");
    EXPECT_EQ(plans[1].claim, "198.51.101.0/24");
    EXPECT_EQ(plans[2].seed, 42U);
}

TEST(SimulatedCameras, KeepTheNameOfASingleOne) {
    const auto plans = planCameras(SimOptions());
    ASSERT_EQ(plans.size(), 1U);
    EXPECT_EQ(plans[0].serial, "SIM001");
    EXPECT_EQ(plans[0].address, "127.0.0.2");
    EXPECT_EQ(plans[0].claim, "");
}

TEST(SimulatedCameras, MeetTheSameFaultsEachInItsOwnWay) {
    SimOptions options;
    options.count = 2;
    options.seed = 40;
    options.faults = {"loss=0.5", "power-cycle@1=1s,127.0.0.255"};
    auto plans = planCameras(options);
    ASSERT_EQ(plans.size(), 2U);
    EXPECT_EQ(plans[1].faults.packets.loss, 0.5);
    EXPECT_EQ(plans[0].faults.seed, 40U);
    EXPECT_EQ(plans[1].faults.seed, 41U);
    EXPECT_EQ(plans[0].faults.incidents.at(0).address, "127.0.0.255");
    EXPECT_EQ(plans[1].faults.incidents.at(0).address, "127.0.1.0");
    options.faultSeed = 7;
    EXPECT_EQ(planCameras(options)[1].faults.seed, 8U);
}

TEST(SimulatedCameras, RefuseWhatNoCameraCanHave) {
    std::vector<SimOptions> wrong(8);
    wrong[0].address = "127.0.0";
    wrong[1].address = "255.255.255.255", wrong[1].count = 2;
    wrong[2].claim = "198.51.100.5";
    wrong[3].claim = "198.51.100.5/33";
    wrong[4].claim = "198.51.100.5/2x";
    wrong[5].serial = "0123456789ABCDEF";
    wrong[6].userName = "0123456789ABCD", wrong[6].count = 2;
    wrong[7].faults = {"missing-ack=0.6", "late-ack=0.5"};
    for (std::size_t i = 0; i < wrong.size(); ++i) {
        try {
            (void)planCameras(wrong[i]);
            ADD_FAILURE() << "case " << i;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::usage) << "case " << i;
        }
    }
}

}  // namespace
