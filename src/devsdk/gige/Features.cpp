// SPDX-License-Identifier: Apache-2.0
#include "Features.h"

#include "DescriptionTree.h"
#include "FeatureGraph.h"
#include "FeatureRules.h"
#include "LastError.h"
#include "NodeMap.h"
#include "NumberText.h"
#include "StreamFeatures.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <mutex>
#include <optional>
#include <type_traits>
#include <unordered_map>
#include <utility>

namespace Vorda::Gige {
namespace {

constexpr const char* kRoot = "Root";

/** What stands behind a name: a node of the description, or a feature of ours. */
struct Feature {
    NodeId id = kNoNode;
    const StreamFeature* stream = nullptr;
    FeatureKind kind = FeatureKind::unknown;

    [[nodiscard]] bool isOurs() const { return id == kNoNode; }
};

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

std::string valueText(const std::string& value) { return value; }
template <typename T>
std::string valueText(T value) {
    return numberText(value);
}
std::string valueText(bool value) { return value ? "1" : "0"; }

bool failUnknown(const std::string& name) {
    return fail(Error::feature, name + ": there is no such feature");
}

template <typename T>
bool failWith(const Refusal& refusal, const std::string& name, const T& value) {
    const std::string subject = refusal.isOfValue() ? name + " " + valueText(value) : name;
    return fail(refusal.number(), subject + ": " + refusal.reason());
}

bool failWith(const Refusal& refusal, const std::string& name) {
    return fail(refusal.number(), name + ": " + refusal.reason());
}

/** True, false, 1 or 0, in any case. */
std::optional<bool> parseBoolean(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char each) {
        return static_cast<char>(std::tolower(each));
    });
    if (text == "1" || text == "true") return true;
    if (text == "0" || text == "false") return false;
    return std::nullopt;
}

template <typename T>
std::optional<T> numberOf(const PayloadValue& value) {
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<T>(*whole);
    if (const auto* number = std::get_if<double>(&value)) return static_cast<T>(*number);
    return std::nullopt;
}

}  // namespace

struct Features::Impl {
    Impl(FeatureSources from, DescriptionTree parsed)
        : sources(std::move(from)), tree(std::move(parsed)), graph(tree) {}

    [[nodiscard]] bool open();
    [[nodiscard]] const Feature* find(const std::string& name) const;
    /** Also the right kind; else null with the last error. */
    [[nodiscard]] const Feature* find(const std::string& name, FeatureKind kind) const;
    template <typename Do>
    [[nodiscard]] bool ask(const std::string& name, FeatureKind kind, Do what);
    template <typename T, typename Do>
    [[nodiscard]] bool tell(const std::string& name, FeatureKind kind, const T& value, Do what);
    template <typename Do>
    [[nodiscard]] bool check(const std::string& name, Do what);
    template <typename T>
    Refusal getNumber(const Feature& feature, T& value);
    Refusal getText(const Feature& feature, std::string& value);
    Refusal checkArrival(const Feature& feature);
    Refusal checkReadable(const Feature& feature);
    Refusal eventValue(const Feature& feature, PayloadValue& value) const;
    Refusal setBoolean(NodeId id, bool value);
    void changed(const std::vector<std::string>& names) const {
        if (sources.onChanged) sources.onChanged(names);
    }

    const FeatureSources sources;
    const DescriptionTree tree;
    std::unordered_map<std::string, Feature> features;
    std::atomic<bool> isListed{false};

    std::mutex mutex;  ///< one operation at a time; guards what follows, but for what never changes
    FeatureGraph graph;
    std::unique_ptr<NodeMap> nodes;
    std::optional<FeatureRules> rules;
};

bool Features::Impl::open() {
    nodes = NodeMap::make(*sources.camera, tree, graph, sources.description);
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

template <typename Do>
bool Features::Impl::ask(const std::string& name, FeatureKind kind, Do what) {
    const Feature* const feature = find(name, kind);
    if (!feature) return false;
    const Refusal refusal = [&] {
        const std::lock_guard lock(mutex);
        const auto snapshot = nodes->snapshot();
        return what(*feature);
    }();
    return refusal ? failWith(refusal, name) : true;
}

template <typename T, typename Do>
bool Features::Impl::tell(const std::string& name, FeatureKind kind, const T& value, Do what) {
    const Feature* const feature = find(name, kind);
    if (!feature) return false;
    const std::vector<std::string>* dependents = nullptr;
    const Refusal refusal = [&]() -> Refusal {
        if (feature->isOurs()) return {Error::notWritable, "cannot be written"};
        const std::lock_guard lock(mutex);
        const auto snapshot = nodes->snapshot();
        if (Refusal closed = rules->checkWritable(feature->id)) return closed;
        if (Refusal refused = what(feature->id)) return refused;
        dependents = &graph.dependents(feature->id);
        return {};
    }();
    if (refusal) return failWith(refusal, name, value);
    changed(*dependents);
    return true;
}

/** A question of access; one that cannot be answered counts as no. */
template <typename Do>
bool Features::Impl::check(const std::string& name, Do what) {
    const Feature* const feature = find(name);
    if (!feature) return false;
    const std::lock_guard lock(mutex);
    const auto snapshot = nodes->snapshot();
    return !what(*feature);
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

template <typename T>
Refusal Features::Impl::getNumber(const Feature& feature, T& value) {
    if (feature.stream) {
        value = static_cast<T>(feature.stream->value(*sources.stream));
        return {};
    }
    if (Refusal refusal = checkReadable(feature)) return refusal;
    if (graph.source(feature.id) == ValueSource::event) {
        PayloadValue latest;
        if (Refusal refusal = eventValue(feature, latest)) return refusal;
        const auto number = numberOf<T>(latest);
        if (!number) return {Error::feature, "the event carries no number"};
        value = *number;
        return {};
    }
    if constexpr (std::is_same_v<T, double>)
        return nodes->getFloat(feature.id, value);
    else
        return nodes->getInteger(feature.id, value);
}

Refusal Features::Impl::getText(const Feature& feature, std::string& value) {
    if (Refusal refusal = checkReadable(feature)) return refusal;
    if (graph.source(feature.id) != ValueSource::event) return nodes->getText(feature.id, value);
    PayloadValue latest;
    if (Refusal refusal = eventValue(feature, latest)) return refusal;
    auto* const text = std::get_if<std::string>(&latest);
    if (!text) return {Error::feature, "the event carries no text"};
    value = std::move(*text);
    return {};
}

Refusal Features::Impl::setBoolean(NodeId id, bool value) {
    const NodeProperty* const number = tree[id].property(value ? "OnValue" : "OffValue");
    return nodes->setInteger(id, number ? number->integer() : (value ? 1 : 0));
}

Features::Features(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Features::~Features() = default;

std::shared_ptr<Features> Features::make(FeatureSources sources) {
    std::string reason;
    auto tree = DescriptionTree::parse(sources.description, reason);
    if (!tree) {
        setLastError(Error::description, "the GenICam description cannot be used: " + reason);
        return nullptr;
    }
    auto impl = std::make_unique<Impl>(std::move(sources), std::move(*tree));
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

bool Features::getInteger(const std::string& name, std::int64_t& value) const {
    return impl_->ask(name, FeatureKind::integer,
                      [&](const Feature& feature) { return impl_->getNumber(feature, value); });
}

bool Features::setInteger(const std::string& name, std::int64_t value) {
    return impl_->tell(name, FeatureKind::integer, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules->checkValue(id, value)) return refusal;
        return impl_->nodes->setInteger(id, value);
    });
}

bool Features::getRange(const std::string& name, FeatureRange<std::int64_t>& range) const {
    return impl_->ask(name, FeatureKind::integer, [&](const Feature& feature) -> Refusal {
        range = {};
        return feature.isOurs() ? Refusal{} : impl_->rules->getRange(feature.id, range);
    });
}

bool Features::getIncrement(const std::string& name, std::int64_t& increment) const {
    return impl_->ask(name, FeatureKind::integer, [&](const Feature& feature) -> Refusal {
        increment = 1;
        return feature.isOurs() ? Refusal{} : impl_->rules->getIncrement(feature.id, increment);
    });
}

bool Features::getFloat(const std::string& name, double& value) const {
    return impl_->ask(name, FeatureKind::floating,
                      [&](const Feature& feature) { return impl_->getNumber(feature, value); });
}

bool Features::setFloat(const std::string& name, double value) {
    return impl_->tell(name, FeatureKind::floating, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules->checkValue(id, value)) return refusal;
        return impl_->nodes->setFloat(id, value);
    });
}

bool Features::getRange(const std::string& name, FeatureRange<double>& range) const {
    return impl_->ask(name, FeatureKind::floating, [&](const Feature& feature) {
        return impl_->rules->getRange(feature.id, range);
    });
}

bool Features::getUnit(const std::string& name, std::string& unit) const {
    const Feature* const feature = impl_->find(name);
    if (!feature) return failUnknown(name);
    if (feature->kind != FeatureKind::integer && feature->kind != FeatureKind::floating)
        return fail(Error::feature, name + ": is " + kindText(feature->kind) + ", not a number");
    unit = feature->isOurs() ? "" : impl_->graph.unit(feature->id);
    return true;
}

bool Features::getEnumeration(const std::string& name, std::int64_t& value) const {
    return impl_->ask(name, FeatureKind::enumeration,
                      [&](const Feature& feature) { return impl_->getNumber(feature, value); });
}

bool Features::setEnumeration(const std::string& name, std::int64_t value) {
    return impl_->tell(name, FeatureKind::enumeration, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules->checkEntry(id, value)) return refusal;
        return impl_->nodes->setInteger(id, value);
    });
}

bool Features::setEnumeration(const std::string& name, const std::string& symbol) {
    return impl_->tell(name, FeatureKind::enumeration, symbol, [&](NodeId id) -> Refusal {
        std::int64_t value = 0;
        if (Refusal refusal = impl_->rules->checkEntry(id, symbol, value)) return refusal;
        return impl_->nodes->setInteger(id, value);
    });
}

bool Features::getEntries(const std::string& name, std::vector<FeatureEntry>& entries) const {
    return impl_->ask(name, FeatureKind::enumeration, [&](const Feature& feature) {
        return impl_->rules->getEntries(feature.id, entries);
    });
}

bool Features::getBoolean(const std::string& name, bool& value) const {
    return impl_->ask(name, FeatureKind::boolean, [&](const Feature& feature) {
        std::int64_t number = 0;
        Refusal refusal = impl_->getNumber(feature, number);
        if (!refusal) value = number != 0;
        return refusal;
    });
}

bool Features::setBoolean(const std::string& name, bool value) {
    return impl_->tell(name, FeatureKind::boolean, value,
                       [&](NodeId id) { return impl_->setBoolean(id, value); });
}

bool Features::getString(const std::string& name, std::string& value) const {
    return impl_->ask(name, FeatureKind::text,
                      [&](const Feature& feature) { return impl_->getText(feature, value); });
}

bool Features::setString(const std::string& name, const std::string& value) {
    return impl_->tell(name, FeatureKind::text, value, [&](NodeId id) -> Refusal {
        if (Refusal refusal = impl_->rules->checkValue(id, value)) return refusal;
        return impl_->nodes->setText(id, value);
    });
}

bool Features::getMaxLength(const std::string& name, std::uint32_t& bytes) const {
    return impl_->ask(name, FeatureKind::text, [&](const Feature& feature) {
        return impl_->rules->getMaxLength(feature.id, bytes);
    });
}

bool Features::execute(const std::string& name) {
    return impl_->tell(name, FeatureKind::command, 0, [this](NodeId id) -> Refusal {
        const DescriptionNode& command = impl_->tree[id];
        std::int64_t value = 0;
        if (const NodeId variable = command.target("pCommandValue"); variable != kNoNode) {
            if (Refusal refusal = impl_->nodes->getInteger(variable, value)) return refusal;
        } else {
            value = command.property("CommandValue")->integer();
        }
        return impl_->nodes->setInteger(id, value);
    });
}

bool Features::getText(const std::string& name, std::string& text) const {
    std::int64_t integer = 0;
    double number = 0;
    bool boolean = false;
    switch (kind(name)) {
        case FeatureKind::integer:
            if (!getInteger(name, integer)) return false;
            text = numberText(integer);
            return true;
        case FeatureKind::floating:
            if (!getFloat(name, number)) return false;
            text = numberText(number);
            return true;
        case FeatureKind::enumeration:
            return impl_->ask(name, FeatureKind::enumeration, [&](const Feature& feature) {
                Refusal refusal = impl_->getNumber(feature, integer);
                return refusal ? refusal : impl_->rules->getSymbol(feature.id, integer, text);
            });
        case FeatureKind::boolean:
            if (!getBoolean(name, boolean)) return false;
            text = valueText(boolean);
            return true;
        case FeatureKind::text:
            return getString(name, text);
        default:
            if (!has(name)) return failUnknown(name);
            return fail(Error::feature,
                        name + ": is " + kindText(kind(name)) + ", without a value");
    }
}

bool Features::setText(const std::string& name, const std::string& text) {
    const auto failToParse = [&] {
        return fail(Error::invalidArgument, name + " " + text + ": is not " + kindText(kind(name)));
    };
    switch (kind(name)) {
        case FeatureKind::integer: {
            const auto value = parseNumber<std::int64_t>(text);
            return value ? setInteger(name, *value) : failToParse();
        }
        case FeatureKind::floating: {
            const auto value = parseNumber<double>(text);
            return value ? setFloat(name, *value) : failToParse();
        }
        case FeatureKind::boolean: {
            const auto value = parseBoolean(text);
            return value ? setBoolean(name, *value) : failToParse();
        }
        case FeatureKind::enumeration:
            return setEnumeration(name, text);
        case FeatureKind::text:
            return setString(name, text);
        default:
            if (!has(name)) return failUnknown(name);
            return fail(Error::feature,
                        name + ": is " + kindText(kind(name)) + ", without a value");
    }
}

void Features::lockTransport(bool isLocked) {
    const Feature* const lock = impl_->find("TLParamsLocked");
    if (!lock || lock->isOurs()) return;
    const std::vector<std::string>* dependents = nullptr;
    {
        const std::lock_guard guard(impl_->mutex);
        // A camera whose lock fails streams all the same; one that is gone fails the next step.
        const Refusal refusal = lock->kind == FeatureKind::boolean
                                    ? impl_->setBoolean(lock->id, isLocked)
                                    : impl_->nodes->setInteger(lock->id, isLocked ? 1 : 0);
        if (!refusal) dependents = &impl_->graph.dependents(lock->id);
    }
    if (dependents) impl_->changed(*dependents);
}

}  // namespace Vorda::Gige
