// SPDX-License-Identifier: Apache-2.0
#include "FeatureGraph.h"

#include "FormulaGuard.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Vorda::Gige {
namespace {

/** Selectors of selectors of selectors: no camera has more, and a circle has no end. */
constexpr int kDeepestSelectors = 8;

bool isText(NodeKind kind) { return kind == NodeKind::text || kind == NodeKind::textRegister; }

bool isFormula(NodeKind kind) { return kind == NodeKind::formula || kind == NodeKind::intFormula; }

bool isConverter(NodeKind kind) {
    return kind == NodeKind::converter || kind == NodeKind::intConverter;
}

/** Those that make up a value, rather than say where it lies. */
bool isPartOfValue(std::string_view tag) { return isValueTarget(tag) || tag == "pVariable"; }

bool hasValue(const DescriptionNode& node) {
    if (node.property("Value") || node.property("pValue")) return true;
    return node.property("pIndex") &&
           (node.property("ValueIndexed") || node.property("pValueIndexed") ||
            node.property("ValueDefault") || node.property("pValueDefault"));
}

/** The node map counts what it cannot read as 0, and would write that, too. */
bool hasBadFormula(const DescriptionNode& node) {
    const bool isInteger = node.kind == NodeKind::intFormula;
    return std::ranges::any_of(node.properties, [isInteger](const NodeProperty& property) {
        const bool isOne = property.tag.starts_with("Formula") || property.tag == "Expression";
        return isOne && !guardedFormula(property.text, isInteger);
    });
}

/** The register that an entry is in. */
NodeId holderOf(const DescriptionNode& node) {
    return node.kind == NodeKind::structEntry ? node.parent : kNoNode;
}

std::string missing(const NodeProperty& reference) {
    return "refers to " + reference.text + ", which does not exist";
}

}  // namespace

bool isValueTarget(std::string_view tag) {
    return tag == "pValue" || tag == "pValueIndexed" || tag == "pValueDefault";
}

bool isNumber(NodeKind kind) {
    switch (kind) {
        case NodeKind::integer:
        case NodeKind::floating:
        case NodeKind::boolean:
        case NodeKind::enumeration:
        case NodeKind::intRegister:
        case NodeKind::maskedRegister:
        case NodeKind::floatRegister:
        case NodeKind::structEntry:
        case NodeKind::formula:
        case NodeKind::intFormula:
        case NodeKind::converter:
        case NodeKind::intConverter:
            return true;
        default:
            return false;
    }
}

FeatureGraph::FeatureGraph(const DescriptionTree& tree)
    : tree_(tree),
      readers_(at(tree.size())),
      selectors_(at(tree.size())),
      needs_(at(tree.size())),
      dependents_(at(tree.size())) {
    for (NodeId id = 0; id < tree_.size(); ++id) collectReaders(id);
    Marks seen(at(tree_.size()));
    const NodeId root = tree_.find("Root");
    if (root != kNoNode) list(root, seen);
}

void FeatureGraph::collectReaders(NodeId id) {
    const DescriptionNode& node = tree_[id];
    for (const NodeProperty& property : node.properties) {
        if (property.target == kNoNode) continue;
        if (property.tag == "pSelected") {
            auto& known = selectors_[at(property.target)];
            if (known.empty() || known.back() != id) known.push_back(id);
        } else if (property.tag != "pFeature" && property.tag != "pPort") {
            readers_[at(property.target)].push_back(id);
        }
    }
    if (node.parent == kNoNode) return;
    if (node.kind == NodeKind::structEntry)
        readers_[at(node.parent)].push_back(id);
    else
        readers_[at(id)].push_back(node.parent);
}

void FeatureGraph::list(NodeId category, Marks& seen) {
    // Without recursion: a description may nest its categories as deep as it likes.
    std::vector<NodeId> open{category};
    while (!open.empty()) {
        const NodeId id = open.back();
        open.pop_back();
        if (seen[at(id)]) continue;
        seen[at(id)] = true;
        if (id != category) listed_.push_back(id);
        const std::vector<NodeId> inside = features(id);
        open.insert(open.end(), inside.rbegin(), inside.rend());
    }
}

FeatureKind FeatureGraph::kind(NodeId id) const {
    switch (tree_[id].kind) {
        case NodeKind::category:
            return FeatureKind::category;
        case NodeKind::command:
            return FeatureKind::command;
        case NodeKind::enumeration:
            return FeatureKind::enumeration;
        case NodeKind::boolean:
            return FeatureKind::boolean;
        case NodeKind::text:
        case NodeKind::textRegister:
            return FeatureKind::text;
        case NodeKind::integer:
        case NodeKind::intRegister:
        case NodeKind::maskedRegister:
        case NodeKind::structEntry:
        case NodeKind::intFormula:
        case NodeKind::intConverter:
            return FeatureKind::integer;
        case NodeKind::floating:
        case NodeKind::floatRegister:
        case NodeKind::formula:
        case NodeKind::converter:
            return FeatureKind::floating;
        default:
            return FeatureKind::unknown;
    }
}

unsigned FeatureGraph::visibility(NodeId id) const {
    const std::string_view level = tree_[id].text("Visibility");
    if (level == "Expert") return 1;
    if (level == "Guru") return 2;
    return level == "Invisible" ? 3 : 0;
}

std::vector<NodeId> FeatureGraph::features(NodeId category) const {
    std::vector<NodeId> found;
    if (tree_[category].kind != NodeKind::category) return found;
    for (const NodeProperty& property : tree_[category].properties) {
        if (property.tag == "pFeature" && property.target != kNoNode)
            found.push_back(property.target);
    }
    return found;
}

std::vector<NodeId> FeatureGraph::allSelectors(NodeId id) const {
    std::vector<NodeId> all;
    addSelectors(id, 1, all);
    std::erase(all, id);
    return all;
}

void FeatureGraph::addSelectors(NodeId id, int depth, std::vector<NodeId>& all) const {
    if (depth > kDeepestSelectors) return;
    for (const NodeId selector : selectors(id)) {
        if (std::ranges::count(all, selector) != 0) continue;
        addSelectors(selector, depth + 1, all);
        if (std::ranges::count(all, selector) == 0) all.push_back(selector);
    }
}

std::vector<NodeId> FeatureGraph::selected(NodeId id) const {
    std::vector<NodeId> found;
    for (const NodeProperty& property : tree_[id].properties) {
        if (property.tag == "pSelected" && property.target != kNoNode)
            found.push_back(property.target);
    }
    return found;
}

std::optional<std::int64_t> FeatureGraph::pollingTime(NodeId id) const {
    std::optional<std::int64_t> shortest;
    Marks seen(at(tree_.size()));
    std::vector<NodeId> open{id};
    while (!open.empty()) {
        const NodeId next = open.back();
        open.pop_back();
        if (next == kNoNode || seen[at(next)]) continue;
        seen[at(next)] = true;
        const DescriptionNode& node = tree_[next];
        const NodeProperty* const own = node.property("PollingTime");
        const std::int64_t time = own ? own->integer() : 0;
        if (time > 0 && (!shortest || time < *shortest)) shortest = time;
        for (const NodeProperty& property : node.properties) {
            if (isPartOfValue(property.tag)) open.push_back(property.target);
        }
        open.push_back(holderOf(node));
    }
    return shortest;
}

std::string FeatureGraph::unit(NodeId id) const {
    while (id != kNoNode) {
        if (const NodeProperty* const unit = tree_[id].property("Unit")) return unit->text;
        id = isFormula(tree_[id].kind) || isConverter(tree_[id].kind) ? kNoNode
                                                                      : tree_[id].target("pValue");
    }
    return {};
}

const std::vector<std::string>& FeatureGraph::dependents(NodeId id) {
    std::vector<std::string>& known = dependents_[at(id)];
    if (!known.empty()) return known;
    Marks marks(at(tree_.size()));
    markReaders(writtenWith(id), marks);
    markReaders(selected(id), marks);
    known.push_back(tree_[id].name);
    for (const NodeId each : listed_) {
        if (marks[at(each)] && each != id) known.push_back(tree_[each].name);
    }
    return known;
}

std::vector<NodeId> FeatureGraph::writtenWith(NodeId id) const {
    std::vector<NodeId> written{id};
    Marks seen(at(tree_.size()));
    seen[at(id)] = true;
    for (std::size_t next = 0; next < written.size(); ++next) {
        for (const NodeProperty& property : tree_[written[next]].properties) {
            if (property.target == kNoNode || !isValueTarget(property.tag)) continue;
            if (!seen[at(property.target)]) written.push_back(property.target);
            seen[at(property.target)] = true;
        }
    }
    return written;
}

void FeatureGraph::markReaders(std::vector<NodeId> from, Marks& marks) const {
    while (!from.empty()) {
        const NodeId id = from.back();
        from.pop_back();
        if (marks[at(id)]) continue;
        marks[at(id)] = true;
        from.insert(from.end(), readers_[at(id)].begin(), readers_[at(id)].end());
    }
}

ValueSource FeatureGraph::source(NodeId id) { return needs(id).source; }

const std::string& FeatureGraph::fault(NodeId id) { return needs(id).fault; }

const std::vector<NodeId>& FeatureGraph::variableLengths(NodeId id) {
    return needs(id).variableLengths;
}

/** The depth of the recursion is what a CheckedDescription may have. */
const FeatureGraph::Needs& FeatureGraph::needs(NodeId id) {
    Needs& known = needs_[at(id)];
    if (known.isKnown) return known;
    Needs found;
    found.isKnown = true;
    found.fault = ownFault(id);
    const DescriptionNode& node = tree_[id];
    for (const NodeProperty& property : node.properties) {
        if (property.target == kNoNode) continue;
        if (isValueReference(property.tag)) follow(found, id, property.target);
        if (property.tag != "pPort") continue;
        if (tree_[property.target].property("ChunkID")) found.source = ValueSource::chunk;
        if (tree_[property.target].property("EventID")) found.source = ValueSource::event;
    }
    if (const NodeId holder = holderOf(node); holder != kNoNode) follow(found, id, holder);
    for (const NodeId child : node.children) {
        if (node.isRegister() && isFormula(tree_[child].kind)) follow(found, id, child);
    }
    if (node.property("pLength")) found.variableLengths.push_back(id);
    return known = std::move(found);
}

void FeatureGraph::follow(Needs& found, NodeId id, NodeId needed) {
    const Needs& inner = needs(needed);
    if (inner.source != ValueSource::camera) found.source = inner.source;
    if (found.fault.empty() && !inner.fault.empty()) {
        found.isFaultOfAnother = true;
        found.fault = inner.isFaultOfAnother ? inner.fault : tree_[needed].name + " " + inner.fault;
    }
    for (const NodeId each : inner.variableLengths) {
        if (each != id &&
            std::ranges::find(found.variableLengths, each) == found.variableLengths.end())
            found.variableLengths.push_back(each);
    }
}

std::string FeatureGraph::ownFault(NodeId id) const {
    const DescriptionNode& node = tree_[id];
    if (std::string fault = referenceFault(id); !fault.empty()) return fault;
    if (hasBadFormula(node)) return "has a formula that makes no sense";
    switch (node.kind) {
        case NodeKind::integer:
        case NodeKind::floating:
        case NodeKind::boolean:
        case NodeKind::text:
        case NodeKind::enumeration:
            return hasValue(node) ? "" : "has no value";
        case NodeKind::command:
            if (!hasValue(node)) return "has nothing to write to";
            return node.property("CommandValue") || node.property("pCommandValue")
                       ? ""
                       : "has no value to write";
        case NodeKind::converter:
        case NodeKind::intConverter:
            return node.property("pValue") && node.property("FormulaFrom") ? "" : "has no formula";
        case NodeKind::formula:
        case NodeKind::intFormula:
            return node.property("Formula") ? "" : "has no formula";
        default:
            return node.isRegister() || node.kind == NodeKind::structEntry ? registerFault(node)
                                                                           : "";
    }
}

/** The node map takes a reference to nowhere, or to what it cannot use, for a 0. */
std::string FeatureGraph::referenceFault(NodeId id) const {
    const DescriptionNode& node = tree_[id];
    for (const NodeProperty& property : node.properties) {
        if (!isValueReference(property.tag)) continue;
        if (property.target == kNoNode) return missing(property);
        const DescriptionNode& other = tree_[property.target];
        const NodeKind target = other.kind;
        const bool fits = node.kind == NodeKind::text ? isText(target) : isNumber(target);
        if (!fits) return "refers to " + property.text + ", which has no such value";
        const bool isNumber =
            target != NodeKind::boolean ||
            (other.property("pValue") && !other.property("OnValue") && !other.property("OffValue"));
        if (property.tag == "pVariable" && !isNumber)
            return "refers to " + property.text + ", which is no number";
    }
    return {};
}

std::string FeatureGraph::registerFault(const DescriptionNode& node) const {
    const bool isEntry = node.kind == NodeKind::structEntry;
    const DescriptionNode* const holder =
        isEntry && node.parent != kNoNode ? &tree_[node.parent] : &node;
    if (isEntry && holder->kind != NodeKind::structRegister) return "is in no register";
    const NodeProperty* const port = holder->property("pPort");
    if (!isEntry) {
        if (!port) return "is in no port";
        if (port->target == kNoNode || tree_[port->target].kind != NodeKind::port)
            return missing(*port);
    }
    if (!isEntry && !isNumber(node.kind)) return {};
    const NodeProperty* const length = holder->property("Length");
    std::int64_t bytes = length ? length->integer() : 4;
    if (bytes > kLongestIntegerBytes) return "is too long for a number";
    if (!isEntry && node.kind != NodeKind::maskedRegister) return {};
    const BitRange bits = bitRange(node, *holder);
    if (bits.first > bits.last) return "has its bits in the wrong order";
    if (holder->property("pLength")) bytes = 8;
    return bits.first >= 0 && bits.last < std::min<std::int64_t>(bytes * 8, 64)
               ? ""
               : "has bits outside of its register";
}

BitRange bitRange(const DescriptionNode& node, const DescriptionNode& holder) {
    const auto place = [&node](std::string_view tag, std::int64_t otherwise) {
        const NodeProperty* const found =
            node.property("Bit") ? node.property("Bit") : node.property(tag);
        return found ? found->integer() : otherwise;
    };
    const std::int64_t least = place("LSB", 0);
    const std::int64_t most = place("MSB", 31);
    return holder.text("Endianess") == "BigEndian" ? BitRange{most, least} : BitRange{least, most};
}

}  // namespace Vorda::Gige
