// SPDX-License-Identifier: Apache-2.0
#include "CameraChecks.h"

#include "Feature.h"
#include "HostChecks.h"
#include "Ipv4Text.h"
#include "Text.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

namespace kestrocli {
namespace {

constexpr const char* kDescription = "description";

std::string interfacesAsked(const Host& host) {
    std::set<std::string> names;
    for (const auto& each : host.usedAddresses()) names.insert(visible(each.interface));
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
    return text.empty() ? "nowhere" : text;
}

/** Addresses that somebody has: this host, the cameras, and whoever was spoken to lately. */
std::set<std::uint32_t> takenAddresses(const Host& host, const std::vector<CameraRecord>& cameras) {
    std::set<std::uint32_t> taken;
    for (const auto& each : host.addresses) taken.insert(each.address);
    for (const auto& each : cameras) taken.insert(addressFrom(each.ip).value_or(0));
    for (const auto& line : host.lines("/proc/net/arp")) {
        taken.insert(addressFrom(line.substr(0, line.find(' '))).value_or(0));
    }
    return taken;
}

/** The bytes of the camera's description, as the library writes it; 0 when it cannot. */
std::uintmax_t descriptionBytes(const Control& control) {
    std::error_code error;
    std::string path = std::filesystem::temp_directory_path(error) / "kestro-XXXXXX";
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) return 0;
    close(descriptor);
    const bool isWritten = control.camera()->downloadGenICamXML(path.c_str()).isOK();
    const std::uintmax_t bytes = isWritten ? std::filesystem::file_size(path, error) : 0;
    std::filesystem::remove(path, error);
    return error ? 0 : bytes;
}

bool hasValue(kestro::ParameterType type) {
    return type != kestro::ParameterType::Group && type != kestro::ParameterType::Command &&
           type != kestro::ParameterType::Unknown;
}

struct Readability {
    std::uint64_t features = 0;
    std::vector<std::string> unread;  ///< readable by what they say, and yet refused
};

Readability readAll(const Control& control) {
    Readability found;
    for (const auto& place : featureTree(control)) {
        if (place.type == kestro::ParameterType::Group) continue;
        ++found.features;
        if (!hasValue(place.type)) continue;
        const bool says = kestro::Parameter(control.camera(), place.name.c_str()).isReadable();
        if (says && !Feature(control, place.name).value()) found.unread.push_back(place.name);
    }
    return found;
}

std::string someOf(const std::vector<std::string>& names) {
    constexpr std::size_t kMost = 3;
    std::string text;
    for (std::size_t i = 0; i < names.size() && i < kMost; ++i) {
        text += (i == 0 ? "" : ", ") + visible(names[i]);
    }
    return names.size() > kMost ? text + " ..." : text;
}

/** Throws Failure when the tree cannot be walked. */
Finding describe(const Control& control) {
    const std::uintmax_t bytes = descriptionBytes(control);
    if (bytes == 0) {
        return {Verdict::fail, kDescription, "it cannot be downloaded",
                "kestro -v xml " + nameOf(control.record()) + " - tells more"};
    }
    const Readability found = readAll(control);
    const std::string seen = sizeText(bytes) + ", " + counted(found.features, "feature");
    if (found.unread.empty())
        return {Verdict::pass, kDescription, seen + ", all that can be read were", {}};
    return {Verdict::warn, kDescription,
            seen + ", of which " + std::to_string(found.unread.size()) +
                " cannot be read: " + someOf(found.unread),
            "kestro -v get " + nameOf(control.record()) + " " + visible(found.unread.front()) +
                " tells why"};
}

}  // namespace

Finding checkSearch(const Host& host, const std::vector<CameraRecord>& cameras) {
    const std::string asked = "asked through " + interfacesAsked(host);
    if (cameras.empty()) {
        return {Verdict::warn, "search", "no camera answered, " + asked,
                "is one powered, and in one of these networks? sudo tcpdump -ni any udp port 3956 "
                "shows what is asked and answered"};
    }
    return {Verdict::pass, "search", counted(cameras.size(), "camera") + " answered, " + asked, {}};
}

const HostAddress* addressTowards(const Host& host, const CameraRecord& camera) {
    const HostAddress* found = nullptr;
    for (const auto& each : host.addresses) {
        if (each.interface != camera.interfaceName) continue;
        // Of several addresses of one interface, the one that discovery tells.
        const bool isTold = camera.interfaceText.ends_with(dotted(each.address, each.mask));
        if (found == nullptr || isTold) found = &each;
    }
    return found;
}

std::string proposedAddress(const Host& host, const CameraRecord& camera,
                            const std::vector<CameraRecord>& others) {
    constexpr std::uint32_t kNarrow = 0xFFFFFF00;  // of a wide subnet, the host's own surroundings
    const HostAddress* const here = addressTowards(host, camera);
    if (here == nullptr) return {};
    const std::uint32_t mask = std::max(here->mask, kNarrow);
    const std::uint32_t hosts = ~mask;
    if (hosts < 3) return {};
    const std::set<std::uint32_t> taken = takenAddresses(host, others);
    const std::uint32_t liked = addressFrom(camera.ip).value_or(0) & hosts;
    for (std::uint32_t i = 0; i <= hosts; ++i) {
        const std::uint32_t number = (liked + i) & hosts;
        const std::uint32_t address = (here->address & mask) | number;
        if (number != 0 && number != hosts && taken.count(address) == 0) {
            return dotted(address, here->mask);
        }
    }
    return {};
}

Findings checkPlace(const Host& host, const CameraRecord& camera, const CameraState& state,
                    const std::vector<CameraRecord>& others) {
    const std::string where = visible(camera.interfaceText);
    const std::string model = camera.model.empty() ? "camera" : visible(camera.model);
    Findings findings = {
        {Verdict::pass, "found", model + " at " + camera.ip + " through " + where, {}}};
    if (state.ipValid) {
        findings.push_back({Verdict::pass, "subnet", camera.ip + " can be reached from there", {}});
        return findings;
    }
    const std::string address = proposedAddress(host, camera, others);
    findings.push_back(
        {Verdict::fail, "subnet",
         camera.ip + " (mask " + camera.mask + ") is in another subnet than " + where,
         "kestro force-ip " + nameOf(camera) + " " + (address.empty() ? "ADDRESS/MASK" : address)});
    return findings;
}

bool isControlled(const CameraState& state) {
    return state.access == kestro::DeviceInfo::Exclusive ||
           state.access == kestro::DeviceInfo::Control ||
           state.access == kestro::DeviceInfo::ControlSwitchover;
}

Finding checkAccess(const CameraRecord& camera, const CameraState& state) {
    if (state.access == kestro::DeviceInfo::Open) {
        return {Verdict::pass, "control", "nobody controls it", {}};
    }
    if (isControlled(state)) {
        return {
            Verdict::fail, "control",
            "another program controls it (access: " + std::string(accessName(state.access)) + ")",
            "end that program, the log line names its host; after a crash the camera is free "
            "when its heartbeat time-out is over"};
    }
    return {Verdict::fail, "control", "it was found, but does not answer at " + camera.ip,
            "two devices with one address? sudo arping -I " + visible(camera.interfaceName) + " " +
                camera.ip + " shows whether two MAC addresses answer"};
}

Finding checkDescription(const Control& control) {
    try {
        return describe(control);
    } catch (const Failure& failure) {
        return {Verdict::fail, kDescription, firstLine(failure.what()),
                "kestro -v features " + nameOf(control.record()) + " tells more"};
    }
}

Finding checkHeartbeat(const Control& control, bool wasLost) {
    const std::string name = "heartbeat";
    const std::string camera = nameOf(control.record());
    if (wasLost || !control.camera()->isConnected()) {
        return {Verdict::fail, name, "the connection was lost meanwhile",
                "cable, power supply, energy saving of the card: ip -s link show " +
                    visible(control.record().interfaceName)};
    }
    for (const char* feature : {"GevGVCPHeartbeatDisable", "DeviceLinkHeartbeatMode"}) {
        if (!hasFeature(control, feature)) continue;
        const auto value = Feature(control, feature).value();
        const bool isOff = value && (textOf(*value) == "true" || textOf(*value) == "Off");
        if (!isOff) continue;
        const std::string on = textOf(*value) == "Off" ? "=On" : "=false";
        return {Verdict::warn, name,
                "switched off: a program that crashes keeps the camera for ever",
                "kestro set " + camera + " " + feature + on};
    }
    return {Verdict::pass, name, "the connection held", {}};
}

}  // namespace kestrocli
