// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Vorda::Gige {

/** A node's place in the document; its name leads there. */
using NodeId = int;
inline constexpr NodeId kNoNode = -1;

enum class NodeKind {
    category,
    command,
    integer,
    floating,
    boolean,
    text,
    enumeration,
    enumEntry,
    intRegister,
    maskedRegister,
    floatRegister,
    textRegister,
    structRegister,
    structEntry,
    rawRegister,
    formula,
    intFormula,
    converter,
    intConverter,
    port
};

/** An element that says something of its node: <pValue>WidthReg</pValue>. */
struct NodeProperty {
    std::string tag;
    std::string text;
    std::string label;        ///< the attribute Index or Name
    NodeId target = kNoNode;  ///< of a reference: the node it leads to

    /** Of a number; 0 where there is none. */
    [[nodiscard]] std::int64_t integer() const;
    [[nodiscard]] double number() const;
};

/** A node of a GenICam description. */
struct DescriptionNode {
    NodeKind kind = NodeKind::port;
    std::string name;
    NodeId parent = kNoNode;
    std::vector<NodeId> children;
    std::vector<NodeProperty> properties;

    /** The last one, which is the one that counts; null when there is none. */
    [[nodiscard]] const NodeProperty* property(std::string_view tag) const;
    [[nodiscard]] NodeId target(std::string_view tag) const;
    /** Empty when there is none. */
    [[nodiscard]] std::string_view text(std::string_view tag) const;
    [[nodiscard]] bool isRegister() const;
};

/**
 * A GenICam description, as the node map reads it: elements that it does not know are left out
 * with all that they hold, and of two nodes of one name the later one counts.
 */
class DescriptionTree {
 public:
    /** Empty when it is no GenICam description, or not a whole one; `reason` says why. */
    [[nodiscard]] static std::optional<DescriptionTree> parse(std::string_view xml,
                                                              std::string& reason);

    [[nodiscard]] int size() const { return static_cast<int>(nodes_.size()); }
    [[nodiscard]] const DescriptionNode& operator[](NodeId id) const {
        return nodes_[static_cast<std::size_t>(id)];
    }
    [[nodiscard]] NodeId find(const std::string& name) const {
        const auto found = byName_.find(name);
        return found == byName_.end() ? kNoNode : found->second;
    }

 private:
    friend class DescriptionReader;
    void resolve();

    std::vector<DescriptionNode> nodes_;  ///< in the order of the document
    std::unordered_map<std::string, NodeId> byName_;
};

/** True for the elements whose text names another node: pValue, pMax ... */
[[nodiscard]] bool isReference(std::string_view tag);
/** True for the references through which one node's value needs another's. */
[[nodiscard]] bool isValueReference(std::string_view tag);

}  // namespace Vorda::Gige
