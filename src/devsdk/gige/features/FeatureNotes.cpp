// SPDX-License-Identifier: Apache-2.0
//
// Telling what the application sets, and where the selectors of that stand. Where they stand is
// known from their own last writing; the camera is asked only for one that nobody has moved yet.
#include "Features.h"
#include "FeaturesImpl.h"

#include <utility>

namespace Vorda::Gige {

bool Features::Impl::isNoted(const Feature& feature) const {
    if (!sources.settings || UnnotedWrites::isOn()) return false;
    return feature.kind != FeatureKind::command || tree[feature.id].name == kUserSetLoad;
}

AppliedSetting Features::Impl::beginSetting(const Feature& feature) {
    AppliedSetting setting;
    if (!isNoted(feature)) return setting;
    setting.name = tree[feature.id].name;
    setting.isCommand = feature.kind == FeatureKind::command;
    std::vector<NodeId> selectors = graph.allSelectors(feature.id);
    // Not every description says whom it selects.
    if (const NodeId set = tree.find(kUserSetSelector);
        setting.isCommand && selectors.empty() && set != kNoNode)
        selectors.push_back(set);
    for (const NodeId id : selectors) addPosition(tree[id].name, setting.selectors);
    return setting;
}

/** Nothing for a selector that cannot be read: then there is no telling where it stands. */
void Features::Impl::addPosition(const std::string& selector, std::vector<SelectorPosition>& all) {
    auto known = positions.find(selector);
    if (known == positions.end()) {
        std::string text;
        const Feature* const feature = find(selector);
        if (!feature || feature->isOurs() || getAsText(*feature, text)) return;
        known = positions.emplace(selector, std::move(text)).first;
    }
    all.push_back({selector, known->second});
}

void Features::Impl::endSetting(const Feature& feature, AppliedSetting setting, std::string text) {
    if (!sources.settings) return;
    if (feature.kind == FeatureKind::command) {
        positions.clear();
    } else {
        for (const std::string& each : graph.dependents(feature.id)) positions.erase(each);
        if (!graph.selected(feature.id).empty()) positions[tree[feature.id].name] = text;
    }
    if (setting.name.empty()) return;
    if (!setting.isCommand) setting.value = std::move(text);
    sources.settings->note(std::move(setting));
}

/** As though it had been written: a feature that has the value which the application wants. */
void Features::Impl::keepSetting(const Feature& feature, const std::string& text) {
    if (feature.isOurs() || !isNoted(feature)) return;
    {
        const Operation operation(*this);
        if (operation.refusal()) return;
        if (rules.checkWritable(feature.id).number() == Error::notWritable) return;
        AppliedSetting setting = beginSetting(feature);
        setting.value = text;
        sources.settings->note(std::move(setting));
    }
    sources.settings->warnIfFull();
}

}  // namespace Vorda::Gige
