// SPDX-License-Identifier: Apache-2.0
//
// Questions to the nodes of a description beyond Aravis' own. Only the .cpp files that evaluate
// descriptions include this.
#pragma once

#include "AravisNodes.h"

namespace Vorda::Gige {

/** The children of a node that are properties, such as <Address> and <pValue>. */
class Properties {
 public:
    explicit Properties(ArvGcNode* node) : node_(ARV_DOM_NODE(node)) {}

    template <typename Visit>
    void each(const Visit& visit) const {
        for (ArvDomNode* child = arv_dom_node_get_first_child(node_); child;
             child = arv_dom_node_get_next_sibling(child))
            if (ARV_IS_GC_PROPERTY_NODE(child)) visit(ARV_GC_PROPERTY_NODE(child));
    }
    /** Null when there is none. */
    [[nodiscard]] ArvGcPropertyNode* find(ArvGcPropertyNodeType type) const {
        ArvGcPropertyNode* found = nullptr;
        each([&](ArvGcPropertyNode* property) {
            if (arv_gc_property_node_get_node_type(property) == type) found = property;
        });
        return found;
    }

 private:
    ArvDomNode* node_;
};

inline ArvGcNode* linkedBy(ArvGcPropertyNode* property) {
    return property ? arv_gc_property_node_get_linked_node(property) : nullptr;
}

inline const char* nameOf(ArvGcNode* node) {
    return arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node));
}

/** The node with a register's address, length and port: a part of a structure has none itself. */
inline ArvGcNode* placeOf(ArvGcNode* node) {
    if (!ARV_IS_GC_STRUCT_ENTRY_NODE(node)) return node;
    ArvDomNode* whole = arv_dom_node_get_parent_node(ARV_DOM_NODE(node));
    return ARV_IS_GC_REGISTER_NODE(whole) ? ARV_GC_NODE(whole) : nullptr;
}

inline bool isRegister(ArvGcNode* node) {
    return ARV_IS_GC_REGISTER_NODE(node) ||
           (ARV_IS_GC_STRUCT_ENTRY_NODE(node) && placeOf(node) != nullptr);
}

inline bool isFormula(ArvGcNode* node) {
    return ARV_IS_GC_SWISS_KNIFE(node) || ARV_IS_GC_CONVERTER(node);
}

}  // namespace Vorda::Gige
