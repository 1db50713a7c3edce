// SPDX-License-Identifier: Apache-2.0
#include "FaultPlan.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <variant>

namespace kestrosim {
namespace {

using std::chrono::milliseconds;

/** A whole number and what it may be. */
struct Whole {
    std::uint32_t& value;
    std::uint32_t least;
    std::uint32_t most;
};

/** Where a word's value goes; its type says which values the word takes. */
using Slot = std::variant<double*, milliseconds*, bool*, std::uint64_t*, Whole>;

struct Setting {
    std::string_view word;
    Slot (*slot)(FaultPlan&);
};

constexpr std::uint32_t kLeastPathMtu = 68;  // which every IPv4 link carries
constexpr std::uint32_t kLeastPacketSize = 64;
constexpr std::uint32_t kLargestPacket = 0xffff;

// The one vocabulary of files and command lines.
constexpr Setting kSettings[] = {
    {"loss", [](FaultPlan& plan) -> Slot { return &plan.packets.loss; }},
    {"reorder", [](FaultPlan& plan) -> Slot { return &plan.packets.reorder; }},
    {"duplicate", [](FaultPlan& plan) -> Slot { return &plan.packets.duplicate; }},
    {"delay", [](FaultPlan& plan) -> Slot { return &plan.packets.delay; }},
    {"delayed-by", [](FaultPlan& plan) -> Slot { return &plan.packets.delayedBy; }},
    {"truncate", [](FaultPlan& plan) -> Slot { return &plan.packets.truncate; }},
    {"wrong-size", [](FaultPlan& plan) -> Slot { return &plan.packets.wrongSize; }},
    {"foreign", [](FaultPlan& plan) -> Slot { return &plan.packets.foreign; }},
    {"path-mtu",
     [](FaultPlan& plan) -> Slot {
         return Whole{plan.pathMtuBytes, kLeastPathMtu, kLargestPacket};
     }},
    {"packet-size-max",
     [](FaultPlan& plan) -> Slot {
         return Whole{plan.packetSizeMax, kLeastPacketSize, kLargestPacket};
     }},
    {"missing-ack", [](FaultPlan& plan) -> Slot { return &plan.control.missingAck; }},
    {"late-ack", [](FaultPlan& plan) -> Slot { return &plan.control.lateAck; }},
    {"pending-ack", [](FaultPlan& plan) -> Slot { return &plan.control.pendingAck; }},
    {"ack-delay", [](FaultPlan& plan) -> Slot { return &plan.control.ackDelay; }},
    {"heartbeat-ignored", [](FaultPlan& plan) -> Slot { return &plan.control.ignoresHeartbeat; }},
    {"result-cut", [](FaultPlan& plan) -> Slot { return &plan.results.cut; }},
    {"result-corrupt", [](FaultPlan& plan) -> Slot { return &plan.results.corrupt; }},
    {"seed", [](FaultPlan& plan) -> Slot { return &plan.seed; }},
};

/** What stands behind an incident's "=", if anything may. */
enum class Detail { none, lasts, lastsAndAddress, jump, count };

struct IncidentWord {
    std::string_view word;
    Incident::Kind kind;
    Detail detail;
};

constexpr IncidentWord kIncidents[] = {
    {"disconnect", Incident::Kind::disconnect, Detail::lasts},
    {"power-cycle", Incident::Kind::powerCycle, Detail::lastsAndAddress},
    {"block-id-restart", Incident::Kind::blockIdRestart, Detail::none},
    {"clock-jump", Incident::Kind::clockJump, Detail::jump},
    {"event-flood", Incident::Kind::eventFlood, Detail::count},
    {"lose-control", Incident::Kind::loseControl, Detail::none},
};

constexpr std::uint32_t kMostEvents = 10'000'000;
constexpr milliseconds kLongest = std::chrono::hours(24 * 365);

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

[[noreturn]] void refuse(std::string_view fault, const std::string& why) {
    throw std::runtime_error(std::string(fault) + ": " + why);
}

template <typename Words>
std::string listOf(const Words& words) {
    std::string list;
    for (const auto& known : words) {
        list += (list.empty() ? "" : ", ") + std::string(known.word);
    }
    return list;
}

/** In files, words may be written as names of members are: "missing_ack". */
std::string hyphenated(std::string_view word) {
    std::string name(word);
    std::replace(name.begin(), name.end(), '_', '-');
    return name;
}

template <typename Words>
auto find(const Words& words, std::string_view word) {
    const std::string name = hyphenated(word);
    const auto found = std::find_if(std::begin(words), std::end(words),
                                    [&](const auto& known) { return known.word == name; });
    return found == std::end(words) ? nullptr : &*found;
}

template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return value;
}

struct Unit {
    std::string_view name;
    double milliseconds;
};

// "ms" before "s", which it ends in.
constexpr Unit kUnits[] = {{"ms", 1}, {"s", 1000}, {"min", 60'000}};

/** Of "20ms", "1.5s" or "2min"; with a sign in front if there is one. */
std::optional<milliseconds> durationIn(std::string_view text) {
    for (const Unit& unit : kUnits) {
        if (!text.ends_with(unit.name)) continue;
        const auto number = numberIn<double>(text.substr(0, text.size() - unit.name.size()));
        if (!number) return std::nullopt;
        const double value = *number * unit.milliseconds;
        if (!(std::abs(value) <= static_cast<double>(kLongest.count()))) return std::nullopt;
        return milliseconds(std::llround(value));
    }
    return std::nullopt;
}

milliseconds requireDuration(std::string_view fault, std::string_view text) {
    const auto duration = durationIn(text);
    if (duration && duration->count() >= 0) return *duration;
    refuse(fault, quoted(text) + " is no duration such as 20ms, 1.5s or 2min");
}

std::uint32_t requireWhole(std::string_view fault, std::string_view text, std::uint32_t least,
                           std::uint32_t most) {
    const auto number = numberIn<std::uint32_t>(text);
    if (number && *number >= least && *number <= most) return *number;
    refuse(fault, quoted(text) + " is no whole number from " + std::to_string(least) + " to " +
                      std::to_string(most));
}

/** How a value is written: on the command line anyhow, in a file as its type. */
enum class Form { any, number, text, boolean };

std::string_view nameOf(Form form) {
    constexpr std::string_view kNames[] = {"a value", "a number", "a text", "true or false"};
    return kNames[static_cast<std::size_t>(form)];
}

/** Puts a value where it belongs. */
class Setter {
 public:
    Setter(std::string_view word, std::string_view text, Form form)
        : word_(word), text_(text), form_(form) {}

    void operator()(double* share) const {
        require(Form::number);
        const auto number = numberIn<double>(text_);
        if (!number || !(*number >= 0 && *number <= 1)) {
            refuse(word_, quoted(text_) + " is no share from 0 to 1");
        }
        *share = *number;
    }
    void operator()(milliseconds* duration) const {
        require(Form::text);
        *duration = requireDuration(word_, text_);
    }
    void operator()(bool* flag) const {
        require(Form::boolean);
        if (form_ == Form::any && !text_.empty()) refuse(word_, "it takes no value");
        *flag = text_ != "false";
    }
    void operator()(std::uint64_t* number) const {
        require(Form::number);
        const auto value = numberIn<std::uint64_t>(text_);
        if (!value) refuse(word_, quoted(text_) + " is no whole number from 0 on");
        *number = *value;
    }
    void operator()(const Whole& number) const {
        require(Form::number);
        number.value = requireWhole(word_, text_, number.least, number.most);
    }

 private:
    void require(Form wanted) const {
        if (form_ == Form::any || form_ == wanted) return;
        const std::string_view example = wanted == Form::text ? ", such as \"20ms\"" : "";
        refuse(word_, "it takes " + std::string(nameOf(wanted)) + std::string(example));
    }

    std::string_view word_;
    std::string_view text_;
    Form form_;
};

/** "100" is a number of frames, "3s" a time. */
void setMoment(Incident& incident, std::string_view fault, std::string_view moment) {
    if (const auto after = durationIn(moment); after && after->count() >= 0) {
        incident.after = *after;
        return;
    }
    const auto frame = numberIn<std::uint64_t>(moment);
    if (!frame || *frame == 0) {
        refuse(fault, quoted(moment) +
                          " is neither a number of frames, such as 100, nor a time, "
                          "such as 3s");
    }
    incident.atFrame = *frame;
}

void setLastsAndAddress(Incident& incident, std::string_view fault, std::string_view detail) {
    const std::size_t comma = detail.find(',');
    incident.lasts = requireDuration(fault, detail.substr(0, comma));
    if (comma == std::string_view::npos) return;
    incident.address = detail.substr(comma + 1);
    if (incident.address.empty()) refuse(fault, "there is no address behind the comma");
}

void setJump(Incident& incident, std::string_view fault, std::string_view detail) {
    const auto jump = durationIn(detail);
    if (!jump) refuse(fault, quoted(detail) + " is no duration such as 2s or -500ms");
    incident.jump = *jump;
}

void setDetail(Incident& incident, Detail kind, std::string_view fault, std::string_view detail) {
    switch (kind) {
        case Detail::none:
            refuse(fault, "nothing stands behind its moment");
        case Detail::lasts:
            incident.lasts = requireDuration(fault, detail);
            return;
        case Detail::lastsAndAddress:
            return setLastsAndAddress(incident, fault, detail);
        case Detail::jump:
            return setJump(incident, fault, detail);
        case Detail::count:
            incident.count = requireWhole(fault, detail, 1, kMostEvents);
            return;
    }
}

/** "disconnect@100=2s": what, when, and more of it. */
void addIncident(FaultPlan& plan, std::string_view fault) {
    const std::size_t at = fault.find('@');
    const std::string_view word = fault.substr(0, fault.find_first_of("@="));
    const IncidentWord* const known = find(kIncidents, word);
    if (known == nullptr) {
        refuse(fault, "there is no incident " + quoted(word) + "; there are " + listOf(kIncidents));
    }
    const std::size_t equals = fault.find('=', at);
    Incident incident;
    incident.kind = known->kind;
    if (at == std::string_view::npos) {
        refuse(fault, "it needs a moment, such as " + std::string(word) + "@100 or @3s");
    }
    setMoment(incident, fault, fault.substr(at + 1, equals - at - 1));
    const bool needsDetail = known->detail == Detail::jump || known->detail == Detail::count;
    if (equals != std::string_view::npos) {
        setDetail(incident, known->detail, fault, fault.substr(equals + 1));
    } else if (needsDetail) {
        const bool isJump = known->detail == Detail::jump;
        refuse(fault, std::string("it needs ") + (isJump ? "a jump, =-2s" : "a number, =1000"));
    }
    plan.incidents.push_back(std::move(incident));
}

void set(FaultPlan& plan, std::string_view word, std::string_view text, Form form) {
    const Setting* const known = find(kSettings, word);
    if (known == nullptr) {
        refuse(word, "there is no such fault; there are " + listOf(kSettings) +
                         " and the incidents " + listOf(kIncidents));
    }
    std::visit(Setter(word, text, form), known->slot(plan));
}

/** A file's reader: one object of members, one of them, "incidents", a list of texts. */
class ScenarioHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ScenarioHandler> {
 public:
    explicit ScenarioHandler(FaultPlan& plan) : plan_(plan) {}

    bool Key(const char* text, rapidjson::SizeType bytes, bool /*copy*/) {
        member_.assign(text, bytes);
        if (!seen_.insert(hyphenated(member_)).second) refuse(member_, "it stands there twice");
        return true;
    }
    bool StartObject() {
        if (isInside_) refuseForm("an object");
        return isInside_ = true;
    }
    bool StartArray() {
        if (!isInside_ || member_ != kIncidentsMember || isInList_) refuseForm("a list");
        return isInList_ = true;
    }
    bool EndArray(rapidjson::SizeType /*count*/) {
        isInList_ = false;
        return true;
    }
    bool String(const char* text, rapidjson::SizeType bytes, bool /*copy*/) {
        return take({text, bytes}, Form::text);
    }
    bool RawNumber(const char* text, rapidjson::SizeType bytes, bool /*copy*/) {
        return take({text, bytes}, Form::number);
    }
    bool Bool(bool value) { return take(value ? "true" : "false", Form::boolean); }
    bool Null() { refuseForm("null"); }

 private:
    static constexpr std::string_view kIncidentsMember = "incidents";

    bool take(std::string_view text, Form form) {
        if (!isInside_) refuseForm(nameOf(form));
        if (member_ != kIncidentsMember) {
            set(plan_, member_, text, form);
            return true;
        }
        if (!isInList_ || form != Form::text) refuseForm(nameOf(form));
        addIncident(plan_, text);
        return true;
    }
    [[noreturn]] void refuseForm(std::string_view given) const {
        if (!isInside_) throw std::runtime_error("a scenario is one JSON object");
        const bool isIncidents = member_ == kIncidentsMember;
        refuse(member_,
               "it takes " +
                   std::string(isIncidents ? "a list of texts, such as [\"disconnect@100=2s\"]"
                                           : "one value") +
                   ", not " + std::string(given));
    }

    FaultPlan& plan_;
    std::string member_;
    std::set<std::string> seen_;
    bool isInside_ = false;
    bool isInList_ = false;
};

}  // namespace

FaultPlan parseScenario(const std::string& text, FaultPlan plan) {
    constexpr unsigned kFlags =
        rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseIterativeFlag;
    ScenarioHandler handler(plan);
    rapidjson::Reader reader;
    rapidjson::MemoryStream stream(text.data(), text.size());
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
    if (result.IsError()) {
        const auto line =
            std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(result.Offset()),
                       '\n') +
            1;
        throw std::runtime_error("line " + std::to_string(line) + ": " +
                                 rapidjson::GetParseError_En(result.Code()));
    }
    return plan;
}

void addFault(FaultPlan& plan, const std::string& fault) {
    const bool isIncident = fault.find('@') != std::string::npos ||
                            find(kIncidents, std::string_view(fault).substr(0, fault.find('=')));
    if (isIncident) return addIncident(plan, fault);
    const std::size_t equals = fault.find('=');
    const std::string value = equals == std::string::npos ? "" : fault.substr(equals + 1);
    set(plan, fault.substr(0, equals), value, Form::any);
}

void requirePossible(const FaultPlan& plan) {
    constexpr double kMost = 1 + 1e-9;  // 0.1 is not a tenth, and ten of them need not be 1
    const auto& [loss, reorder, duplicate, delay, truncate, wrongSize, foreign, by] = plan.packets;
    const auto require = [](double sum, const char* words) {
        if (sum > kMost) refuse(words, "these shares are more than 1 together");
    };
    require(loss + reorder + duplicate + delay + truncate + wrongSize + foreign,
            "loss, reorder, duplicate, delay, truncate, wrong-size, foreign");
    require(plan.control.missingAck + plan.control.lateAck + plan.control.pendingAck,
            "missing-ack, late-ack, pending-ack");
    require(plan.results.cut + plan.results.corrupt, "result-cut, result-corrupt");
}

}  // namespace kestrosim
