// SPDX-License-Identifier: Apache-2.0
#include "DescriptionCheck.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Vorda::Gige {
namespace {

/** How many nodes a value may be evaluated through; real descriptions stay below 20. */
constexpr int kDeepestEvaluation = 128;
/** How many nodes it may take in all, one that is needed twice counted twice. */
constexpr std::int64_t kMostEvaluations = 100'000;

bool isLength(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    std::int64_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    return error == std::errc{} && end == text.data() + text.size() && isRegisterLength(value);
}

/**
 * Looks for values that need themselves or the work of ages, without recursion: a description may
 * be of any depth.
 */
class Evaluation {
 public:
    explicit Evaluation(const DescriptionTree& tree)
        : tree_(tree),
          needed_(static_cast<std::size_t>(tree.size())),
          depths_(static_cast<std::size_t>(tree.size())),
          costs_(static_cast<std::size_t>(tree.size())) {
        for (NodeId id = 0; id < tree.size(); ++id) collect(id);
    }

    /** A node whose value needs itself, too many others in a row, or too many in all. */
    [[nodiscard]] NodeId endless() {
        for (NodeId id = 0; id < tree_.size(); ++id) {
            if (isEndless(id)) return id;
        }
        return kNoNode;
    }

 private:
    struct Visit {
        NodeId id;
        std::size_t next = 0;
    };

    [[nodiscard]] std::vector<NodeId>& needed(NodeId id) {
        return needed_[static_cast<std::size_t>(id)];
    }
    [[nodiscard]] int& depth(NodeId id) { return depths_[static_cast<std::size_t>(id)]; }
    [[nodiscard]] std::int64_t& cost(NodeId id) { return costs_[static_cast<std::size_t>(id)]; }

    void collect(NodeId id) {
        const DescriptionNode& node = tree_[id];
        for (const NodeProperty& property : node.properties) {
            if (property.target != kNoNode && isValueReference(property.tag))
                needed(id).push_back(property.target);
        }
        if (node.parent == kNoNode) return;
        if (node.kind == NodeKind::structEntry)
            needed(id).push_back(node.parent);
        else if (node.kind != NodeKind::enumEntry)
            needed(node.parent).push_back(id);  // such as the formula of an address
    }

    [[nodiscard]] bool isEndless(NodeId start) {
        if (depth(start) != 0) return false;
        std::vector<Visit> path{{start}};
        while (!path.empty()) {
            Visit& visit = path.back();
            const std::vector<NodeId>& needs = needed(visit.id);
            if (visit.next == needs.size()) {
                finish(visit.id);
                if (cost(visit.id) > kMostEvaluations) return true;
                path.pop_back();
                continue;
            }
            const NodeId next = needs[visit.next++];
            const int known = depth(next);
            if (static_cast<int>(path.size()) + std::max(known, 1) > kDeepestEvaluation)
                return true;
            if (known == 0) path.push_back({next});
        }
        return false;
    }

    void finish(NodeId id) {
        int deepest = 0;
        std::int64_t total = 1;
        // The limits of a converter are found from both limits of the node behind it.
        const NodeKind kind = tree_[id].kind;
        const bool isTwice = kind == NodeKind::converter || kind == NodeKind::intConverter;
        for (const NodeId each : needed(id)) {
            deepest = std::max(deepest, depth(each));
            total = std::min(total + cost(each) * (isTwice ? 2 : 1), kMostEvaluations + 1);
        }
        depth(id) = deepest + 1;
        cost(id) = total;
    }

    const DescriptionTree& tree_;
    std::vector<std::vector<NodeId>> needed_;  ///< whose values a node's value needs
    std::vector<int> depths_;                  ///< of the nodes whose walk is finished; else 0
    std::vector<std::int64_t> costs_;          ///< of the same, in nodes
};

/** Empty when there is none. */
std::string faultOf(const DescriptionTree& tree) {
    for (NodeId id = 0; id < tree.size(); ++id) {
        const NodeProperty* const length = tree[id].property("Length");
        if (length && !isLength(length->text))
            return "the length of [" + tree[id].name + "] is absurd";
    }
    if (const NodeId id = Evaluation(tree).endless(); id != kNoNode)
        return "the value of [" + tree[id].name + "] needs itself, or too many others";
    return {};
}

}  // namespace

bool isRegisterLength(std::int64_t bytes) {
    /** Room for look-up tables and file buffers. */
    constexpr std::int64_t kLongestRegisterBytes = 16 << 20;
    return bytes > 0 && bytes <= kLongestRegisterBytes;
}

std::shared_ptr<const CheckedDescription> CheckedDescription::make(std::string xml,
                                                                   std::string& reason) {
    auto tree = DescriptionTree::parse(xml, reason);
    if (!tree) return nullptr;
    reason = faultOf(*tree);
    if (!reason.empty()) return nullptr;
    return std::shared_ptr<const CheckedDescription>(
        new CheckedDescription(std::move(xml), std::move(*tree)));
}

}  // namespace Vorda::Gige
