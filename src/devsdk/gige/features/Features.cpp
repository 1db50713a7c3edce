// SPDX-License-Identifier: Apache-2.0
//
// Which features there are, how they hang together and what may be done with them at this moment.
#include "Features.h"

#include "FeaturesImpl.h"

#include <algorithm>
#include <utility>

namespace Vorda::Gige {
namespace {

constexpr const char* kRoot = "Root";

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

bool Features::Impl::open() {
    nodes = NodeMap::make(*sources.camera, *sources.description, graph);
    if (!nodes) return false;
    const NodeId root = tree.find(kRoot);
    if (root == kNoNode || tree[root].kind != NodeKind::category)
        return fail(Error::description, "the GenICam description has no category [Root]");
    rules.emplace(tree, graph, *nodes);
    for (NodeId id = 0; id < tree.size(); ++id) {
        if (tree.find(tree[id].name) == id) features[tree[id].name] = {id, nullptr, graph.kind(id)};
    }
    if (!sources.stream) return true;
    // A camera knows nothing of our stream: these win over features of its own of the same name.
    features[kStreamCategory] = {kNoNode, nullptr, FeatureKind::category};
    for (const StreamFeature& each : streamFeatures())
        features[each.name] = {kNoNode, &each, FeatureKind::integer};
    return true;
}

const Feature* Features::Impl::find(const std::string& name) const {
    const auto found = features.find(name);
    return found == features.end() ? nullptr : &found->second;
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
    return rules->checkReadable(feature.id);
}

Refusal Features::Impl::eventValue(const Feature& feature, PayloadValue& value) const {
    const std::string& name = tree[feature.id].name;
    const auto event = sources.layout ? sources.layout->eventOf(name) : std::nullopt;
    if (!event || !sources.events) return {Error::notAvailable, "no event carries it"};
    const Bytes bytes = sources.events->latest(*event);
    if (bytes.empty()) return {Error::notAvailable, "the event has not arrived yet"};
    auto found = sources.layout->eventValue(name, bytes);
    if (!found) return {Error::notAvailable, "the event came without it"};
    value = std::move(*found);
    return {};
}

Features::Features(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Features::~Features() = default;

std::shared_ptr<Features> Features::make(FeatureSources sources) {
    auto impl = std::make_unique<Impl>(std::move(sources));
    if (!impl->open()) return nullptr;
    return std::shared_ptr<Features>(new Features(std::move(impl)));
}

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
    if (name != kRoot) return true;
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
        return impl_->rules->checkAvailable(feature.id);
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
        return impl_->rules->checkWritable(feature.id);
    });
}

void Features::lockTransport(bool isLocked) {
    const Feature* const lock = impl_->find("TLParamsLocked");
    if (!lock || lock->isOurs()) return;
    const std::vector<std::string>* dependents = nullptr;
    {
        const std::lock_guard guard(impl_->mutex);
        const auto snapshot = impl_->nodes->snapshot();
        // A camera whose lock fails streams all the same; one that is gone fails the next step.
        const Refusal refusal = lock->kind == FeatureKind::boolean
                                    ? impl_->setBoolean(lock->id, isLocked)
                                    : impl_->nodes->setInteger(lock->id, isLocked ? 1 : 0);
        if (!refusal) dependents = &impl_->graph.dependents(lock->id);
    }
    if (dependents) impl_->changed(*dependents);
}

}  // namespace Vorda::Gige
