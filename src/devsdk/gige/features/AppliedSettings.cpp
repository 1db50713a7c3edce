// SPDX-License-Identifier: Apache-2.0
#include "AppliedSettings.h"

#include "ConnectionFeatures.h"
#include "DeviceLog.h"
#include "Features.h"
#include "LastError.h"
#include "VordaInfra.h"

#include <algorithm>
#include <utility>

namespace Vorda::Gige {
namespace {

/** Waiting in vain takes its time: so often it is done for one feature, and for all of them. */
constexpr int kMostSilencesOfOne = 2;
constexpr int kMostSilences = 8;

thread_local int unnotedDepth = 0;

/** What is replaced when it is set again. Neither names nor values have a zero in them. */
std::string keyOf(const AppliedSetting& setting) {
    std::string key = setting.name;
    for (const SelectorPosition& each : setting.selectors) {
        key += '\0';
        key += each.name;
        key += '\0';
        key += each.value;
    }
    return key;
}

bool wasSilent() { return Infra::getLastError() == static_cast<int>(Error::timeout); }

class Restorer {
 public:
    using Silence = AppliedSettings::Silence;

    Restorer(Features& features, const std::vector<AppliedSetting>& settings, Silence silence)
        : features_(features),
          settings_(settings),
          silence_(silence),
          sentences_(settings.size()) {}

    /** False, with the last error, when it has ended early. */
    [[nodiscard]] bool run();
    void addRefusals(std::vector<std::string>& refusals) const;

 private:
    [[nodiscard]] bool apply(std::vector<std::size_t>& pending);
    [[nodiscard]] bool apply(const AppliedSetting& setting);
    [[nodiscard]] bool place(const std::vector<SelectorPosition>& selectors);
    [[nodiscard]] bool ensure(const std::string& name, const std::string& value);
    [[nodiscard]] bool leaveSelectors();
    [[nodiscard]] bool isOver() const;
    void moved(const std::string& selector, const std::string& position);

    Features& features_;
    const std::vector<AppliedSetting>& settings_;
    const Silence silence_;
    std::vector<std::string> sentences_;  ///< of those that are refused
    std::unordered_map<std::string, std::string> positions_;
    std::unordered_map<std::string, int> silences_;
    int allSilences_ = 0;
};

bool Restorer::run() {
    std::vector<std::size_t> pending(settings_.size());
    for (std::size_t i = 0; i < pending.size(); ++i) pending[i] = i;
    bool isInOrder = true;
    for (std::size_t before = pending.size() + 1; !pending.empty() && pending.size() < before;) {
        before = pending.size();
        if (!apply(pending)) return false;
        isInOrder = isInOrder && pending.empty();
    }
    // Those that were tried again took the selectors along.
    return isInOrder || leaveSelectors();
}

/** Leaves in `pending` what may be tried again. */
bool Restorer::apply(std::vector<std::size_t>& pending) {
    std::vector<std::size_t> again;
    for (const std::size_t each : pending) {
        const AppliedSetting& setting = settings_[each];
        sentences_[each].clear();
        if (apply(setting)) continue;
        if (isOver()) return false;
        sentences_[each] =
            refusalAt(setting.selectors, setting.name, setting.value, lastErrorMessage());
        // A user set that came later would replace what has been set since.
        if (!setting.isCommand) again.push_back(each);
    }
    pending = std::move(again);
    return true;
}

bool Restorer::apply(const AppliedSetting& setting) {
    if (!place(setting.selectors)) return false;
    if (setting.isCommand) {
        positions_.clear();
        return features_.execute(setting.name);
    }
    if (!ensure(setting.name, setting.value)) return false;
    moved(setting.name, setting.value);
    return true;
}

bool Restorer::place(const std::vector<SelectorPosition>& selectors) {
    for (const SelectorPosition& each : selectors) {
        const auto known = positions_.find(each.name);
        if (known != positions_.end() && known->second == each.value) continue;
        if (!ensure(each.name, each.value)) return false;
        moved(each.name, each.value);
    }
    return true;
}

/** A camera that leaves a request unanswered may answer all others. */
bool Restorer::ensure(const std::string& name, const std::string& value) {
    int& silences = silences_[name];
    if (silences == kMostSilencesOfOne || allSilences_ == kMostSilences)
        return fail(Error::timeout, name + " " + value +
                                        ": not tried, for the camera has left too much unanswered");
    if (features_.ensure(name, value)) return true;
    if (!wasSilent()) return false;
    ++silences;
    ++allSilences_;
    positions_.clear();  // the camera may have done what it did not answer
    return false;
}

/** After a failure. */
bool Restorer::isOver() const {
    return isConnectionGone() || (silence_ == Silence::isUnready && wasSilent());
}

/** A selector that others select stands elsewhere when they have moved. */
void Restorer::moved(const std::string& selector, const std::string& position) {
    const std::vector<std::string> selected = features_.selected(selector);
    for (const std::string& each : selected) positions_.erase(each);
    if (!selected.empty()) positions_[selector] = position;
}

bool Restorer::leaveSelectors() {
    for (const AppliedSetting& setting : settings_) {
        const bool isSelector = !features_.selected(setting.name).empty();
        const bool isPlaced = isSelector ? apply(setting) : place(setting.selectors);
        if (!isPlaced && isOver()) return false;
    }
    return true;
}

void Restorer::addRefusals(std::vector<std::string>& refusals) const {
    for (const std::string& each : sentences_) {
        if (!each.empty()) refusals.push_back(each);
    }
}

}  // namespace

void AppliedSettings::note(AppliedSetting setting) {
    if (isOfConnection(setting.name)) return;
    const std::lock_guard lock(mutex_);
    if (setting.isCommand) {
        notes_.clear();
        places_.clear();
    }
    append(std::move(setting));
    if (notes_.size() <= kMost) return;
    places_.erase(keyOf(notes_.front()));
    notes_.pop_front();
    isFull_ = true;
}

void AppliedSettings::append(AppliedSetting setting) {
    std::string key = keyOf(setting);
    notes_.push_back(std::move(setting));
    const auto [place, isNew] = places_.try_emplace(std::move(key), std::prev(notes_.end()));
    if (isNew) return;
    notes_.erase(place->second);
    place->second = std::prev(notes_.end());
}

void AppliedSettings::warnIfFull() {
    {
        const std::lock_guard lock(mutex_);
        if (!isFull_ || std::exchange(hasWarned_, true)) return;
    }
    GIGE_LOG(kWarning,
             "more than %I64u settings were made; the oldest would not be made again on a camera "
             "that was restarted, key=[%s]",
             std::uint64_t{kMost}, device_.c_str());
}

void AppliedSettings::clear() {
    const std::lock_guard lock(mutex_);
    notes_.clear();
    places_.clear();
    isFull_ = hasWarned_ = false;
}

std::vector<AppliedSetting> AppliedSettings::all() const {
    const std::lock_guard lock(mutex_);
    return {notes_.begin(), notes_.end()};
}

bool AppliedSettings::restore(Features& features, std::vector<std::string>& refusals,
                              Silence silence) const {
    const UnnotedWrites own;
    const std::vector<AppliedSetting> settings = all();
    Restorer restorer(features, settings, silence);
    const bool isComplete = restorer.run();
    restorer.addRefusals(refusals);
    return isComplete;
}

UnnotedWrites::UnnotedWrites() { ++unnotedDepth; }
UnnotedWrites::~UnnotedWrites() { --unnotedDepth; }
bool UnnotedWrites::isOn() { return unnotedDepth > 0; }

}  // namespace Vorda::Gige
