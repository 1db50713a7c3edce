// SPDX-License-Identifier: Apache-2.0
//
// Saving a configuration. A feature that others select has a value for each of their positions: the
// camera is taken through all of them, and back to where it was.
#include "AppliedSettings.h"
#include "ConnectionFeatures.h"
#include "DeviceConfig.h"
#include "DeviceConfigText.h"
#include "DeviceLog.h"
#include "FileWriter.h"
#include "LastError.h"

#include <algorithm>
#include <map>

namespace Vorda::Gige {
namespace {

/** Of one selector that is a number; a larger one addresses data rather than settings. */
constexpr std::uint64_t kMostNumbers = 256;
/** Of all selectors of a group together. */
constexpr std::size_t kMostPositions = 65'536;

/** Features that have the same selectors. */
struct Group {
    std::vector<std::string> selectors;  ///< the outermost first
    std::vector<std::string> members;
};

/** Moves a selector, and puts it back where it was when the work is done or has failed. */
class MovedSelector {
 public:
    MovedSelector(Features& features, const std::string& name) : features_(features), name_(name) {
        isKnown_ = features_.getText(name_, origin_);
    }
    MovedSelector(const MovedSelector&) = delete;
    MovedSelector& operator=(const MovedSelector&) = delete;
    ~MovedSelector() {
        const KeepLastError kept;
        if (!isKnown_ || features_.ensure(name_, origin_)) return;
        GIGE_LOG(kWarning, "a selector is not where it was before saving: %s",
                 lastErrorMessage().c_str());
    }
    [[nodiscard]] bool moveTo(const std::string& position) {
        return features_.ensure(name_, position);
    }
    [[nodiscard]] bool isKnown() const { return isKnown_; }
    [[nodiscard]] const std::string& origin() const { return origin_; }

 private:
    Features& features_;
    const std::string& name_;
    std::string origin_;
    bool isKnown_ = false;
};

class Saver {
 public:
    Saver(Features& features, const std::string& device)
        : features_(features), device_(device), text_(configurationHeader(device)) {}

    /** False with the last error set when the connection is lost or there is no end to it. */
    [[nodiscard]] bool run();
    [[nodiscard]] const std::string& text() const { return text_; }

 private:
    [[nodiscard]] bool isSetting(const std::string& name) const;
    [[nodiscard]] std::vector<Group> groups() const;
    [[nodiscard]] bool save(const Group& group);
    [[nodiscard]] bool saveMembers(const Group& group);
    [[nodiscard]] bool saveMember(const Group& group, const std::string& name);
    [[nodiscard]] bool readValue(const std::string& name, std::string& value);
    [[nodiscard]] std::vector<std::string> positionsOf(const std::string& selector,
                                                       const std::string& origin) const;
    [[nodiscard]] std::vector<std::string> numbersOf(const std::string& selector) const;
    void writePositions(const std::vector<std::string>& selectors);
    void leaveOut(const std::string& name, const std::string& reason) const;

    Features& features_;
    const std::string& device_;
    std::string text_;
    std::vector<std::string> positions_;          ///< of the group's selectors, at this moment
    std::map<std::string, std::string> written_;  ///< where the file has the selectors so far
    std::size_t visited_ = 0;                     ///< positions of the group
};

bool Saver::isSetting(const std::string& name) const {
    if (isOfConnection(name)) return false;
    const FeatureKind kind = features_.kind(name);
    return kind != FeatureKind::unknown && kind != FeatureKind::command &&
           kind != FeatureKind::category;
}

/** In the order in which their first members come; selectors are nobody's members. */
std::vector<Group> Saver::groups() const {
    std::vector<Group> all;
    std::vector<std::string> selectors;
    for (const std::string& name : features_.persistent()) {
        if (!isSetting(name)) continue;
        auto own = features_.allSelectors(name);
        selectors.insert(selectors.end(), own.begin(), own.end());
        const auto same = std::ranges::find(all, own, &Group::selectors);
        if (same != all.end())
            same->members.push_back(name);
        else
            all.push_back({std::move(own), {name}});
    }
    for (Group& group : all) {
        std::erase_if(group.members, [&selectors](const std::string& member) {
            return std::ranges::count(selectors, member) != 0;
        });
    }
    return all;
}

bool Saver::run() {
    const std::vector<Group> all = groups();
    std::string ends;  // where the selectors are to stay, for the end of the file
    std::vector<std::string> seen;
    for (const Group& group : all) {
        for (const std::string& selector : group.selectors) {
            std::string position;
            if (std::ranges::count(seen, selector) != 0) continue;
            seen.push_back(selector);
            if (readValue(selector, position)) appendSetting(ends, selector, position);
        }
    }
    for (const Group& group : all) {
        positions_.clear();
        visited_ = 0;
        if (!group.members.empty() && !save(group)) return false;
    }
    text_ += ends;
    return true;
}

/** Takes the group's selectors, from the first that has no position yet, through all of theirs. */
bool Saver::save(const Group& group) {
    if (positions_.size() == group.selectors.size()) return saveMembers(group);
    const std::string& name = group.selectors[positions_.size()];
    MovedSelector selector(features_, name);
    if (!selector.isKnown()) {
        if (isConnectionGone()) return false;
        leaveOut("what " + name + " selects", lastErrorMessage());
        return true;
    }
    for (const std::string& position : positionsOf(name, selector.origin())) {
        if (!selector.moveTo(position)) {
            if (isConnectionGone()) return false;
            continue;  // an entry that the camera does not offer at this moment
        }
        positions_.push_back(position);
        const bool isSaved = save(group);
        positions_.pop_back();
        if (!isSaved) return false;
    }
    return true;
}

bool Saver::saveMembers(const Group& group) {
    if (++visited_ > kMostPositions)
        return fail(Error::notSupported, "the selectors of " + group.members.front() +
                                             " have too many positions to save them all");
    return std::ranges::all_of(
        group.members, [this, &group](const std::string& name) { return saveMember(group, name); });
}

bool Saver::saveMember(const Group& group, const std::string& name) {
    std::string value;
    if (!readValue(name, value)) return !isConnectionGone();
    writePositions(group.selectors);
    appendSetting(text_, name, value);
    return true;
}

/** False, and said in the log, also when the value is none for a line. */
bool Saver::readValue(const std::string& name, std::string& value) {
    setLastError(Error::none, {});
    if (!features_.isReadable(name)) return false;
    if (!features_.getText(name, value)) {
        if (!isConnectionGone()) leaveOut(name, lastErrorMessage());
        return false;
    }
    if (isStorable(value)) return true;
    leaveOut(name, "its text has control characters");
    return false;
}

/** All positions that can be chosen; where none can, the one that there is. */
std::vector<std::string> Saver::positionsOf(const std::string& selector,
                                            const std::string& origin) const {
    if (!features_.isWritable(selector)) return {origin};
    std::vector<FeatureEntry> entries;
    switch (features_.kind(selector)) {
        case FeatureKind::boolean:
            return {"0", "1"};
        case FeatureKind::integer:
            return numbersOf(selector);
        case FeatureKind::enumeration:
            break;
        default:
            return {origin};
    }
    std::vector<std::string> symbols;
    if (!features_.getEntries(selector, entries)) return {origin};
    for (const FeatureEntry& entry : entries) symbols.push_back(entry.symbol);
    return symbols;
}

std::vector<std::string> Saver::numbersOf(const std::string& selector) const {
    FeatureRange<std::int64_t> range;
    std::int64_t increment = 1;
    if (!features_.getRange(selector, range) || range.max < range.min) return {};
    if (!features_.getIncrement(selector, increment)) return {};
    const auto step = static_cast<std::uint64_t>(std::max<std::int64_t>(increment, 1));
    const auto first = static_cast<std::uint64_t>(range.min);
    const std::uint64_t last = (static_cast<std::uint64_t>(range.max) - first) / step;
    if (last >= kMostNumbers) {
        leaveOut("what " + selector + " selects", "there are too many positions");
        return {};
    }
    std::vector<std::string> numbers;
    for (std::uint64_t i = 0; i <= last; ++i)
        numbers.push_back(std::to_string(static_cast<std::int64_t>(first + i * step)));
    return numbers;
}

/** Lines for the selectors that the file has elsewhere; a selector may move those behind it. */
void Saver::writePositions(const std::vector<std::string>& selectors) {
    bool isMoved = false;
    for (std::size_t i = 0; i < selectors.size(); ++i) {
        const auto before = written_.find(selectors[i]);
        isMoved = isMoved || before == written_.end() || before->second != positions_[i];
        if (!isMoved) continue;
        appendSetting(text_, selectors[i], positions_[i]);
        written_[selectors[i]] = positions_[i];
    }
}

void Saver::leaveOut(const std::string& name, const std::string& reason) const {
    GIGE_LOG(kWarning, "the configuration is saved without %s, key=[%s]: %s", name.c_str(),
             device_.c_str(), reason.c_str());
}

}  // namespace

bool saveConfiguration(Features& features, const std::string& device, const std::string& path) {
    if (path.empty())
        return fail(Error::invalidArgument, "there is no path to save the configuration to");
    const UnnotedWrites moves;
    Saver saver(features, device);
    if (!saver.run()) return false;
    // What could not be loaded is not worth saving.
    ConfigurationText parsed;
    return parseConfiguration(saver.text(), parsed) && writeFile(path, saver.text());
}

}  // namespace Vorda::Gige
