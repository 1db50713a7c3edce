// SPDX-License-Identifier: Apache-2.0
#include "Sim.h"

#include "ImageFile.h"
#include "Json.h"
#include "Output.h"
#include "PixelFormat.h"
#include "StopSignal.h"
#include "Text.h"
#include "Wake.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace kestrocli {
namespace {

constexpr std::size_t kLongestName = 15;  // a GigE Vision name field is 16 bytes with its NUL

using Cameras = std::vector<std::unique_ptr<kestrosim::SimulatedCamera>>;
using Plans = std::vector<kestrosim::CameraOptions>;

void checkName(const std::string& name, const char* what) {
    if (name.size() <= kLongestName) return;
    throw Failure(std::string(what) + " \"" + name + "\" is longer than 15 bytes", ExitCode::usage);
}

std::string numbered(const std::string& name, std::uint32_t index, std::uint32_t count) {
    return name.empty() || count == 1 ? name : name + "-" + std::to_string(index + 1);
}

std::string claimAfter(const std::string& claim, std::uint32_t steps) {
    if (claim.empty()) return {};
    const std::size_t slash = claim.find('/');
    unsigned prefix = 0;
    const char* end = claim.data() + claim.size();
    const char* digits = slash == std::string::npos ? end : claim.data() + slash + 1;
    const auto parsed = std::from_chars(digits, end, prefix);
    if (parsed.ec != std::errc() || parsed.ptr != end || prefix < 1 || prefix > 32) {
        throw Failure(
            "--claim takes ADDRESS/PREFIX, such as 198.51.100.5/24, not \"" + claim + "\"",
            ExitCode::usage);
    }
    return addressAfter(claim.substr(0, slash), steps) + claim.substr(slash);
}

/** Found out before cameras run for an hour. */
void checkWritable(const std::string& path) {
    if (path.empty()) return;
    if (!std::ofstream(path, std::ios::app)) throw Failure("cannot write " + path);
}

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.bad()) throw Failure("cannot read " + path, ExitCode::usage);
    return text.str();
}

kestrosim::FaultPlan withScenario(const kestrosim::FaultPlan& plan, const std::string& path) {
    const std::string text = textOf(path);
    try {
        return kestrosim::parseScenario(text, plan);
    } catch (const std::runtime_error& error) {
        throw Failure(path + ": " + error.what(), ExitCode::usage);
    }
}

/** The plan of one of several cameras: a seed of its own, and addresses that follow each other. */
kestrosim::FaultPlan planAfter(kestrosim::FaultPlan plan, std::uint32_t steps) {
    plan.seed += steps;
    for (kestrosim::Incident& incident : plan.incidents) {
        if (!incident.address.empty()) incident.address = addressAfter(incident.address, steps);
    }
    return plan;
}

bool hasFaults(const SimOptions& options) {
    return !options.faultFile.empty() || !options.faults.empty();
}

void sayFaultSeed(const SimOptions& options, const Plans& plans) {
    if (!hasFaults(options)) return;
    const std::string seed = std::to_string(plans.front().faults.seed);
    say("faults: seed " + seed + " (repeat with --fault-seed " + seed + ")");
}

struct NamedFormat {
    const char* name;
    kestrosim::ResultFormat format;
};

constexpr NamedFormat kFormats[] = {
    {"none", kestrosim::ResultFormat::none},
    {"container", kestrosim::ResultFormat::container},
    {"container-jpeg", kestrosim::ResultFormat::containerJpeg},
    {"chunk", kestrosim::ResultFormat::chunk},
    {"chunk-only", kestrosim::ResultFormat::chunkOnly},
    {"jpeg", kestrosim::ResultFormat::jpeg},
    {"raw", kestrosim::ResultFormat::raw},
};

kestrosim::ResultFormat formatOf(const std::string& name) {
    for (const NamedFormat& known : kFormats) {
        if (name == known.name) return known.format;
    }
    throw Failure("there is no format \"" + name + "\"", ExitCode::usage);
}

Cameras switchOn(const Plans& plans, Output& output) {
    Cameras cameras;
    for (const auto& plan : plans) {
        cameras.push_back(std::make_unique<kestrosim::SimulatedCamera>(plan));
        output.write(plan.serial + " " + plan.address + " ready\n");
    }
    return cameras;
}

/** What was made to go wrong; empty when nothing was. */
std::string faultsText(const kestrosim::CameraStatistics& did) {
    const kestrosim::PacketFaultCounts& packets = did.packetFaults;
    const std::pair<const char*, std::uint64_t> counts[] = {
        {" packets lost", packets.lost},
        {" out of order", packets.reordered},
        {" twice", packets.duplicated},
        {" delayed", packets.delayed},
        {" cut", packets.truncated},
        {" of wrong size", packets.wrongSize},
        {" too large", packets.tooLarge},
        {" foreign", packets.foreign},
        {" frames' results cut", did.resultsCut},
        {" corrupted", did.resultsCorrupted},
        {" answers not given at once", did.answerFaults},
        {" incidents", did.incidents}};
    std::string text;
    for (const auto& [what, count] : counts) {
        if (count != 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + what;
    }
    return text;
}

std::string statisticsTable(const Plans& plans, const Cameras& cameras) {
    std::vector<std::vector<std::string>> rows = {
        {"SERIAL", "FRAMES", "PACKETS", "RESENT", "COMMANDS", "BLOCK", "LEADER", "PIXELS"}};
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const kestrosim::CameraStatistics did = cameras[i]->statistics();
        rows.push_back({plans[i].serial, std::to_string(did.framesSent),
                        std::to_string(did.packetsSent), std::to_string(did.packetsResent),
                        std::to_string(did.commandsAnswered), std::to_string(did.blockId),
                        std::to_string(did.leaderBytes),
                        did.pixelFormat == 0 ? "-" : pixelFormatName(did.pixelFormat)});
    }
    std::string text = table(rows);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const std::string faults = faultsText(cameras[i]->statistics());
        if (!faults.empty()) text += plans[i].serial + " faults: " + faults + "\n";
    }
    text.pop_back();
    return text;
}

void writeStatistics(const std::string& path, const Plans& plans, const Cameras& cameras) {
    std::string lines;
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        lines += statisticsLine(plans[i], cameras[i]->statistics()) + "\n";
    }
    writeWhole(path, std::vector<std::uint8_t>(lines.begin(), lines.end()));
}

}  // namespace

std::vector<std::string> formatNames() {
    std::vector<std::string> names;
    for (const NamedFormat& known : kFormats) names.emplace_back(known.name);
    return names;
}

std::string addressAfter(const std::string& address, std::uint32_t steps) {
    in_addr parsed{};
    if (inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        throw Failure("\"" + address + "\" is no IPv4 address", ExitCode::usage);
    }
    const std::uint32_t number = ntohl(parsed.s_addr);
    if (number > UINT32_MAX - steps) {
        throw Failure("there are no " + std::to_string(steps) + " addresses after " + address,
                      ExitCode::usage);
    }
    parsed.s_addr = htonl(number + steps);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &parsed, text.data(), text.size());
    return text.data();
}

kestrosim::FaultPlan planFaults(const SimOptions& options) {
    kestrosim::FaultPlan plan;
    plan.seed = options.seed;
    if (!options.faultFile.empty()) plan = withScenario(plan, options.faultFile);
    try {
        for (const std::string& fault : options.faults) kestrosim::addFault(plan, fault);
    } catch (const std::runtime_error& error) {
        throw Failure(std::string("--fault ") + error.what(), ExitCode::usage);
    }
    try {
        kestrosim::requirePossible(plan);
    } catch (const std::runtime_error& error) {
        throw Failure(error.what(), ExitCode::usage);
    }
    plan.seed = options.faultSeed.value_or(plan.seed);
    return plan;
}

Plans planCameras(const SimOptions& options) {
    const kestrosim::FaultPlan faults = planFaults(options);
    Plans plans;
    for (std::uint32_t i = 0; i < options.count; ++i) {
        kestrosim::CameraOptions plan;
        plan.address = addressAfter(options.address, i);
        plan.claim = claimAfter(options.claim, i);
        plan.serial = numbered(options.serial, i, options.count);
        plan.userName = numbered(options.userName, i, options.count);
        plan.width = options.width.value_or(options.imageFolder.empty() ? plan.width : 0);
        plan.height = options.height.value_or(options.imageFolder.empty() ? plan.height : 0);
        plan.framesPerSecond = options.framesPerSecond;
        plan.format = formatOf(options.format);
        plan.linkMbits = options.linkMbits;
        plan.seed = options.seed + i;
        plan.scenes = options.scenes;
        plan.difficulty = options.difficulty;
        plan.imageFolder = options.imageFolder;
        plan.report = [](const std::string& text) { complain(text); };
        plan.truthFile = options.truthFile;
        plan.descriptionFile = options.descriptionFile;
        plan.faults = planAfter(faults, i);
        plan.stampsImages = options.stampsImages;
        checkName(plan.serial, "the serial number");
        checkName(plan.userName, "the name");
        plans.push_back(plan);
    }
    return plans;
}

ExitCode runSim(const SimOptions& options, Output& output) {
    const Plans plans = planCameras(options);
    checkWritable(options.truthFile);
    checkWritable(options.statisticsFile);
    sayFaultSeed(options, plans);
    const Wake wake;
    const StopSignal stopSignal(wake);
    const Cameras cameras = switchOn(plans, output);
    while (!StopSignal::requested()) {
        wake.waitUntil(std::chrono::steady_clock::time_point::max());
    }
    say(statisticsTable(plans, cameras));
    if (!options.statisticsFile.empty()) {
        writeStatistics(options.statisticsFile, plans, cameras);
    }
    return ExitCode::ok;
}

}  // namespace kestrocli
