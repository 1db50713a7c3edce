// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AravisNodes.h"
#include "DescriptionCheck.h"
#include "FeatureGraph.h"
#include "Refusal.h"
#include "RegisterPort.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace Vorda::Gige {

/**
 * The values of single nodes of a description, evaluated over a camera's registers. What the node
 * map below would take for a 0, or not survive, is refused here. Whether a value may be written is
 * not asked here.
 *
 * Threads: one at a time.
 */
class NodeMap {
 public:
    /** Empty, with the last error, when the description cannot be used. All outlive this. */
    [[nodiscard]] static std::unique_ptr<NodeMap> make(RegisterPort& camera,
                                                       const CheckedDescription& description,
                                                       FeatureGraph& graph);

    /** While one lives, no register is asked twice. */
    [[nodiscard]] AravisNodes::Snapshot snapshot() { return AravisNodes::Snapshot(*nodes_); }

    /** Of any node that is a number: booleans are 0 or 1, floats are cut. */
    Refusal getInteger(NodeId id, std::int64_t& value);
    Refusal getFloat(NodeId id, double& value);
    Refusal getText(NodeId id, std::string& value);
    /** The length of a register in bytes; 4 where the description does not say. */
    Refusal getLength(NodeId id, std::int64_t& bytes);
    /** Of a converter; what its formula cannot tell is without limit. */
    Refusal getConvertedLimits(NodeId id, std::int64_t& min, std::int64_t& max);
    Refusal getConvertedLimits(NodeId id, double& min, double& max);

    /** What a converter would write for a value; refused when its formula cannot tell. */
    Refusal convert(NodeId id, double value, double& converted);

    /** Sets an integer, enumeration or boolean, or executes a command, to its number. */
    Refusal setInteger(NodeId id, std::int64_t value);
    Refusal setFloat(NodeId id, double value);
    Refusal setText(NodeId id, const std::string& value);

    /** Undoes what was set of values that are kept in the nodes themselves, as selectors may be. */
    void renew();

 private:
    /** A value that no register has, as the description gives it. */
    struct OwnValue {
        ArvGcPropertyNode* place;
        std::string text;
    };

    NodeMap(std::unique_ptr<AravisNodes> nodes, const DescriptionTree& tree, FeatureGraph& graph);

    [[nodiscard]] ArvGcNode* at(NodeId id) const { return handles_[static_cast<std::size_t>(id)]; }
    Refusal prepare(NodeId id);
    Refusal checkLength(NodeId id);
    Refusal setVariable(ArvEvaluator* formula, const NodeProperty& variable);
    void noteOwnValues(ArvGcNode* node);

    std::unique_ptr<AravisNodes> nodes_;
    const DescriptionTree& tree_;
    FeatureGraph& graph_;
    std::vector<ArvGcNode*> handles_;
    std::unordered_set<ArvGcNode*> noted_;  ///< that were written, or passed a write on
    std::vector<OwnValue> ownValues_;       ///< of those
};

}  // namespace Vorda::Gige
