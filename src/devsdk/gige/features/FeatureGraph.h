// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DescriptionTree.h"
#include "FeatureTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vorda::Gige {

/** Where the value of a feature comes from. */
enum class ValueSource { camera, chunk, event };

/**
 * What a description alone says of its features: their order, who selects whom, whose value needs
 * whose, and what is wrong with them.
 *
 * Built once; dependents(), source() and fault() keep what they found. Threads: those three one at
 * a time, the rest any.
 */
class FeatureGraph {
 public:
    /** `tree` outlives this and is that of a CheckedDescription. */
    explicit FeatureGraph(const DescriptionTree& tree);

    [[nodiscard]] FeatureKind kind(NodeId id) const;
    /** GenICam's levels, 0 to 3. */
    [[nodiscard]] unsigned visibility(NodeId id) const;
    /** A category's features that exist, in the order of the description. */
    [[nodiscard]] std::vector<NodeId> features(NodeId category) const;
    [[nodiscard]] const std::vector<NodeId>& selectors(NodeId id) const {
        return selectors_[at(id)];
    }
    /** Those and theirs, the outermost first. */
    [[nodiscard]] std::vector<NodeId> allSelectors(NodeId id) const;
    [[nodiscard]] std::vector<NodeId> selected(NodeId id) const;
    /** The features that lead from "Root", in the order in which one comes upon them. */
    [[nodiscard]] const std::vector<NodeId>& listed() const { return listed_; }
    /** The shortest polling time of a feature and what its value is made of, in milliseconds. */
    [[nodiscard]] std::optional<std::int64_t> pollingTime(NodeId id) const;
    /** The unit of a number; it may stand with the node that the value comes from. */
    [[nodiscard]] std::string unit(NodeId id) const;

    /**
     * What may change when a feature is written or executed: it itself, then the listed features
     * that need it or a node that is written with it, and those that it selects with all that need
     * them.
     */
    [[nodiscard]] const std::vector<std::string>& dependents(NodeId id);
    [[nodiscard]] ValueSource source(NodeId id);
    /** Why the value of a node cannot be evaluated; empty when it can. */
    [[nodiscard]] const std::string& fault(NodeId id);
    /** The registers of a value whose length is not constant, those that others need first. */
    [[nodiscard]] const std::vector<NodeId>& variableLengths(NodeId id);

 private:
    /** What a node's value needs, found at the first question. */
    struct Needs {
        bool isKnown = false;
        ValueSource source = ValueSource::camera;
        std::string fault;
        bool isFaultOfAnother = false;
        std::vector<NodeId> variableLengths;
    };
    using Marks = std::vector<bool>;

    [[nodiscard]] static std::size_t at(NodeId id) { return static_cast<std::size_t>(id); }
    void collectReaders(NodeId id);
    void addSelectors(NodeId id, int depth, std::vector<NodeId>& all) const;
    void list(NodeId category, Marks& seen);
    [[nodiscard]] const Needs& needs(NodeId id);
    void follow(Needs& found, NodeId id, NodeId needed);
    [[nodiscard]] std::string ownFault(NodeId id) const;
    [[nodiscard]] std::string referenceFault(NodeId id) const;
    [[nodiscard]] std::string registerFault(const DescriptionNode& node) const;
    [[nodiscard]] std::vector<NodeId> writtenWith(NodeId id) const;
    void markReaders(std::vector<NodeId> from, Marks& marks) const;

    const DescriptionTree& tree_;
    std::vector<std::vector<NodeId>> readers_;    ///< whose value, limits or state need a node
    std::vector<std::vector<NodeId>> selectors_;  ///< of a node
    std::vector<NodeId> listed_;
    std::vector<Needs> needs_;
    std::vector<std::vector<std::string>> dependents_;  ///< empty: not asked for yet
};

/** The nodes that a value is passed on to: pValue and its indexed kin. */
[[nodiscard]] bool isValueTarget(std::string_view tag);
[[nodiscard]] bool isNumber(NodeKind kind);
inline constexpr std::int64_t kLongestIntegerBytes = 8;

/** The bits of a register that a node is about, in the order in which the register counts them. */
struct BitRange {
    std::int64_t first = 0;
    std::int64_t last = 0;
};
/** `holder` is the register: the node itself, or the one that its entry is in. */
[[nodiscard]] BitRange bitRange(const DescriptionNode& node, const DescriptionNode& holder);

}  // namespace Vorda::Gige
