// SPDX-License-Identifier: Apache-2.0
//
// What is behind Features; for its own .cpp files.
#pragma once

#include "AppliedSettings.h"
#include "DescriptionTree.h"
#include "FeatureGraph.h"
#include "FeatureModelParts.h"
#include "FeatureRules.h"
#include "Features.h"
#include "LastError.h"
#include "NodeMap.h"
#include "NumberText.h"
#include "StreamFeatures.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace Vorda::Gige {

/** With its article: "an integer". */
[[nodiscard]] const char* kindText(FeatureKind kind);

inline std::string valueText(const std::string& value) { return value; }
template <typename T>
std::string valueText(T value) {
    return numberText(value);
}
inline std::string valueText(bool value) { return value ? "1" : "0"; }

[[nodiscard]] bool failUnknown(const std::string& name);

template <typename T>
[[nodiscard]] bool failWith(const Refusal& refusal, const std::string& name, const T& value) {
    const std::string subject = refusal.isOfValue() ? name + " " + valueText(value) : name;
    return fail(refusal.number(), subject + ": " + refusal.reason());
}

[[nodiscard]] inline bool failWith(const Refusal& refusal, const std::string& name) {
    return fail(refusal.number(), name + ": " + refusal.reason());
}

struct Features::Impl {
    class Operation;

    explicit Impl(FeatureSources from);
    ~Impl();

    [[nodiscard]] const Feature* find(const std::string& name) const;
    /** Also the right kind; else null with the last error. */
    [[nodiscard]] const Feature* find(const std::string& name, FeatureKind kind) const;
    template <typename Do>
    [[nodiscard]] bool ask(const std::string& name, FeatureKind kind, Do what);
    /** Changes `result` only when there is one. */
    template <typename T, typename Do>
    [[nodiscard]] bool get(const std::string& name, FeatureKind kind, T& result, Do what);
    template <typename T, typename Do>
    [[nodiscard]] bool tell(const std::string& name, FeatureKind kind, const T& value, Do what);
    template <typename Do>
    [[nodiscard]] bool check(const std::string& name, Do what);
    template <typename T>
    Refusal getNumber(const Feature& feature, T& value);
    Refusal getText(const Feature& feature, std::string& value);
    /** A value of any kind as Features::getText() gives it. */
    Refusal getAsText(const Feature& feature, std::string& text);
    template <typename T>
    [[nodiscard]] std::string settingText(const Feature& feature, const T& value);
    [[nodiscard]] bool isNoted(const Feature& feature) const;
    /** What is going to be set; without a name when it is not noted. */
    [[nodiscard]] AppliedSetting beginSetting(const Feature& feature);
    void addPosition(const std::string& selector, std::vector<SelectorPosition>& all);
    void endSetting(const Feature& feature, AppliedSetting setting, std::string text);
    void keepSetting(const Feature& feature, const std::string& text);
    Refusal checkArrival(const Feature& feature);
    Refusal checkReadable(const Feature& feature);
    Refusal eventValue(const Feature& feature, PayloadValue& value) const;
    Refusal setBoolean(NodeId id, bool value);
    void changed(const std::vector<std::string>& names) const {
        if (sources.onChanged) sources.onChanged(names);
    }

    const FeatureSources sources;
    FeatureModel::Parts& parts;  ///< those of the model, and what is in them:
    const DescriptionTree& tree;
    FeatureGraph& graph;
    NodeMap& nodes;
    FeatureRules& rules;
    std::atomic<bool> isListed{false};
    /** Of selectors, where known; guarded by the parts' mutex. */
    std::unordered_map<std::string, std::string> positions;
};

/** The only one at its time that asks the camera, and asks no register twice. */
class Features::Impl::Operation {
 public:
    explicit Operation(const Impl& of)
        : lock_(of.parts.mutex), isOver_(of.parts.user != &of), snapshot_(of.nodes.snapshot()) {}

    /** Where another connection has the model by now. */
    [[nodiscard]] Refusal refusal() const {
        if (!isOver_) return {};
        return {Error::connectionLost, "the connection to the camera is lost"};
    }

 private:
    const std::lock_guard<std::mutex> lock_;
    const bool isOver_;
    const AravisNodes::Snapshot snapshot_;
};

template <typename Do>
bool Features::Impl::ask(const std::string& name, FeatureKind kind, Do what) {
    const Feature* const feature = find(name, kind);
    if (!feature) return false;
    const Refusal refusal = [&] {
        const Operation operation(*this);
        if (Refusal over = operation.refusal()) return over;
        return what(*feature);
    }();
    return refusal ? failWith(refusal, name) : true;
}

template <typename T, typename Do>
bool Features::Impl::get(const std::string& name, FeatureKind kind, T& result, Do what) {
    T found{};
    if (!ask(name, kind, [&](const Feature& feature) { return what(feature, found); }))
        return false;
    result = std::move(found);
    return true;
}

template <typename T>
std::string Features::Impl::settingText(const Feature& feature, const T& value) {
    if constexpr (std::is_same_v<T, std::int64_t>) {
        std::string symbol;
        if (feature.kind == FeatureKind::enumeration && !rules.getSymbol(feature.id, value, symbol))
            return symbol;
    }
    return valueText(value);
}

template <typename T, typename Do>
bool Features::Impl::tell(const std::string& name, FeatureKind kind, const T& value, Do what) {
    const Feature* const feature = find(name, kind);
    if (!feature) return false;
    const std::vector<std::string>* dependents = nullptr;
    const Refusal refusal = [&]() -> Refusal {
        if (feature->isOurs()) return {Error::notWritable, "cannot be written"};
        const Operation operation(*this);
        if (Refusal over = operation.refusal()) return over;
        if (Refusal closed = rules.checkWritable(feature->id)) return closed;
        AppliedSetting setting = beginSetting(*feature);
        if (Refusal refused = what(feature->id)) return refused;
        endSetting(*feature, std::move(setting), settingText(*feature, value));
        dependents = &graph.dependents(feature->id);
        return {};
    }();
    if (refusal) return failWith(refusal, name, value);
    if (sources.settings) sources.settings->warnIfFull();
    changed(*dependents);
    return true;
}

/** A question of access; one that cannot be answered counts as no. */
template <typename Do>
bool Features::Impl::check(const std::string& name, Do what) {
    const Feature* const feature = find(name);
    if (!feature) return false;
    const Operation operation(*this);
    return !operation.refusal() && !what(*feature);
}

}  // namespace Vorda::Gige
