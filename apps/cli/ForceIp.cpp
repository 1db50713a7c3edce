// SPDX-License-Identifier: Apache-2.0
#include "ForceIp.h"

#include "Find.h"
#include "Ipv4Text.h"
#include "Output.h"
#include "Text.h"

#include <charconv>
#include <chrono>
#include <optional>

namespace kestrocli {
namespace {

// A camera takes its new address at once but may first have to bring its network up again.
constexpr std::chrono::seconds kLongestSearch{10};

/** "24" or "255.255.255.0"; empty for anything else. */
std::optional<std::uint32_t> maskOf(const std::string& text) {
    constexpr unsigned kMostBits = 30;  // fewer than two host bits leave no address for a camera
    unsigned bits = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, bits);
    if (parsed.ec == std::errc() && parsed.ptr == end) {
        if (bits < 1 || bits > kMostBits) return std::nullopt;
        return ~std::uint32_t{0} << (32 - bits);
    }
    const auto mask = addressFrom(text);
    const bool isWhole = mask && *mask != 0 && ((~*mask + 1) & ~*mask) == 0;
    return isWhole ? mask : std::nullopt;
}

/** The camera with this MAC address under the new address; empty when there is none. */
std::optional<FoundCamera> findAgain(const CameraRecord& camera, const std::string& address) {
    const auto deadline = std::chrono::steady_clock::now() + kLongestSearch;
    do {
        for (auto& found : discoverCameras()) {
            if (found.record.mac == camera.mac && found.record.ip == address) return found;
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
}

void requireFree(const FoundCamera& found) {
    const CameraState state = stateOf(found.camera);
    const bool isFree =
        state.access == kestro::DeviceInfo::Open || state.access == kestro::DeviceInfo::Unknown;
    if (isFree) return;
    throw Failure("camera " + nameOf(found.record) + " is in use by another program (access: " +
                      std::string(accessName(state.access)) +
                      "), which a new address would cut off.\nEnd that program first.",
                  ExitCode::inUse);
}

}  // namespace

AddressPlan planAddress(const ForceIpOptions& options) {
    const std::size_t slash = options.address.find('/');
    const auto address = addressFrom(options.address.substr(0, slash));
    if (slash == std::string::npos || !address) {
        throw Failure("\"" + visible(options.address) +
                          "\" is no address with a mask, such as 192.168.1.7/24",
                      ExitCode::usage);
    }
    const auto mask = maskOf(options.address.substr(slash + 1));
    if (!mask) {
        throw Failure("\"" + visible(options.address.substr(slash + 1)) +
                          "\" is no mask, such as 24 or 255.255.255.0",
                      ExitCode::usage);
    }
    const std::uint32_t host = *address & ~*mask;
    if (host == 0 || host == ~*mask) {
        throw Failure(dotted(*address) + " names the whole subnet, not a camera in it",
                      ExitCode::usage);
    }
    const auto gateway = options.gateway.empty() ? std::uint32_t{0} : addressFrom(options.gateway);
    if (!gateway) {
        throw Failure("\"" + visible(options.gateway) + "\" is no gateway's address",
                      ExitCode::usage);
    }
    return {dotted(*address), dotted(*mask), dotted(*gateway)};
}

ExitCode runForceIp(const ForceIpOptions& options, Output&) {
    const AddressPlan plan = planAddress(options);
    const FoundCamera found = findCamera(options.camera);
    const std::string name = "camera " + nameOf(found.record);
    requireFree(found);
    const auto result =
        found.camera->forceIpAddress(plan.address.c_str(), plan.mask.c_str(), plan.gateway.c_str());
    if (result.isFailure()) {
        throw Failure(name + " did not take the address (code " + std::to_string(result.getCode()) +
                      "); the log line above says why");
    }
    const auto again = findAgain(found.record, plan.address);
    if (!again) throw Failure(name + " was not found again at " + plan.address);
    say(name + " has the address " + plan.address + " until its next power cycle" +
        (stateOf(again->camera).ipValid ? ""
                                        : ", which is not in the subnet of interface " +
                                              visible(again->record.interfaceText)));
    return ExitCode::ok;
}

}  // namespace kestrocli
