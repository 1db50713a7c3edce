// SPDX-License-Identifier: Apache-2.0
//
// What may be done with a feature at this moment.
#include "FeatureRules.h"

#include <string_view>
#include <utility>

namespace Vorda::Gige {

Refusal missingTarget(const NodeProperty& reference) {
    return {Error::feature, "refers to " + reference.text + ", which does not exist"};
}

FeatureRules::FeatureRules(const DescriptionTree& tree, FeatureGraph& graph, NodeMap& nodes)
    : tree_(tree), graph_(graph), nodes_(nodes), paths_(static_cast<std::size_t>(tree.size())) {}

const FeatureRules::Path& FeatureRules::path(NodeId id) {
    Path& known = paths_[static_cast<std::size_t>(id)];
    if (known.isKnown) return known;
    Path made;
    made.isKnown = true;
    for (NodeId next = id; next != kNoNode;) next = addToPath(made, next, next == id);
    return known = std::move(made);
}

NodeId FeatureRules::addToPath(Path& path, NodeId id, bool isFirst) const {
    const DescriptionNode& node = tree_[id];
    for (const NodeProperty& property : node.properties) {
        if (property.tag == "pIsImplemented")
            path.conditions.insert(path.conditions.begin(), {&property, true});
        else if (property.tag == "pIsAvailable")
            path.conditions.push_back({&property, false});
        else if (property.tag == "pIsLocked")
            path.locks.push_back(&property);
    }
    addAccess(path, node, isFirst);
    if (node.kind == NodeKind::structEntry) return node.parent;
    if (!node.property("Value") && !node.property("pValue") && node.property("pIndex") &&
        !node.isRegister())
        path.indexed = id;
    return node.target("pValue");
}

void FeatureRules::addAccess(Path& path, const DescriptionNode& node, bool isFirst) const {
    const auto restrict = [&path](std::string_view mode) {
        if (mode == "RO") path.isWritable = false;
        if (mode == "WO") path.isReadable = false;
    };
    const auto restrictToOwn = [&restrict](const DescriptionNode& from) {
        restrict(from.property("AccessMode") ? from.text("AccessMode") : "RO");
    };
    restrict(node.text("ImposedAccessMode"));
    if (node.kind == NodeKind::structEntry) {
        const bool decides = node.property("AccessMode") || node.parent == kNoNode;
        restrictToOwn(decides ? node : tree_[node.parent]);
    } else if (node.isRegister() && node.kind != NodeKind::structRegister) {
        restrictToOwn(node);
    }
    switch (node.kind) {
        case NodeKind::formula:
        case NodeKind::intFormula:
        case NodeKind::category:
            path.isWritable = false;
            return;
        case NodeKind::converter:
        case NodeKind::intConverter:
            path.isWritable = path.isWritable && node.property("FormulaTo");
            return;
        case NodeKind::command:
            path.isReadable = false;
            return;
        case NodeKind::boolean:
            path.isWritable = path.isWritable && isFirst;  // the node map writes to none
            return;
        case NodeKind::port:
            path.isReadable = path.isWritable = false;
            return;
        default:
            return;
    }
}

Refusal FeatureRules::nextPart(const Path& path, NodeId& next) {
    next = kNoNode;
    return path.indexed == kNoNode ? Refusal{} : valueNode(path.indexed, next);
}

/** The element that the value comes from where an index chooses it; null when none does. */
Refusal FeatureRules::indexedProperty(NodeId id, const NodeProperty*& property) {
    const DescriptionNode& node = tree_[id];
    property = nullptr;
    const NodeId indexNode = node.target("pIndex");
    if (indexNode == kNoNode) return missingTarget(*node.property("pIndex"));
    std::int64_t index = 0;
    if (Refusal refusal = nodes_.getInteger(indexNode, index)) return refusal;
    for (const NodeProperty& each : node.properties) {
        const bool isIndexed = each.tag == "ValueIndexed" || each.tag == "pValueIndexed";
        if (isIndexed && NodeProperty{{}, each.label, {}, kNoNode}.integer() == index)
            property = &each;
    }
    if (!property) property = node.property("pValueDefault");
    if (!property) property = node.property("ValueDefault");
    if (property) return {};
    return {Error::notAvailable, "has no value for index " + std::to_string(index)};
}

Refusal FeatureRules::valueNode(NodeId id, NodeId& target) {
    const DescriptionNode& node = tree_[id];
    target = node.target("pValue");
    if (node.property("Value") || node.property("pValue") || !node.property("pIndex") ||
        node.isRegister())
        return {};
    const NodeProperty* chosen = nullptr;
    if (Refusal refusal = indexedProperty(id, chosen)) return refusal;
    target = chosen->target;
    return {};
}

Refusal FeatureRules::isTrue(const NodeProperty& reference, bool& value) {
    if (reference.target == kNoNode) return missingTarget(reference);
    std::int64_t number = 0;
    if (Refusal refusal = nodes_.getInteger(reference.target, number)) return refusal;
    value = number != 0;
    return {};
}

Refusal FeatureRules::checkAvailable(const Path& path) {
    for (const Condition& condition : path.conditions) {
        bool holds = false;
        if (Refusal refusal = isTrue(*condition.reference, holds)) return refusal;
        if (holds) continue;
        return {Error::notAvailable, condition.isOfExistence ? "not implemented by this camera"
                                                             : "not available at this moment"};
    }
    return {};
}

Refusal FeatureRules::checkLocks(const Path& path) {
    for (const NodeProperty* const lock : path.locks) {
        bool isLocked = false;
        if (Refusal refusal = isTrue(*lock, isLocked)) return refusal;
        if (isLocked) return {Error::locked, "locked"};
    }
    return {};
}

Refusal FeatureRules::checkAvailable(NodeId id) {
    while (id != kNoNode) {
        const Path& part = path(id);
        if (Refusal refusal = checkAvailable(part)) return refusal;
        if (Refusal refusal = nextPart(part, id)) return refusal;
    }
    return {};
}

Refusal FeatureRules::checkReadable(NodeId id) {
    if (const std::string& fault = graph_.fault(id); !fault.empty()) return {Error::feature, fault};
    while (id != kNoNode) {
        const Path& part = path(id);
        if (!part.isReadable) return {Error::notReadable, "cannot be read"};
        if (Refusal refusal = checkAvailable(part)) return refusal;
        if (Refusal refusal = nextPart(part, id)) return refusal;
    }
    return {};
}

Refusal FeatureRules::checkWritable(NodeId id) {
    if (const std::string& fault = graph_.fault(id); !fault.empty()) return {Error::feature, fault};
    while (id != kNoNode) {
        const Path& part = path(id);
        if (!part.isWritable) return {Error::notWritable, "cannot be written"};
        if (Refusal refusal = checkAvailable(part)) return refusal;
        if (Refusal refusal = checkLocks(part)) return refusal;
        if (Refusal refusal = nextPart(part, id)) return refusal;
    }
    return {};
}

}  // namespace Vorda::Gige
