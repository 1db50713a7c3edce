// SPDX-License-Identifier: Apache-2.0
//
// Loading a configuration. The lines are applied in their order; what the camera refuses is tried
// again after the rest, for the range of one feature may hang on the value of another. A selected
// feature keeps to the position that its selectors have in the file, whenever it is applied.
#include "DeviceConfig.h"
#include "DeviceConfigText.h"
#include "LastError.h"
#include "SelectorPosition.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

namespace Vorda::Gige {
namespace {

bool failReading(const std::string& path) {
    return fail(Error::system,
                "cannot read " + path + ": " + std::system_category().message(errno));
}

/** The whole file, or one byte more than a configuration may have. */
bool readFile(const std::string& path, std::string& text) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               &std::fclose);
    if (!file) return failReading(path);
    char buffer[1 << 16];
    while (text.size() <= kMaxConfigurationBytes) {
        const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get());
        text.append(buffer, count);
        if (count < sizeof buffer) break;
    }
    return std::ferror(file.get()) == 0 || failReading(path);
}

/** What one refusal may say; values can be long, and there can be many. */
constexpr std::size_t kMaxSentenceBytes = 512;

/** A line of the file, and where its selectors are to be. */
struct Setting {
    const ConfigurationEntry* entry = nullptr;
    std::vector<const ConfigurationEntry*> positions;  ///< the outermost first
    bool isSelector = false;
    bool isLast = false;  ///< no later line is for the same feature at the same positions
    std::string refusal;  ///< empty when it is applied
};

/** Orders settings by what they are for. */
bool isBefore(const Setting* left, const Setting* right) {
    const int names = left->entry->name.compare(right->entry->name);
    if (names != 0) return names < 0;
    return std::ranges::lexicographical_compare(left->positions, right->positions, {},
                                                &ConfigurationEntry::value,
                                                &ConfigurationEntry::value);
}

std::string sentenceFor(const Setting& setting, const std::string& reason) {
    std::vector<SelectorPosition> positions;
    for (const ConfigurationEntry* each : setting.positions)
        positions.push_back({each->name, each->value});
    return refusalAt(positions, setting.entry->name, setting.entry->value, reason);
}

class Loader {
 public:
    Loader(Features& features, const ConfigurationText& text);

    /** False, with the last error, when the connection is lost; refusals are no failure here. */
    [[nodiscard]] bool run();
    void addRefusals(std::vector<ConfigurationFault>& refusals) const;

 private:
    /** What the description says of a feature that the file names. */
    struct Known {
        std::vector<std::string> selectors;
        bool isSelector = false;
    };

    [[nodiscard]] const Known& known(const std::string& name);
    [[nodiscard]] const ConfigurationEntry* positionOf(const std::string& selector);
    void markLast();
    [[nodiscard]] bool apply(const std::vector<Setting*>& settings);
    [[nodiscard]] bool apply(const Setting& setting);

    Features& features_;
    std::vector<Setting> settings_;
    std::map<std::string, Known> known_;
    std::map<std::string, const ConfigurationEntry*> inForce_;  ///< selectors' lines so far
    std::map<std::string, ConfigurationEntry> origins_;         ///< the camera's own positions
};

Loader::Loader(Features& features, const ConfigurationText& text) : features_(features) {
    settings_.reserve(text.entries.size());
    for (const ConfigurationEntry& entry : text.entries) {
        const Known& feature = known(entry.name);
        Setting setting;
        setting.entry = &entry;
        setting.isSelector = feature.isSelector;
        for (const std::string& selector : feature.selectors) {
            if (const auto* position = positionOf(selector)) setting.positions.push_back(position);
        }
        settings_.push_back(std::move(setting));
        if (feature.isSelector) inForce_[entry.name] = &entry;
    }
    markLast();
}

const Loader::Known& Loader::known(const std::string& name) {
    const auto [place, isNew] = known_.try_emplace(name);
    if (isNew) {
        place->second.selectors = features_.allSelectors(name);
        place->second.isSelector = !features_.selected(name).empty();
    }
    return place->second;
}

/** That of the last line for it so far; before the first one, the camera's own, if it says it. */
const ConfigurationEntry* Loader::positionOf(const std::string& selector) {
    const auto line = inForce_.find(selector);
    if (line != inForce_.end()) return line->second;
    const auto [origin, isNew] = origins_.try_emplace(selector);
    if (isNew) {
        const KeepLastError quiet;
        ConfigurationEntry& entry = origin->second;
        if (features_.getText(selector, entry.value)) entry.name = selector;
    }
    return origin->second.name.empty() ? nullptr : &origin->second;
}

void Loader::markLast() {
    std::set<const Setting*, decltype(&isBefore)> seen(&isBefore);
    for (auto setting = settings_.rbegin(); setting != settings_.rend(); ++setting)
        setting->isLast = seen.insert(&*setting).second;
}

bool Loader::run() {
    std::vector<Setting*> pending;
    std::vector<Setting*> ends;
    for (Setting& setting : settings_) {
        // Earlier lines of a selector are there for those that follow them.
        if (setting.isLast || setting.isSelector) pending.push_back(&setting);
        if (setting.isLast && setting.isSelector) ends.push_back(&setting);
    }
    for (std::size_t before = pending.size() + 1; !pending.empty() && pending.size() < before;) {
        before = pending.size();
        if (!apply(pending)) return false;
        std::erase_if(pending, [](const Setting* each) { return each->refusal.empty(); });
    }
    // Those that were tried again took the selectors along.
    return apply(ends);
}

bool Loader::apply(const std::vector<Setting*>& settings) {
    for (Setting* setting : settings) {
        setting->refusal.clear();
        if (apply(*setting)) continue;
        if (isConnectionGone()) return false;
        setting->refusal = sentenceFor(*setting, lastErrorMessage()).substr(0, kMaxSentenceBytes);
    }
    return true;
}

bool Loader::apply(const Setting& setting) {
    const auto isInPlace = [this](const ConfigurationEntry* entry) {
        return features_.ensure(entry->name, entry->value);
    };
    return std::ranges::all_of(setting.positions, isInPlace) && isInPlace(setting.entry);
}

void Loader::addRefusals(std::vector<ConfigurationFault>& refusals) const {
    for (const Setting& setting : settings_) {
        if (!setting.refusal.empty()) refusals.push_back({setting.entry->line, setting.refusal});
    }
}

}  // namespace

bool loadConfiguration(Features& features, const std::string& path,
                       std::vector<std::string>& refusals) {
    if (path.empty())
        return fail(Error::invalidArgument, "there is no path to load a configuration from");
    std::string text;
    ConfigurationText parsed;
    if (!readFile(path, text) || !parseConfiguration(text, parsed)) return false;
    Loader loader(features, parsed);
    if (!loader.run()) return false;
    auto all = parsed.faults;
    loader.addRefusals(all);
    if (all.empty()) return true;
    std::ranges::stable_sort(all, {}, &ConfigurationFault::line);
    for (const ConfigurationFault& each : all) refusals.push_back(each.text);
    const std::size_t count = parsed.entries.size() + parsed.faults.size();
    return fail(Error::feature, std::to_string(all.size()) + " of " + std::to_string(count) +
                                    " settings were refused, the first: " + refusals.front());
}

}  // namespace Vorda::Gige
