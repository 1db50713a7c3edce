// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using kestro::decode::codeTypeFromName;
using kestro::decode::statusFromName;

TEST(Names, GiveTheCodeTypesTheirNumbers) {
    const std::pair<const char*, int> types[] = {
        {"EAN8", 0},       {"EAN13", 1},     {"CODE39", 2}, {"CODE93", 3},  {"CODE128", 4},
        {"UPCA", 5},       {"UPCE", 6},      {"ITF25", 7},  {"CODABAR", 8}, {"CODE128A", 9},
        {"CODE128B", 10},  {"CODE128C", 11}, {"QR", 100},   {"DM", 101},    {"PDF417", 102},
        {"VERICODE", 103}, {"MQR", 104},
    };
    for (const auto& [name, number] : types) EXPECT_EQ(codeTypeFromName(name), number) << name;
    for (const char start : {'A', 'B', 'C', 'D'}) {
        for (const char stop : {'A', 'B', 'C', 'D'}) {
            EXPECT_EQ(codeTypeFromName(std::string("CODABAR") + start + stop), 8) << start << stop;
        }
    }
    for (const char* name : {"", "qr", "QR ", "CODABARA", "CODABARAE", "CODABARAAA", "NA"}) {
        EXPECT_EQ(codeTypeFromName(name), -1) << name;
    }
}

TEST(Names, GiveTheStatusesTheirNumbers) {
    const char* const statuses[] = {"NA",           "Complete", "NoRead",        "Partial",
                                    "Fail",         "PhaseNA",  "PhaseComplete", "PhaseNoRead",
                                    "PhasePartial", "PhaseFail"};
    std::uint32_t number = 0;
    for (const char* name : statuses) EXPECT_EQ(statusFromName(name), ++number) << name;
    for (const char* name : {"", "na", "Phase", "PhaseCompleted", "QR"})
        EXPECT_EQ(statusFromName(name), 0U) << name;
}

}  // namespace
