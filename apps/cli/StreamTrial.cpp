// SPDX-License-Identifier: Apache-2.0
#include "StreamTrial.h"

#include "Feature.h"
#include "KeptSettings.h"
#include "Pump.h"
#include "Text.h"

#include <algorithm>
#include <cmath>

namespace kestrocli {
namespace {

using Clock = std::chrono::steady_clock;

/** A number that the camera gives; empty for one without the feature, or that cannot tell now. */
std::optional<double> numberOf(const Control& control, const char* name) {
    if (!hasFeature(control, name)) return std::nullopt;
    const auto value = Feature(control, name).value();
    if (!value) return std::nullopt;
    if (const auto* whole = std::get_if<std::int64_t>(&*value)) return static_cast<double>(*whole);
    if (const auto* real = std::get_if<double>(&*value)) return *real;
    return std::nullopt;
}

std::int64_t wholeOf(const std::optional<FeatureValue>& value) {
    const auto* number = value ? std::get_if<std::int64_t>(&*value) : nullptr;
    return number == nullptr ? 0 : *number;
}

std::uint64_t countOf(const Control& control, const char* name) {
    return static_cast<std::uint64_t>(std::max(numberOf(control, name).value_or(0), 0.0));
}

std::string textNow(const Control& control, const char* name) {
    if (!hasFeature(control, name)) return {};
    const auto value = Feature(control, name).value();
    return value ? textOf(*value) : std::string();
}

/** The triggers that are on; each is switched off when the camera is to run free. */
class Triggers {
 public:
    Triggers(const Control& control, KeptSettings& kept, bool switchOff)
        : control_(control), kept_(kept), switchOff_(switchOff) {}

    /** Those that stay on: "FrameStart, FrameBurstStart". */
    std::string find() {
        constexpr const char* kSelector = "TriggerSelector";
        if (!hasFeature(control_, kSelector)) {
            look("a trigger");
            return on_;
        }
        kept_.keep(kSelector);
        for (const auto& entry : Feature(control_, kSelector).record().entries) {
            // Put back in the opposite order: first its mode, with the selector at it.
            Feature(control_, kSelector).set(entry.symbol);
            look(entry.symbol);
            kept_.keep(kSelector);
        }
        return on_;
    }

 private:
    void look(const std::string& name) {
        if (textNow(control_, "TriggerMode") != "On") return;
        if (switchOff_) return kept_.set("TriggerMode", "Off");
        on_ += (on_.empty() ? "" : ", ") + visible(name);
    }

    const Control& control_;
    KeptSettings& kept_;
    const bool switchOff_;
    std::string on_;
};

/** Packets that this host dropped because a receive buffer was full, of all its programs. */
std::uint64_t bufferDrops(const Host& host) {
    std::vector<std::string> titles;
    for (const auto& line : host.lines("/proc/net/snmp")) {
        if (!line.starts_with("Udp: ")) continue;
        std::vector<std::string> words;
        for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
            end = line.find(' ', at);
            words.push_back(line.substr(at, end - at));
        }
        const auto title = std::find(titles.begin(), titles.end(), "RcvbufErrors");
        const auto index = static_cast<std::size_t>(title - titles.begin());
        if (title != titles.end() && index < words.size()) {
            return static_cast<std::uint64_t>(wholeNumberFrom(words[index]).value_or(0));
        }
        titles = std::move(words);
    }
    return 0;
}

/** How long the first frame may take: two periods of a slow camera, and time to get going. */
double patienceFor(const Control& control, double seconds) {
    constexpr double kStart = 2;
    constexpr double kLongest = 30;
    const auto resulting = numberOf(control, "AcquisitionResultingFrameRate");
    const double rate =
        resulting ? *resulting : numberOf(control, "AcquisitionFrameRate").value_or(0);
    const double periods = rate > 0 ? 2 / rate : 0;
    return std::max(std::min(kStart + periods, kLongest), seconds);
}

/** Waits `patience` seconds for the first frame. */
void stream(Mailbox& mailbox, const TrialOptions& options, double patience, StreamFacts& facts) {
    const auto start = Clock::now();
    Deadlines first;
    first.firstFrame = after(start, patience);
    // What a frame holds does not matter here.
    End end = pump(mailbox, first, [](const Delivery&) { return false; });
    if (end == End::done) {
        Deadlines rest;
        rest.end = after(start, options.seconds);
        end = pump(mailbox, rest, [](const Delivery&) { return true; });
    }
    facts.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    facts.isStopped = end == End::stopped;
    facts.isLost = end == End::lost;
}

void readCounters(const Control& control, StreamFacts& facts) {
    facts.frames = countOf(control, "StreamDeliveredFrameCount");
    facts.framesLost = countOf(control, "StreamLostFrameCount");
    facts.packetsLost = countOf(control, "StreamLostPacketCount");
    facts.resendRequests = countOf(control, "StreamResendRequestCount");
    facts.packetsResent = countOf(control, "StreamResentPacketCount");
}

/** What the library made of the camera's settings at the start. */
void readSettings(const Control& control, StreamFacts& facts) {
    constexpr const char* kPacketSize = "GevSCPSPacketSize";
    facts.payloadBytes = countOf(control, "PayloadSize");
    facts.frameRate = std::llround(numberOf(control, "AcquisitionFrameRate").value_or(0));
    if (!hasFeature(control, kPacketSize)) return;
    const FeatureRecord size = Feature(control, kPacketSize).record();
    facts.packetBytes = wholeOf(size.value);
    facts.mostPacketBytes = wholeOf(size.most);
}

}  // namespace

StreamFacts tryStream(Grab& grab, Mailbox& mailbox, const Host& host, const TrialOptions& options) {
    const Control& control = grab.control();
    StreamFacts facts;
    facts.camera = grab.record();
    KeptSettings kept(control);
    for (const char* name : {"GevSCPSPacketSize", "GevSCPSDoNotFragment"}) kept.keep(name);
    try {
        facts.trigger = Triggers(control, kept, options.freeRun).find();
        const double patience =
            facts.trigger.empty() ? patienceFor(control, options.seconds) : options.seconds;
        const std::uint64_t dropsBefore = bufferDrops(host);
        grab.start();
        readSettings(control, facts);
        stream(mailbox, options, patience, facts);
        grab.stop();
        readCounters(control, facts);
        facts.hostDrops = bufferDrops(host) - dropsBefore;
    } catch (const Failure& failure) {
        grab.stop();
        facts.isLost = !control.camera()->isConnected();
        facts.startError = firstLine(failure.what());
    }
    return facts;
}

}  // namespace kestrocli
