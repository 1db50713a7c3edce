// SPDX-License-Identifier: Apache-2.0
//
// Which features there are, how they hang together and what may be done with them at this moment.
#include "Features.h"

#include "FeaturesImpl.h"

#include <algorithm>
#include <utility>

namespace Vorda::Gige {
namespace {

const Feature* findStreamFeature(const std::string& name) {
    static const auto& known = *[] {
        auto* const all = new std::unordered_map<std::string, Feature>;
        (*all)[kStreamCategory] = {kNoNode, nullptr, FeatureKind::category};
        for (const StreamFeature& each : streamFeatures())
            (*all)[each.name] = {kNoNode, &each, FeatureKind::integer};
        return all;
    }();
    const auto found = known.find(name);
    return found == known.end() ? nullptr : &found->second;
}

}  // namespace

const char* kindText(FeatureKind kind) {
    switch (kind) {
        case FeatureKind::integer:
            return "an integer";
        case FeatureKind::floating:
            return "a float";
        case FeatureKind::enumeration:
            return "an enumeration";
        case FeatureKind::boolean:
            return "a boolean";
        case FeatureKind::text:
            return "a string";
        case FeatureKind::command:
            return "a command";
        case FeatureKind::category:
            return "a category";
        case FeatureKind::unknown:
            break;
    }
    return "of an unknown kind";
}

bool failUnknown(const std::string& name) {
    return fail(Error::feature, name + ": there is no such feature");
}

Features::Impl::Impl(FeatureSources from)
    : sources(std::move(from)),
      parts(*sources.model->parts_),
      tree(parts.tree),
      graph(parts.graph),
      nodes(*parts.nodes),
      rules(*parts.rules) {
    const std::lock_guard lock(parts.mutex);
    parts.user = this;
    parts.port.lead(sources.camera);
}

Features::Impl::~Impl() {
    // Nor is it waited for an operation of another's, which may take its time.
    if (parts.user != this) return;
    const std::lock_guard lock(parts.mutex);
    if (parts.user != this) return;
    parts.user = nullptr;
    parts.port.lead(nullptr);
}

const Feature* Features::Impl::find(const std::string& name) const {
    // A camera knows nothing of our stream: these win over features of its own of the same name.
    const Feature* const own = sources.stream ? findStreamFeature(name) : nullptr;
    if (own) return own;
    const auto found = parts.features.find(name);
    return found == parts.features.end() ? nullptr : &found->second;
}

const Feature* Features::Impl::find(const std::string& name, FeatureKind kind) const {
    const Feature* const found = find(name);
    if (found && found->kind == kind) return found;
    if (found)
        setLastError(Error::feature,
                     name + ": is " + kindText(found->kind) + ", not " + kindText(kind));
    else
        static_cast<void>(failUnknown(name));
    return nullptr;
}

/** Of what travels nothing is asked of the camera: a description may have thousands of them. */
Refusal Features::Impl::checkArrival(const Feature& feature) {
    PayloadValue unused;
    switch (graph.source(feature.id)) {
        case ValueSource::camera:
            return {};
        case ValueSource::chunk:
            return {Error::notAvailable, "chunk values come with frames"};
        case ValueSource::event:
            break;
    }
    return eventValue(feature, unused);
}

Refusal Features::Impl::checkReadable(const Feature& feature) {
    if (feature.isOurs()) return {};
    if (Refusal refusal = checkArrival(feature)) return refusal;
    return rules.checkReadable(feature.id);
}

Refusal Features::Impl::eventValue(const Feature& feature, PayloadValue& value) const {
    const std::string& name = tree[feature.id].name;
    const auto event = sources.model->layout()->eventOf(name);
    if (!event || !sources.events) return {Error::notAvailable, "no event carries it"};
    const Bytes bytes = sources.events->latest(*event);
    if (bytes.empty()) return {Error::notAvailable, "the event has not arrived yet"};
    auto found = sources.model->layout()->eventValue(name, bytes);
    if (!found) return {Error::notAvailable, "the event came without it"};
    value = std::move(*found);
    return {};
}

Features::Features(FeatureSources sources) : impl_(std::make_unique<Impl>(std::move(sources))) {}
Features::~Features() = default;

bool Features::has(const std::string& name) const { return impl_->find(name) != nullptr; }

FeatureKind Features::kind(const std::string& name) const {
    const Feature* const feature = impl_->find(name);
    return feature ? feature->kind : FeatureKind::unknown;
}

unsigned Features::visibility(const std::string& name) const {
    constexpr unsigned kExpert = 1;
    constexpr unsigned kNone = 255;
    const Feature* const feature = impl_->find(name);
    if (!feature) return kNone;
    return feature->isOurs() ? kExpert : impl_->graph.visibility(feature->id);
}

bool Features::getChildren(const std::string& name, std::vector<std::string>& names) const {
    const Feature* const category = impl_->find(name, FeatureKind::category);
    if (!category) return false;
    names.clear();
    if (category->isOurs()) {
        for (const StreamFeature& each : streamFeatures()) names.emplace_back(each.name);
        return true;
    }
    for (const NodeId id : impl_->graph.features(category->id)) {
        const std::string& child = impl_->tree[id].name;
        if (!impl_->find(child)->isOurs()) names.push_back(child);
    }
    if (name != kRootCategory) return true;
    if (impl_->sources.stream) names.emplace_back(kStreamCategory);
    if (!impl_->isListed.exchange(true) && impl_->sources.onListed) impl_->sources.onListed();
    return true;
}

bool Features::getSelectors(const std::string& name, std::vector<std::string>& names) const {
    const Feature* const feature = impl_->find(name);
    if (!feature) return failUnknown(name);
    names.clear();
    if (feature->isOurs()) return true;
    for (const NodeId id : impl_->graph.selectors(feature->id))
        names.push_back(impl_->tree[id].name);
    return true;
}

std::vector<std::string> Features::allSelectors(const std::string& name) const {
    std::vector<std::string> names;
    const Feature* const feature = impl_->find(name);
    if (!feature || feature->isOurs()) return names;
    for (const NodeId id : impl_->graph.allSelectors(feature->id))
        names.push_back(impl_->tree[id].name);
    return names;
}

std::vector<std::string> Features::selected(const std::string& name) const {
    std::vector<std::string> names;
    const Feature* const feature = impl_->find(name);
    if (!feature || feature->isOurs()) return names;
    for (const NodeId id : impl_->graph.selected(feature->id))
        names.push_back(impl_->tree[id].name);
    return names;
}

std::vector<std::string> Features::persistent() const {
    std::vector<std::string> marked;
    std::vector<std::string> values;
    for (const NodeId id : impl_->graph.listed()) {
        const std::string& name = impl_->tree[id].name;
        const Feature& feature = *impl_->find(name);
        const bool hasValue = feature.kind != FeatureKind::command &&
                              feature.kind != FeatureKind::category &&
                              feature.kind != FeatureKind::unknown;
        if (!hasValue || feature.isOurs()) continue;
        values.push_back(name);
        if (impl_->tree[id].text("Streamable") == "Yes") marked.push_back(name);
    }
    if (!marked.empty()) return marked;
    std::erase_if(values, [this](const std::string& name) { return !isWritable(name); });
    return values;
}

std::vector<Features::Polled> Features::polled() const {
    std::vector<Polled> found;
    for (const NodeId id : impl_->graph.listed()) {
        const std::string& name = impl_->tree[id].name;
        const Feature& feature = *impl_->find(name);
        if (feature.isOurs() || feature.kind == FeatureKind::command) continue;
        if (const auto time = impl_->graph.pollingTime(id))
            found.push_back({name, std::chrono::milliseconds(*time)});
    }
    return found;
}

bool Features::isAvailable(const std::string& name) const {
    return impl_->check(name, [this](const Feature& feature) -> Refusal {
        if (feature.isOurs()) return {};
        if (Refusal refusal = impl_->checkArrival(feature)) return refusal;
        return impl_->rules.checkAvailable(feature.id);
    });
}

bool Features::isReadable(const std::string& name) const {
    return impl_->check(name,
                        [this](const Feature& feature) { return impl_->checkReadable(feature); });
}

bool Features::isWritable(const std::string& name) const {
    return impl_->check(name, [this](const Feature& feature) -> Refusal {
        if (feature.isOurs()) return {Error::notWritable, {}};
        if (impl_->graph.source(feature.id) != ValueSource::camera) return {Error::notWritable, {}};
        return impl_->rules.checkWritable(feature.id);
    });
}

void Features::lockTransport(bool isLocked) {
    const Feature* const lock = impl_->find("TLParamsLocked");
    if (!lock || lock->isOurs()) return;
    const std::vector<std::string>* dependents = nullptr;
    {
        const Impl::Operation operation(*impl_);
        if (operation.refusal()) return;
        // A camera whose lock fails streams all the same; one that is gone fails the next step.
        const Refusal refusal = lock->kind == FeatureKind::boolean
                                    ? impl_->setBoolean(lock->id, isLocked)
                                    : impl_->nodes.setInteger(lock->id, isLocked ? 1 : 0);
        if (!refusal) dependents = &impl_->graph.dependents(lock->id);
    }
    if (dependents) impl_->changed(*dependents);
}

}  // namespace Vorda::Gige
