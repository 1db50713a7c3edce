// SPDX-License-Identifier: Apache-2.0
//
// Which numbers and texts a feature takes.
#include "FeatureRules.h"
#include "NumberText.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <type_traits>

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

}  // namespace

template <typename T>
Refusal FeatureRules::ownLimit(NodeId id, const char* constant, const char* reference, T& limit,
                               bool& hasOne) {
    const DescriptionNode& node = tree_[id];
    const NodeProperty* const fixed = node.property(constant);
    const NodeProperty* const variable = node.property(reference);
    hasOne = fixed || variable;
    if (!hasOne) return {};
    if (variable && variable->target == kNoNode) return missingTarget(*variable);
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
    // It may come from a register, which says anything.
    range = limitsOfBits(isRegisterLength(bytes) ? bytes * 8 : 0, isSigned(tree_[id]));
    if (!isSigned(tree_[id])) range.min = 0;
    return {};
}

FeatureRange<std::int64_t> FeatureRules::bitLimits(NodeId id) const {
    const DescriptionNode& node = tree_[id];
    const bool isEntry = node.kind == NodeKind::structEntry && node.parent != kNoNode;
    const BitRange bits = bitRange(node, isEntry ? tree_[node.parent] : node);
    // Any numbers: what is out of its register is refused elsewhere.
    const auto count =
        static_cast<std::uint64_t>(bits.last) - static_cast<std::uint64_t>(bits.first);
    return limitsOfBits(static_cast<std::int64_t>(count + 1), isSigned(node));
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

/** Behind a converter there may be a register that what comes out does not fit into. */
Refusal FeatureRules::checkConverted(NodeId id, double value) {
    while (id != kNoNode) {
        const NodeKind kind = tree_[id].kind;
        if (kind == NodeKind::integer || kind == NodeKind::floating) {
            if (Refusal refusal = valueNode(id, id)) return refusal;
            continue;
        }
        if (kind != NodeKind::converter && kind != NodeKind::intConverter) return {};
        if (Refusal refusal = nodes_.convert(id, value, value)) return refusal;
        id = tree_[id].target("pValue");
        const FeatureRange<double> range = widened(capacity(id));
        if (!(value >= range.min && value <= range.max))
            return Refusal::ofValue("beyond what " + tree_[id].name + " holds");
    }
    return {};
}

Refusal FeatureRules::checkValue(NodeId id, std::int64_t value) {
    FeatureRange<std::int64_t> range;
    if (Refusal refusal = getRange(id, range)) return refusal;
    if (Refusal refusal = checkRange(range, value)) return refusal;
    if (Refusal refusal = checkConverted(id, static_cast<double>(value))) return refusal;
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
    if (Refusal refusal = checkRange(range, value)) return refusal;
    return checkConverted(id, value);
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

}  // namespace Vorda::Gige
