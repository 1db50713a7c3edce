// SPDX-License-Identifier: Apache-2.0
//
// What goes wrong, as files and command lines say it.
#include "FaultPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace kestrosim {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

struct Word {
    const char* fault;   ///< on the command line
    const char* member;  ///< in a file
    double (*valueIn)(const FaultPlan&);
    double value;
};

double ms(milliseconds duration) { return static_cast<double>(duration.count()); }

const Word kWords[] = {
    {"loss=0.01", R"("loss": 0.01)", [](const FaultPlan& p) { return p.packets.loss; }, 0.01},
    {"reorder=1", R"("reorder": 1)", [](const FaultPlan& p) { return p.packets.reorder; }, 1},
    {"duplicate=1e-3", R"("duplicate": 1e-3)",
     [](const FaultPlan& p) { return p.packets.duplicate; }, 0.001},
    {"delay=.5", R"("delay": 0.5)", [](const FaultPlan& p) { return p.packets.delay; }, 0.5},
    {"delayed-by=1.5s", R"("delayed_by": "1.5s")",
     [](const FaultPlan& p) { return ms(p.packets.delayedBy); }, 1500},
    {"truncate=0.2", R"("truncate": 0.2)", [](const FaultPlan& p) { return p.packets.truncate; },
     0.2},
    {"wrong-size=0.2", R"("wrong_size": 0.2)",
     [](const FaultPlan& p) { return p.packets.wrongSize; }, 0.2},
    {"foreign=0.2", R"("foreign": 0.2)", [](const FaultPlan& p) { return p.packets.foreign; }, 0.2},
    {"path-mtu=1400", R"("path-mtu": 1400)",
     [](const FaultPlan& p) { return double{1} * p.pathMtuBytes; }, 1400},
    {"packet-size-max=1500", R"("packet_size_max": 1500)",
     [](const FaultPlan& p) { return double{1} * p.packetSizeMax; }, 1500},
    {"missing-ack=0.2", R"("missing_ack": 0.2)",
     [](const FaultPlan& p) { return p.control.missingAck; }, 0.2},
    {"late-ack=0.2", R"("late_ack": 0.2)", [](const FaultPlan& p) { return p.control.lateAck; },
     0.2},
    {"pending-ack=0.2", R"("pending_ack": 0.2)",
     [](const FaultPlan& p) { return p.control.pendingAck; }, 0.2},
    {"ack-delay=2min", R"("ack_delay": "2min")",
     [](const FaultPlan& p) { return ms(p.control.ackDelay); }, 120'000},
    {"heartbeat-ignored", R"("heartbeat_ignored": true)",
     [](const FaultPlan& p) { return p.control.ignoresHeartbeat ? 1.0 : 0.0; }, 1},
    {"result-cut=0.2", R"("result_cut": 0.2)", [](const FaultPlan& p) { return p.results.cut; },
     0.2},
    {"result-corrupt=0.2", R"("result_corrupt": 0.2)",
     [](const FaultPlan& p) { return p.results.corrupt; }, 0.2},
    {"seed=77", R"("seed": 77)", [](const FaultPlan& p) { return static_cast<double>(p.seed); },
     77},
};

TEST(FaultPlan, IsSaidWithTheSameWordsInFilesAndOnCommandLines) {
    for (const Word& word : kWords) {
        SCOPED_TRACE(word.fault);
        FaultPlan plan;
        addFault(plan, word.fault);
        EXPECT_EQ(word.valueIn(plan), word.value);
        EXPECT_EQ(word.valueIn(parseScenario(std::string("{") + word.member + "}")), word.value);
    }
}

TEST(FaultPlan, AddsAFileToWhatWasSaidBefore) {
    FaultPlan plan;
    plan.seed = 5;
    plan.packets.loss = 0.5;
    plan = parseScenario(R"({"reorder": 0.25, "incidents": ["disconnect@1", "lose-control@2s"]})",
                         plan);
    EXPECT_EQ(plan.seed, 5U);
    EXPECT_EQ(plan.packets.loss, 0.5);
    EXPECT_EQ(plan.packets.reorder, 0.25);
    ASSERT_EQ(plan.incidents.size(), 2U);
    EXPECT_EQ(plan.incidents[1].kind, Incident::Kind::loseControl);
}

struct Told {
    const char* fault;
    Incident incident;
};

using Kind = Incident::Kind;
const Told kTold[] = {
    {"disconnect@100=2s", {.kind = Kind::disconnect, .atFrame = 100, .lasts = milliseconds(2000)}},
    {"disconnect@3s", {.kind = Kind::disconnect, .after = milliseconds(3000)}},
    {"power-cycle@200=500ms,127.0.0.9",
     {.kind = Kind::powerCycle,
      .atFrame = 200,
      .lasts = milliseconds(500),
      .address = "127.0.0.9"}},
    {"power_cycle@1=1min", {.kind = Kind::powerCycle, .atFrame = 1, .lasts = milliseconds(60'000)}},
    {"block-id-restart@50", {.kind = Kind::blockIdRestart, .atFrame = 50}},
    {"clock-jump@50=-2s", {.kind = Kind::clockJump, .atFrame = 50, .jump = milliseconds(-2000)}},
    {"event-flood@0ms=100000", {.kind = Kind::eventFlood, .count = 100'000}},
    {"lose-control@50", {.kind = Kind::loseControl, .atFrame = 50}},
};

TEST(FaultPlan, TellsWhatHappensAndWhen) {
    for (const Told& told : kTold) {
        SCOPED_TRACE(told.fault);
        FaultPlan plan;
        addFault(plan, told.fault);
        ASSERT_EQ(plan.incidents.size(), 1U);
        const Incident& seen = plan.incidents[0];
        EXPECT_EQ(seen.kind, told.incident.kind);
        EXPECT_EQ(seen.atFrame, told.incident.atFrame);
        EXPECT_EQ(seen.after, told.incident.after);
        EXPECT_EQ(seen.lasts, told.incident.lasts);
        EXPECT_EQ(seen.address, told.incident.address);
        EXPECT_EQ(seen.jump, told.incident.jump);
        EXPECT_EQ(seen.count, told.incident.count);
    }
}

std::string complaintAbout(const std::string& fault) {
    FaultPlan plan;
    try {
        addFault(plan, fault);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

std::string complaintAboutFile(const std::string& text) {
    try {
        static_cast<void>(parseScenario(text));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(FaultPlan, SaysWhatIsWrongAndWhatIsRight) {
    const std::pair<const char*, const char*> kWrong[] = {
        {"", "there are loss,"},
        {"lost=0.1", "there are loss,"},
        {"loss", "\"\" is no share from 0 to 1"},
        {"loss=1.01", "\"1.01\" is no share from 0 to 1"},
        {"loss=-0.1", "no share"},
        {"loss=nan", "no share"},
        {"loss=0.1x", "no share"},
        {"ack-delay=20", "such as 20ms"},
        {"ack-delay=-1s", "such as 20ms"},
        {"ack-delay=1e99s", "such as 20ms"},
        {"heartbeat-ignored=yes", "takes no value"},
        {"path-mtu=10", "from 68 to 65535"},
        {"packet-size-max=70000", "to 65535"},
        {"sneeze@3", "there is no incident \"sneeze\"; there are disconnect,"},
        {"disconnect", "disconnect@100"},
        {"disconnect=2s", "disconnect@100"},
        {"disconnect@", "neither a number of frames"},
        {"disconnect@0", "neither a number of frames"},
        {"disconnect@-1s", "neither a number of frames"},
        {"disconnect@1=", "such as 20ms"},
        {"power-cycle@1=1s,", "no address"},
        {"block-id-restart@1=2", "nothing"},
        {"clock-jump@1", "needs a jump"},
        {"event-flood@1", "needs a number"},
        {"event-flood@1=0", "from 1 to"},
    };
    for (const auto& [fault, text] : kWrong) {
        EXPECT_THAT(complaintAbout(fault), HasSubstr(text)) << fault;
    }
}

TEST(FaultPlan, LetsOneFaultHappenAtMost) {
    FaultPlan plan;
    for (const char* fault : {"loss=0.7", "delay=0.2", "foreign=0.1", "late-ack=0.5",
                              "pending-ack=0.5", "result-cut=1"})
        addFault(plan, fault);
    EXPECT_NO_THROW(requirePossible(plan));
    const std::pair<const char*, const char*> kTooMuch[] = {{"truncate=0.01", "loss, reorder"},
                                                            {"missing-ack=0.01", "missing-ack, "},
                                                            {"result-corrupt=1", "result-cut, "}};
    for (const auto& [fault, words] : kTooMuch) {
        FaultPlan impossible = plan;
        addFault(impossible, fault);
        EXPECT_THAT([&] { requirePossible(impossible); },
                    testing::ThrowsMessage<std::runtime_error>(
                        testing::AllOf(testing::StartsWith(words), HasSubstr("more than 1"))));
    }
}

TEST(FaultPlan, SaysWhatIsWrongInAFile) {
    const std::pair<const char*, const char*> kWrong[] = {
        {"", "line 1"},
        {"{\"loss\": 0.1,\n \"reorder\" 0.1}", "line 2"},
        {"{} {}", "line 1"},
        {"[]", "one JSON object"},
        {"3", "one JSON object"},
        {R"({"lost": 0.1})", "lost: there is no such fault"},
        {R"({"loss": "0.1"})", "loss: it takes a number"},
        {R"({"loss": 2})", "loss: \"2\" is no share"},
        {R"({"loss": null})", "loss: it takes one value, not null"},
        {R"({"loss": [0.1]})", "loss: it takes one value, not a list"},
        {R"({"loss": {}})", "loss: it takes one value, not an object"},
        {R"({"loss": 0.1, "loss": 0.2})", "loss: it stands there twice"},
        {R"({"ack_delay": 20})", "ack_delay: it takes a text, such as \"20ms\""},
        {R"({"heartbeat_ignored": 1})", "takes true or false"},
        {R"({"incidents": "disconnect@1"})", "a list of texts"},
        {R"({"incidents": [["disconnect@1"]]})", "a list of texts"},
        {R"({"incidents": [1]})", "a list of texts"},
        {R"({"incidents": ["loss=0.1"]})", "there is no incident"},
    };
    for (const auto& [file, text] : kWrong) {
        EXPECT_THAT(complaintAboutFile(file), HasSubstr(text)) << file;
    }
}

}  // namespace
}  // namespace kestrosim
