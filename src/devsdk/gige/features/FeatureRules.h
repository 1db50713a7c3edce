// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FeatureGraph.h"
#include "FeatureTypes.h"
#include "NodeMap.h"
#include "Refusal.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vorda::Gige {

/**
 * What may be done with a feature at this moment, and which values it takes. A feature obeys what
 * is said of it and of all nodes that its value goes through, down to the register.
 *
 * What the description leaves constant costs no question to the camera. Threads: one at a time.
 */
class FeatureRules {
 public:
    /** All outlive this. */
    FeatureRules(const DescriptionTree& tree, FeatureGraph& graph, NodeMap& nodes);

    Refusal checkAvailable(NodeId id);
    Refusal checkReadable(NodeId id);
    Refusal checkWritable(NodeId id);

    Refusal getRange(NodeId id, FeatureRange<std::int64_t>& range);
    Refusal getRange(NodeId id, FeatureRange<double>& range);
    Refusal getIncrement(NodeId id, std::int64_t& increment);
    /** The bytes that a text may have; without a limit, the largest number. */
    Refusal getMaxLength(NodeId id, std::uint32_t& bytes);
    /** Those that the camera has and offers, in the order of the description. */
    Refusal getEntries(NodeId id, std::vector<FeatureEntry>& entries);

    Refusal checkValue(NodeId id, std::int64_t value);
    Refusal checkValue(NodeId id, double value);
    Refusal checkValue(NodeId id, const std::string& value);
    /** Also gives the value of the entry of that name. */
    Refusal checkEntry(NodeId id, const std::string& symbol, std::int64_t& value);
    Refusal checkEntry(NodeId id, std::int64_t value);
    /** The symbol of an entry; refused when no entry has this value. */
    Refusal getSymbol(NodeId id, std::int64_t value, std::string& symbol);

 private:
    /** A node whose value decides; kNoNode when the description names one that does not exist. */
    struct Condition {
        const NodeProperty* reference;
        bool isOfExistence;  ///< pIsImplemented
    };
    /** What holds for a node and all that its value goes through. */
    struct Path {
        bool isKnown = false;
        bool isReadable = true;
        bool isWritable = true;
        std::vector<Condition> conditions;
        std::vector<const NodeProperty*> locks;
        NodeId indexed = kNoNode;  ///< where the camera decides how the path goes on
    };

    [[nodiscard]] const Path& path(NodeId id);
    NodeId addToPath(Path& path, NodeId id, bool isFirst) const;
    void addAccess(Path& path, const DescriptionNode& node, bool isFirst) const;
    /** The rest of a path behind `path.indexed`; kNoNode when there is none. */
    Refusal nextPart(const Path& path, NodeId& next);
    Refusal indexedProperty(NodeId id, const NodeProperty*& property);
    Refusal valueNode(NodeId id, NodeId& target);

    Refusal checkAvailable(const Path& path);
    Refusal checkLocks(const Path& path);
    Refusal isTrue(const NodeProperty& reference, bool& value);
    Refusal isOffered(NodeId entry, bool& value);
    [[nodiscard]] std::string entryNames(NodeId id) const;

    template <typename T>
    Refusal ownLimit(NodeId id, const char* constant, const char* reference, T& limit,
                     bool& hasOne);
    template <typename T>
    Refusal ownLimits(NodeId id, FeatureRange<T>& range);
    Refusal checkConverted(NodeId id, double value);
    Refusal lengthLimits(NodeId id, FeatureRange<std::int64_t>& range);
    [[nodiscard]] FeatureRange<std::int64_t> bitLimits(NodeId id) const;
    /** What a register behind a node can hold, as far as the description alone tells. */
    [[nodiscard]] FeatureRange<std::int64_t> capacity(NodeId id) const;

    const DescriptionTree& tree_;
    FeatureGraph& graph_;
    NodeMap& nodes_;
    std::vector<Path> paths_;
};

/** For a reference of the description to nowhere. */
Refusal missingTarget(const NodeProperty& reference);

}  // namespace Vorda::Gige
