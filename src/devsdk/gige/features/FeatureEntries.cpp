// SPDX-License-Identifier: Apache-2.0
//
// The entries of enumerations.
#include "FeatureRules.h"
#include "NumberText.h"

#include <string_view>

namespace Vorda::Gige {
namespace {

/** Entries that say no number are none. */
template <typename Visit>
void forEachEntry(const DescriptionTree& tree, NodeId id, Visit visit) {
    for (const NodeId child : tree[id].children) {
        const DescriptionNode& entry = tree[child];
        const NodeProperty* const value = entry.property("Value");
        if (entry.kind != NodeKind::enumEntry || !value || entry.name.empty()) continue;
        if (!visit(child, entry, value->integer())) return;
    }
}

std::string descriptionOf(const DescriptionNode& entry) {
    for (const char* tag : {"Description", "ToolTip", "DisplayName"}) {
        if (const std::string_view text = entry.text(tag); !text.empty()) return std::string(text);
    }
    return {};
}

}  // namespace

Refusal FeatureRules::isOffered(NodeId entry, bool& value) {
    value = true;
    for (const char* tag : {"pIsImplemented", "pIsAvailable"}) {
        const NodeProperty* const condition = tree_[entry].property(tag);
        if (!condition || !value) continue;
        if (Refusal refusal = isTrue(*condition, value)) return refusal;
    }
    return {};
}

Refusal FeatureRules::getEntries(NodeId id, std::vector<FeatureEntry>& entries) {
    entries.clear();
    Refusal failure;
    forEachEntry(tree_, id, [&](NodeId child, const DescriptionNode& entry, std::int64_t value) {
        bool offered = false;
        failure = isOffered(child, offered);
        if (failure) return false;
        if (offered) entries.push_back({value, entry.name, descriptionOf(entry)});
        return true;
    });
    return failure;
}

std::string FeatureRules::entryNames(NodeId id) const {
    constexpr std::size_t kEnough = 200;
    std::string names;
    forEachEntry(tree_, id, [&names](NodeId, const DescriptionNode& entry, std::int64_t) {
        names += (names.empty() ? "" : ", ") + (names.size() < kEnough ? entry.name : "...");
        return names.size() < kEnough;
    });
    return names;
}

Refusal FeatureRules::checkEntry(NodeId id, const std::string& symbol, std::int64_t& value) {
    NodeId found = kNoNode;
    forEachEntry(tree_, id, [&](NodeId child, const DescriptionNode& entry, std::int64_t number) {
        if (entry.name != symbol) return true;
        found = child;
        value = number;
        return false;
    });
    bool offered = false;
    if (found == kNoNode) return Refusal::ofValue("no such entry (" + entryNames(id) + ")");
    if (Refusal refusal = isOffered(found, offered)) return refusal;
    return offered ? Refusal{} : Refusal::ofValue("not available at this moment");
}

Refusal FeatureRules::checkEntry(NodeId id, std::int64_t value) {
    bool isKnown = false;
    bool offered = false;
    Refusal failure;
    forEachEntry(tree_, id, [&](NodeId child, const DescriptionNode&, std::int64_t number) {
        if (number != value) return true;
        isKnown = true;
        failure = isOffered(child, offered);
        return !failure && !offered;  // two entries may have one value
    });
    if (failure) return failure;
    if (!isKnown) return Refusal::ofValue("no such entry (" + entryNames(id) + ")");
    return offered ? Refusal{} : Refusal::ofValue("not available at this moment");
}

Refusal FeatureRules::getSymbol(NodeId id, std::int64_t value, std::string& symbol) {
    bool isKnown = false;
    forEachEntry(tree_, id, [&](NodeId, const DescriptionNode& entry, std::int64_t number) {
        if (number != value) return true;
        isKnown = true;
        symbol = entry.name;
        return false;
    });
    return isKnown ? Refusal{}
                   : Refusal(Error::badAnswer, "no entry has the value " + numberText(value));
}

}  // namespace Vorda::Gige
