// SPDX-License-Identifier: Apache-2.0
#include "FeatureRules.h"

#include "NumberText.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <string_view>
#include <utility>

namespace Vorda::Gige {
namespace {

bool isInteger(NodeKind kind) {
    switch (kind) {
        case NodeKind::integer:
        case NodeKind::intRegister:
        case NodeKind::maskedRegister:
        case NodeKind::structEntry:
        case NodeKind::intFormula:
        case NodeKind::intConverter:
        case NodeKind::enumeration:
        case NodeKind::boolean:
            return true;
        default:
            return false;
    }
}

template <typename T>
void narrow(FeatureRange<T>& range, const FeatureRange<T>& by) {
    range.min = std::max(range.min, by.min);
    range.max = std::min(range.max, by.max);
}

FeatureRange<double> widened(const FeatureRange<std::int64_t>& range) {
    const FeatureRange<std::int64_t> none;
    FeatureRange<double> wide;
    if (range.min != none.min) wide.min = static_cast<double>(range.min);
    if (range.max != none.max) wide.max = static_cast<double>(range.max);
    return wide;
}

FeatureRange<std::int64_t> cut(const FeatureRange<double>& range) {
    constexpr double kLimit = 9.2e18;
    FeatureRange<std::int64_t> whole;
    if (range.min > -kLimit && range.min < kLimit)
        whole.min = static_cast<std::int64_t>(std::ceil(range.min));
    if (range.max > -kLimit && range.max < kLimit)
        whole.max = static_cast<std::int64_t>(std::floor(range.max));
    return whole;
}

FeatureRange<std::int64_t> limitsOfBits(std::int64_t count, bool isSigned) {
    if (count <= 0 || count >= 64) return {};
    if (!isSigned) return {0, count == 63 ? INT64_MAX : (std::int64_t{1} << count) - 1};
    const std::int64_t half = std::int64_t{1} << (count - 1);
    return {-half, half - 1};
}

bool isSigned(const DescriptionNode& node) { return node.text("Sign") == "Signed"; }

template <typename T>
Refusal checkRange(const FeatureRange<T>& range, T value) {
    if (value < range.min) return Refusal::ofValue("below the minimum " + numberText(range.min));
    if (value > range.max) return Refusal::ofValue("above the maximum " + numberText(range.max));
    return {};
}

Refusal missing(const NodeProperty& reference) {
    return {Error::feature, "refers to " + reference.text + ", which does not exist"};
}

}  // namespace

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
    if (indexNode == kNoNode) return missing(*node.property("pIndex"));
    std::int64_t index = 0;
    if (Refusal refusal = nodes_.getInteger(indexNode, index)) return refusal;
    for (const NodeProperty& each : node.properties) {
        const bool isIndexed = each.tag == "ValueIndexed" || each.tag == "pValueIndexed";
        if (isIndexed && NodeProperty{{}, each.index, {}, kNoNode}.integer() == index)
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
    if (reference.target == kNoNode) return missing(reference);
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

template <typename T>
Refusal FeatureRules::ownLimit(NodeId id, const char* constant, const char* reference, T& limit,
                               bool& hasOne) {
    const DescriptionNode& node = tree_[id];
    const NodeProperty* const fixed = node.property(constant);
    const NodeProperty* const variable = node.property(reference);
    hasOne = fixed || variable;
    if (!hasOne) return {};
    if (variable && variable->target == kNoNode) return missing(*variable);
    if constexpr (std::is_same_v<T, double>) {
        if (variable) return nodes_.getFloat(variable->target, limit);
        limit = fixed->number();
    } else {
        if (variable) return nodes_.getInteger(variable->target, limit);
        limit = fixed->integer();
    }
    return {};
}

/** The limits that stand with a node; where one does not, that of the node that it passes on to. */
template <typename T>
Refusal FeatureRules::ownLimits(NodeId id, FeatureRange<T>& range) {
    bool hasMin = false;
    bool hasMax = false;
    if (Refusal refusal = ownLimit(id, "Min", "pMin", range.min, hasMin)) return refusal;
    if (Refusal refusal = ownLimit(id, "Max", "pMax", range.max, hasMax)) return refusal;
    NodeId target = kNoNode;
    if (!hasMin || !hasMax) {
        if (Refusal refusal = valueNode(id, target)) return refusal;
    }
    if (target == kNoNode) return {};
    FeatureRange<T> inner;
    if (Refusal refusal = getRange(target, inner)) return refusal;
    if (!hasMin) range.min = inner.min;
    if (!hasMax) range.max = inner.max;
    return {};
}

Refusal FeatureRules::getRange(NodeId id, FeatureRange<std::int64_t>& range) {
    const NodeKind kind = tree_[id].kind;
    range = {};
    switch (kind) {
        case NodeKind::integer:
            if (Refusal refusal = ownLimits(id, range)) return refusal;
            narrow(range, capacity(id));
            return {};
        case NodeKind::intRegister:
            return lengthLimits(id, range);
        case NodeKind::maskedRegister:
        case NodeKind::structEntry:
            range = bitLimits(id);
            return {};
        case NodeKind::intConverter:
            return nodes_.getConvertedLimits(id, range.min, range.max);
        case NodeKind::floating:
        case NodeKind::floatRegister:
        case NodeKind::converter: {
            FeatureRange<double> limits;
            if (Refusal refusal = getRange(id, limits)) return refusal;
            range = cut(limits);
            return {};
        }
        default:
            return {};
    }
}

Refusal FeatureRules::getRange(NodeId id, FeatureRange<double>& range) {
    const NodeKind kind = tree_[id].kind;
    range = {};
    if (kind == NodeKind::floating) {
        if (Refusal refusal = ownLimits(id, range)) return refusal;
        narrow(range, widened(capacity(id)));
        return {};
    }
    if (kind == NodeKind::floatRegister) {
        std::int64_t bytes = 0;
        if (Refusal refusal = nodes_.getLength(id, bytes)) return refusal;
        if (bytes == sizeof(float)) range = {-FLT_MAX, FLT_MAX};
        return {};
    }
    if (kind == NodeKind::converter) {
        if (Refusal refusal = nodes_.getConvertedLimits(id, range.min, range.max)) return refusal;
        if (std::isnan(range.min) || std::isnan(range.max)) range = {};
        return {};
    }
    if (!isInteger(kind)) return {};
    FeatureRange<std::int64_t> limits;
    if (Refusal refusal = getRange(id, limits)) return refusal;
    range = widened(limits);
    return {};
}

Refusal FeatureRules::lengthLimits(NodeId id, FeatureRange<std::int64_t>& range) {
    std::int64_t bytes = 0;
    if (Refusal refusal = nodes_.getLength(id, bytes)) return refusal;
    range = limitsOfBits(bytes * 8, isSigned(tree_[id]));
    if (!isSigned(tree_[id])) range.min = 0;
    return {};
}

FeatureRange<std::int64_t> FeatureRules::bitLimits(NodeId id) const {
    const DescriptionNode& node = tree_[id];
    const bool isEntry = node.kind == NodeKind::structEntry && node.parent != kNoNode;
    const BitRange bits = bitRange(node, isEntry ? tree_[node.parent] : node);
    return limitsOfBits(bits.last - bits.first + 1, isSigned(node));
}

FeatureRange<std::int64_t> FeatureRules::capacity(NodeId id) const {
    while (id != kNoNode) {
        const DescriptionNode& node = tree_[id];
        switch (node.kind) {
            case NodeKind::integer:
            case NodeKind::floating:
                id = node.target("pValue");
                break;
            case NodeKind::intRegister: {
                const NodeProperty* const length = node.property("Length");
                if (!length) return {};
                FeatureRange<std::int64_t> range =
                    limitsOfBits(length->integer() * 8, isSigned(node));
                if (!isSigned(node)) range.min = 0;
                return range;
            }
            case NodeKind::maskedRegister:
            case NodeKind::structEntry:
                return bitLimits(id);
            default:
                return {};
        }
    }
    return {};
}

Refusal FeatureRules::getIncrement(NodeId id, std::int64_t& increment) {
    increment = 1;
    while (id != kNoNode && tree_[id].kind == NodeKind::integer) {
        bool hasOne = false;
        if (Refusal refusal = ownLimit(id, "Inc", "pInc", increment, hasOne)) return refusal;
        if (hasOne) break;
        if (Refusal refusal = valueNode(id, id)) return refusal;
    }
    increment = std::max<std::int64_t>(increment, 1);
    return {};
}

Refusal FeatureRules::getMaxLength(NodeId id, std::uint32_t& bytes) {
    bytes = std::numeric_limits<std::uint32_t>::max();
    while (id != kNoNode && tree_[id].kind == NodeKind::text) id = tree_[id].target("pValue");
    if (id == kNoNode || tree_[id].kind != NodeKind::textRegister) return {};
    std::int64_t length = 0;
    if (Refusal refusal = nodes_.getLength(id, length)) return refusal;
    bytes = static_cast<std::uint32_t>(std::clamp<std::int64_t>(length, 0, bytes));
    return {};
}

Refusal FeatureRules::checkValue(NodeId id, std::int64_t value) {
    FeatureRange<std::int64_t> range;
    if (Refusal refusal = getRange(id, range)) return refusal;
    if (Refusal refusal = checkRange(range, value)) return refusal;
    std::int64_t increment = 1;
    if (Refusal refusal = getIncrement(id, increment)) return refusal;
    if (increment == 1) return {};
    const bool hasMin = range.min != FeatureRange<std::int64_t>{}.min;
    const std::int64_t first = hasMin ? range.min : 0;
    // The distance of two numbers of 64 bits needs a sign of its own.
    const auto step = static_cast<std::uint64_t>(increment);
    const std::uint64_t distance =
        value >= first ? static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(first)
                       : static_cast<std::uint64_t>(first) - static_cast<std::uint64_t>(value);
    if (distance % step == 0) return {};
    return Refusal::ofValue("not the minimum " + numberText(first) + " plus a multiple of " +
                            numberText(increment));
}

Refusal FeatureRules::checkValue(NodeId id, double value) {
    if (!std::isfinite(value)) return Refusal::ofValue("is no number");
    FeatureRange<double> range;
    if (Refusal refusal = getRange(id, range)) return refusal;
    return checkRange(range, value);
}

Refusal FeatureRules::checkValue(NodeId id, const std::string& value) {
    if (value.find('\0') != std::string::npos)
        return {Error::invalidArgument, "a text cannot hold a byte of 0"};
    std::uint32_t most = 0;
    if (Refusal refusal = getMaxLength(id, most)) return refusal;
    if (value.size() <= most) return {};
    return {Error::outOfRange,
            std::to_string(value.size()) + " bytes, " + std::to_string(most) + " is the most"};
}

Refusal FeatureRules::isOffered(NodeId entry, bool& value) {
    value = true;
    for (const char* tag : {"pIsImplemented", "pIsAvailable"}) {
        const NodeProperty* const condition = tree_[entry].property(tag);
        if (!condition || !value) continue;
        if (Refusal refusal = isTrue(*condition, value)) return refusal;
    }
    return {};
}

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
