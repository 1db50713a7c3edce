// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "AravisNodes.h"
#include "DescriptionNodes.h"

#include <unordered_set>
#include <vector>

namespace Vorda::Gige {

/** Real trees have five levels; what hostile ones have must not exhaust the stack. */
inline constexpr int kDeepestCategory = 100;

/** All nodes with a name: first those of the category tree in its order, then the others. */
class FeatureOrder {
 public:
    explicit FeatureOrder(const AravisNodes& nodes) : nodes_(nodes) {
        ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(nodes.all()));
        noteReferences(ARV_DOM_NODE(root));
        if (ArvGcNode* categories = nodes.node("Root")) addCategory(categories, 0);
        addOthers(ARV_DOM_NODE(root));
    }

    [[nodiscard]] const std::vector<ArvGcNode*>& features() const { return features_; }

 private:
    static bool isContainer(ArvDomNode* node) {
        return ARV_IS_GC_GROUP_NODE(node) || ARV_IS_GC_STRUCT_REG_NODE(node);
    }

    void noteReferences(ArvDomNode* parent) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_GC_PROPERTY_NODE(child)) {
                noteReference(ARV_GC_PROPERTY_NODE(child));
            } else if (ARV_IS_GC_NODE(child)) {
                noteReferences(child);
            }
        }
    }
    void noteReference(ArvGcPropertyNode* property) {
        const auto type = arv_gc_property_node_get_node_type(property);
        if (type == ARV_GC_PROPERTY_NODE_TYPE_P_VALUE) values_.insert(linkedBy(property));
        if (type > ARV_GC_PROPERTY_NODE_TYPE_P_UNKNONW &&
            type != ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE &&
            type != ARV_GC_PROPERTY_NODE_TYPE_P_SELECTED &&
            type != ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR)
            operands_.insert(linkedBy(property));
    }

    void addCategory(ArvGcNode* category, int depth) {
        if (depth == kDeepestCategory) return;
        Properties(category).each([&](ArvGcPropertyNode* property) {
            if (arv_gc_property_node_get_node_type(property) != ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE)
                return;
            ArvGcNode* node = linkedBy(property);
            if (add(node) && ARV_IS_GC_CATEGORY(node)) addCategory(node, depth + 1);
        });
    }
    void addOthers(ArvDomNode* parent) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_GC_FEATURE_NODE(child) && isOwnFeature(ARV_GC_NODE(child)))
                add(ARV_GC_NODE(child));
            if (isContainer(child)) addOthers(child);
        }
    }
    /** True for a node that does not just serve others. */
    [[nodiscard]] bool isOwnFeature(ArvGcNode* node) const {
        const bool isPart = isRegister(node) || isFormula(node);
        return !(isPart ? operands_ : values_).contains(node);
    }
    bool add(ArvGcNode* node) {
        if (!ARV_IS_GC_FEATURE_NODE(node) || !nameOf(node)) return false;
        if (nodes_.node(nameOf(node)) != node || !seen_.insert(node).second) return false;
        features_.push_back(node);
        return true;
    }

    const AravisNodes& nodes_;
    std::unordered_set<ArvGcNode*> values_;    // that others take their value from
    std::unordered_set<ArvGcNode*> operands_;  // and those that they need for anything at all
    std::unordered_set<ArvGcNode*> seen_;
    std::vector<ArvGcNode*> features_;
};

}  // namespace Vorda::Gige
