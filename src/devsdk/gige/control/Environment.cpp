// SPDX-License-Identifier: Apache-2.0
#include "Environment.h"

#include "HeldLines.h"

#include <charconv>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string_view>

namespace Vorda::Gige::Environment {
namespace {

constexpr int kDefaultTimeoutMs = 1000;
constexpr int kLongestTimeoutMs = 60000;

std::string_view value(const char* name) {
    const char* text = std::getenv(name);
    return text ? text : "";
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/** The entries of a comma separated list, without blanks around them; empty ones are left out. */
std::vector<std::string> entries(const char* name) {
    std::vector<std::string> found;
    std::string_view rest = value(name);
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        const std::string_view entry = trimmed(rest.substr(0, comma));
        if (!entry.empty()) found.emplace_back(entry);
        rest = comma == std::string_view::npos ? std::string_view{} : rest.substr(comma + 1);
    }
    return found;
}

/** Unless it is set to 0. */
bool isOn(const char* name) {
    const std::string_view text = trimmed(value(name));
    if (text == "0") return false;
    if (!text.empty() && text != "1")
        warnOnce(std::string(name) + ": neither 0 nor 1: [" + std::string(text) + "]");
    return true;
}

}  // namespace

void warnOnce(const std::string& text) {
    struct Written {
        std::mutex mutex;
        std::set<std::string> texts;
    };
    static auto& written = *new Written;
    {
        const std::lock_guard lock(written.mutex);
        if (!written.texts.insert(text).second) return;
    }
    GIGE_LOG_WHEN_FREE(kWarning, text);
}

std::vector<std::string> interfaceNames() { return entries("KESTRO_INTERFACES"); }

std::vector<Ipv4> discoveryAddresses() {
    std::vector<Ipv4> addresses;
    for (const std::string& entry : entries("KESTRO_DISCOVERY_ADDRESSES")) {
        if (const auto address = Ipv4::parse(entry))
            addresses.push_back(*address);
        else
            warnOnce("KESTRO_DISCOVERY_ADDRESSES: no IPv4 address: [" + entry + "]");
    }
    return addresses;
}

std::chrono::milliseconds discoveryTimeout() {
    const std::string_view text = trimmed(value("KESTRO_DISCOVERY_TIMEOUT_MS"));
    if (text.empty()) return std::chrono::milliseconds(kDefaultTimeoutMs);
    int milliseconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), milliseconds);
    if (error == std::errc{} && end == text.data() + text.size() && milliseconds >= 1 &&
        milliseconds <= kLongestTimeoutMs)
        return std::chrono::milliseconds(milliseconds);
    warnOnce("KESTRO_DISCOVERY_TIMEOUT_MS: no number from 1 to 60000: [" + std::string(text) + "]");
    return std::chrono::milliseconds(kDefaultTimeoutMs);
}

bool receivesBatches() { return isOn("KESTRO_GRO"); }

bool reconnects() { return isOn("KESTRO_RECONNECT"); }

}  // namespace Vorda::Gige::Environment
