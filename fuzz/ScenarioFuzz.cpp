// SPDX-License-Identifier: Apache-2.0
//
// Scenario files of the simulated camera, and the faults of its command line: as they come, or made
// of words. What is taken must be within its limits; a file says the same as a command line of the
// same words.
#include "FaultPlan.h"
#include "FuzzInput.h"

#include <chrono>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kestro::fuzz;
using namespace kestrosim;
using std::chrono::milliseconds;

constexpr milliseconds kYear = std::chrono::hours(24 * 365);

bool isDuration(milliseconds duration) { return duration.count() >= 0 && duration <= kYear; }

void checkIncident(const Incident& incident) {
    using Kind = Incident::Kind;
    KESTRO_EXPECT(incident.kind >= Kind::disconnect && incident.kind <= Kind::loseControl);
    KESTRO_EXPECT(isDuration(incident.after) && isDuration(incident.lasts));
    KESTRO_EXPECT(incident.atFrame == 0 || incident.after.count() == 0);
    KESTRO_EXPECT(incident.jump <= kYear && incident.jump >= -kYear);
    KESTRO_EXPECT(incident.address.empty() || incident.kind == Kind::powerCycle);
    KESTRO_EXPECT((incident.count != 0) == (incident.kind == Kind::eventFlood));
}

void checkPlan(const FaultPlan& plan) {
    for (const double share : {plan.packets.loss, plan.packets.reorder, plan.packets.duplicate,
                               plan.packets.delay, plan.packets.truncate, plan.packets.wrongSize,
                               plan.packets.foreign, plan.control.missingAck, plan.control.lateAck,
                               plan.control.pendingAck, plan.results.cut, plan.results.corrupt})
        KESTRO_EXPECT(share >= 0 && share <= 1);
    KESTRO_EXPECT(isDuration(plan.packets.delayedBy) && isDuration(plan.control.ackDelay));
    KESTRO_EXPECT(plan.pathMtuBytes == 0 || plan.pathMtuBytes >= 68);
    KESTRO_EXPECT(plan.packetSizeMax == 0 || plan.packetSizeMax >= 64);
    KESTRO_EXPECT(plan.pathMtuBytes <= 0xffff && plan.packetSizeMax <= 0xffff);
    for (const Incident& incident : plan.incidents) checkIncident(incident);
}

/** Everything that a plan says. */
std::string textOf(const FaultPlan& plan) {
    std::string text = std::to_string(plan.seed);
    const auto add = [&text](auto value) { text += " " + std::to_string(value); };
    for (const double share : {plan.packets.loss, plan.packets.reorder, plan.packets.duplicate,
                               plan.packets.delay, plan.packets.truncate, plan.packets.wrongSize,
                               plan.packets.foreign, plan.control.missingAck, plan.control.lateAck,
                               plan.control.pendingAck, plan.results.cut, plan.results.corrupt})
        add(share);
    add(plan.packets.delayedBy.count());
    add(plan.control.ackDelay.count());
    add(plan.control.ignoresHeartbeat ? 1 : 0);
    add(plan.pathMtuBytes);
    add(plan.packetSizeMax);
    for (const Incident& incident : plan.incidents) {
        text += "\n" + incident.address;
        add(static_cast<int>(incident.kind));
        add(incident.atFrame);
        add(incident.after.count());
        add(incident.lasts.count());
        add(incident.jump.count());
        add(incident.count);
    }
    return text;
}

/** Empty for a text that is refused, which has a sentence. */
template <typename Read>
std::optional<FaultPlan> planOf(bool mayBeNul, const Read& read) {
    try {
        FaultPlan plan = read();
        checkPlan(plan);
        return plan;
    } catch (const std::runtime_error& refusal) {
        // It begins with the word that is refused, whatever that is.
        KESTRO_EXPECT(refusal.what()[0] != '\0' || mayBeNul);
        return std::nullopt;
    }
}

std::optional<FaultPlan> planOfFile(const std::string& text) {
    const bool mayBeNul = text.find("\\u0000") != std::string::npos;
    return planOf(mayBeNul, [&] { return parseScenario(text); });
}

std::optional<FaultPlan> planOfFaults(const std::vector<std::string>& faults) {
    const bool mayBeNul = !faults.empty() && faults[0].starts_with('\0');
    return planOf(mayBeNul, [&] {
        FaultPlan plan;
        for (const std::string& fault : faults) addFault(plan, fault);
        return plan;
    });
}

constexpr const char* kNumberWords[] = {
    "loss",        "reorder",    "duplicate",       "delay",          "truncate",
    "wrong-size",  "foreign",    "path-mtu",        "missing-ack",    "late-ack",
    "pending-ack", "result-cut", "packet-size-max", "result-corrupt", "seed"};
constexpr const char* kNumbers[] = {"0",  "1",    "0.5",   "1e-3",   "68",         "67",
                                    "64", "1500", "70000", "1.0001", "4294967296", "-1"};
constexpr const char* kDurations[] = {"20ms",   "1.5s", "2min", "0ms",   "-1s",
                                      "1e9min", "20",   "s",    "1e400s"};
constexpr const char* kIncidents[] = {"disconnect",  "power-cycle", "block-id-restart",
                                      "clock-jump",  "event-flood", "lose-control",
                                      "power_cycle", "nothing"};
constexpr const char* kMoments[] = {"@100", "@3s", "@0", "", "@", "@-1s", "@18446744073709551616"};
constexpr const char* kDetails[] = {"=2s", "=2s,127.0.0.3", "=-500ms", "=1000", "", "=2s,", "=0",
                                    "=x",  "=10000001"};

/** The same words as a file and as a command line. */
class WordMaker {
 public:
    explicit WordMaker(Choices& choices) : choices_(choices) {
        for (std::size_t left = choices.below(6); left-- > 0;) addSetting();
        std::string list;
        for (std::size_t left = choices.below(4); left-- > 0;) {
            faults.push_back(choices.oneOf(kIncidents) + std::string(choices.oneOf(kMoments)) +
                             choices.oneOf(kDetails));
            list += (list.empty() ? "\"" : ",\"") + faults.back() + "\"";
        }
        if (choices.flag()) addMember("incidents", "[" + list + "]");
        if (file.find("\"incidents\"") == std::string::npos && !list.empty()) isSame = false;
        file += "}";
    }

    std::string file = "{";
    std::vector<std::string> faults;
    bool isSame = true;  ///< as far as it can be told from here

 private:
    void addSetting() {
        const std::size_t kind = choices_.below(8);
        if (kind == 0) {
            const std::string duration = choices_.oneOf(kDurations);
            const char* const word = choices_.flag() ? "delayed-by" : "ack_delay";
            faults.push_back(std::string(word) + "=" + duration);
            addMember(word, "\"" + duration + "\"");
        } else if (kind == 1) {
            faults.emplace_back("heartbeat-ignored");
            addMember("heartbeat-ignored", "true");
        } else {
            const std::string word = choices_.oneOf(kNumberWords);
            const std::string number = choices_.oneOf(kNumbers);
            faults.push_back(word + "=" + number);
            addMember(word, number);
        }
    }
    /** A file takes each word once, a command line the last one. */
    void addMember(const std::string& word, const std::string& value) {
        if (file.find("\"" + word + "\"") != std::string::npos) isSame = false;
        file += (file.size() == 1 ? "\"" : ",\"") + word + "\":" + value;
    }

    Choices& choices_;
};

void checkWords(Choices& choices) {
    const WordMaker words(choices);
    const auto fromFile = planOfFile(words.file);
    const auto fromFaults = planOfFaults(words.faults);
    if (!words.isSame) return;
    KESTRO_EXPECT(fromFile.has_value() == fromFaults.has_value());
    if (fromFile) KESTRO_EXPECT(textOf(*fromFile) == textOf(*fromFaults));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.below(3)) {
        case 0:
            checkWords(choices);
            break;
        case 1: {
            const ByteView text = choices.rest();
            static_cast<void>(planOfFile({text.begin(), text.end()}));
            break;
        }
        default: {
            const ByteView text = choices.rest();
            static_cast<void>(planOfFaults({std::string(text.begin(), text.end())}));
            break;
        }
    }
    return 0;
}
