// SPDX-License-Identifier: Apache-2.0
#include "NodeMap.h"

#include "DescriptionNodes.h"
#include "FormulaGuard.h"
#include "LastError.h"

#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace Vorda::Gige {
namespace {

struct UnrefObject {
    void operator()(ArvEvaluator* object) const { g_object_unref(object); }
};

Refusal noSuchValue() { return {Error::feature, "cannot be evaluated"}; }

/** The element that holds, or leads to, the value of an enumeration, a boolean or a command. */
ArvGcPropertyNode* valueProperty(ArvGcNode* node) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
        ArvGcPropertyNode* property = ARV_GC_PROPERTY_NODE(child);
        const ArvGcPropertyNodeType type = arv_gc_property_node_get_node_type(property);
        if (type == ARV_GC_PROPERTY_NODE_TYPE_VALUE || type == ARV_GC_PROPERTY_NODE_TYPE_P_VALUE)
            return property;
    }
    return nullptr;
}

/** An error of a formula means that it cannot tell; one of the camera stays an error. */
Refusal limitsOrNone(const GuardedError& error, auto& min, auto& max) {
    using Value = std::remove_reference_t<decltype(min)>;
    if (error.get() == nullptr) return {};
    Refusal refusal = error.refusal();
    if (refusal.number() != Error::feature) return refusal;
    min = std::numeric_limits<Value>::lowest();
    max = std::numeric_limits<Value>::max();
    return {};
}

}  // namespace

NodeMap::NodeMap(std::unique_ptr<AravisNodes> nodes, const DescriptionTree& tree,
                 FeatureGraph& graph)
    : nodes_(std::move(nodes)), tree_(tree), graph_(graph) {
    handles_.reserve(static_cast<std::size_t>(tree.size()));
    for (NodeId id = 0; id < tree.size(); ++id) {
        const bool isNamed = tree.find(tree[id].name) == id;
        handles_.push_back(isNamed ? nodes_->node(tree[id].name) : nullptr);
    }
}

std::unique_ptr<NodeMap> NodeMap::make(RegisterPort& camera, const CheckedDescription& description,
                                       FeatureGraph& graph) {
    auto nodes = AravisNodes::make(camera, description.text());
    if (!nodes) return nullptr;
    return std::unique_ptr<NodeMap>(new NodeMap(std::move(nodes), description.tree(), graph));
}

Refusal NodeMap::prepare(NodeId id) {
    if (at(id) == nullptr) return noSuchValue();
    if (const std::string& fault = graph_.fault(id); !fault.empty()) return {Error::feature, fault};
    if (graph_.source(id) == ValueSource::chunk)
        return {Error::notAvailable, "chunk values come with frames"};
    if (graph_.source(id) == ValueSource::event)
        return {Error::notAvailable, "event values come with their event"};
    for (const NodeId each : graph_.variableLengths(id)) {
        if (Refusal refusal = checkLength(each)) return refusal;
    }
    return {};
}

/** The node map allocates what it is told, and ends the process when that fails. */
Refusal NodeMap::checkLength(NodeId id) {
    ArvGcNode* node = at(tree_[id].target("pLength"));
    if (!ARV_IS_GC_INTEGER(node)) return noSuchValue();
    GuardedError error;
    const std::int64_t bytes = arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.out());
    if (error.get() != nullptr) return error.refusal();
    const NodeKind kind = tree_[id].kind;
    const bool isInteger = kind == NodeKind::intRegister || kind == NodeKind::maskedRegister ||
                           kind == NodeKind::structRegister;
    if (isRegisterLength(bytes) && (!isInteger || bytes <= kLongestIntegerBytes)) return {};
    return {Error::badAnswer, tree_[id].name + " is " + std::to_string(bytes) + " bytes long"};
}

Refusal NodeMap::getInteger(NodeId id, std::int64_t& value) {
    if (Refusal refusal = prepare(id)) return refusal;
    ArvGcNode* node = at(id);
    GuardedError error;
    if (ARV_IS_GC_INTEGER(node)) {
        value = arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.out());
    } else if (ARV_IS_GC_BOOLEAN(node)) {
        value = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node), error.out()) ? 1 : 0;
    } else if (ARV_IS_GC_FLOAT(node)) {
        const double number = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.out());
        value = std::abs(number) < 9.2e18 ? static_cast<std::int64_t>(number) : 0;
    } else {
        return noSuchValue();
    }
    return error.refusal();
}

Refusal NodeMap::getFloat(NodeId id, double& value) {
    if (Refusal refusal = prepare(id)) return refusal;
    ArvGcNode* node = at(id);
    GuardedError error;
    if (ARV_IS_GC_FLOAT(node)) {
        value = arv_gc_float_get_value(ARV_GC_FLOAT(node), error.out());
    } else if (ARV_IS_GC_INTEGER(node)) {
        value = static_cast<double>(arv_gc_integer_get_value(ARV_GC_INTEGER(node), error.out()));
    } else {
        return noSuchValue();
    }
    return error.refusal();
}

Refusal NodeMap::getText(NodeId id, std::string& value) {
    if (Refusal refusal = prepare(id)) return refusal;
    if (!ARV_IS_GC_STRING(at(id))) return noSuchValue();
    GuardedError error;
    const char* text = arv_gc_string_get_value(ARV_GC_STRING(at(id)), error.out());
    if (error.get() != nullptr) return error.refusal();
    value = text != nullptr ? text : "";
    return {};
}

Refusal NodeMap::getLength(NodeId id, std::int64_t& bytes) {
    if (const NodeProperty* const constant = tree_[id].property("Length")) {
        bytes = constant->integer();
        return {};
    }
    bytes = 4;
    const NodeId variable = tree_[id].target("pLength");
    return variable == kNoNode ? Refusal{} : getInteger(variable, bytes);
}

Refusal NodeMap::getConvertedLimits(NodeId id, std::int64_t& min, std::int64_t& max) {
    if (Refusal refusal = prepare(id)) return refusal;
    if (!ARV_IS_GC_INTEGER(at(id))) return noSuchValue();
    GuardedError error;
    min = arv_gc_integer_get_min(ARV_GC_INTEGER(at(id)), error.out());
    if (error.get() == nullptr) max = arv_gc_integer_get_max(ARV_GC_INTEGER(at(id)), error.out());
    return limitsOrNone(error, min, max);
}

Refusal NodeMap::getConvertedLimits(NodeId id, double& min, double& max) {
    if (Refusal refusal = prepare(id)) return refusal;
    if (!ARV_IS_GC_FLOAT(at(id))) return noSuchValue();
    GuardedError error;
    min = arv_gc_float_get_min(ARV_GC_FLOAT(at(id)), error.out());
    if (error.get() == nullptr) max = arv_gc_float_get_max(ARV_GC_FLOAT(at(id)), error.out());
    return limitsOrNone(error, min, max);
}

Refusal NodeMap::setVariable(ArvEvaluator* formula, const NodeProperty& variable) {
    const char* const name = variable.label.c_str();
    if (ARV_IS_GC_FLOAT(at(variable.target))) {
        double number = 0;
        if (Refusal refusal = getFloat(variable.target, number)) return refusal;
        arv_evaluator_set_double_variable(formula, name, number);
    } else {
        std::int64_t number = 0;
        if (Refusal refusal = getInteger(variable.target, number)) return refusal;
        arv_evaluator_set_int64_variable(formula, name, number);
    }
    return {};
}

/** The node map writes a 0 where the formula cannot tell, such as for a division by 0. */
Refusal NodeMap::convert(NodeId id, double value, double& converted) {
    if (Refusal refusal = prepare(id)) return refusal;
    const std::unique_ptr<ArvEvaluator, UnrefObject> formula(arv_evaluator_new(nullptr));
    const auto guarded = [](std::string_view text) {
        return guardedFormula(text, false).value_or("");
    };
    arv_evaluator_set_expression(formula.get(), guarded(tree_[id].text("FormulaTo")).c_str());
    arv_evaluator_set_double_variable(formula.get(), "FROM", value);
    for (const NodeProperty& each : tree_[id].properties) {
        const char* const name = each.label.c_str();
        if (each.tag == "Constant")
            arv_evaluator_set_constant(formula.get(), name, each.text.c_str());
        else if (each.tag == "Expression")
            arv_evaluator_set_sub_expression(formula.get(), name, guarded(each.text).c_str());
        if (each.tag != "pVariable") continue;
        if (Refusal refusal = setVariable(formula.get(), each)) return refusal;
    }
    GuardedError error;
    converted = arv_evaluator_evaluate_as_double(formula.get(), error.out());
    return error.get() == nullptr ? Refusal{} : Refusal::ofValue("cannot be converted");
}

/** Before a write, of all that it may end in. */
void NodeMap::noteOwnValues(ArvGcNode* node) {
    if (node == nullptr || !noted_.insert(node).second) return;
    Properties(node).each([this](ArvGcPropertyNode* property) {
        switch (arv_gc_property_node_get_node_type(property)) {
            case ARV_GC_PROPERTY_NODE_TYPE_VALUE:
            case ARV_GC_PROPERTY_NODE_TYPE_VALUE_INDEXED:
            case ARV_GC_PROPERTY_NODE_TYPE_VALUE_DEFAULT:
                if (const char* text = arv_gc_property_node_get_string(property, nullptr))
                    ownValues_.push_back({property, text});
                break;
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_INDEXED:
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_DEFAULT:
                noteOwnValues(linkedBy(property));
                break;
            default:
                break;
        }
    });
}

void NodeMap::renew() {
    for (const OwnValue& each : ownValues_)
        arv_gc_property_node_set_string(each.place, each.text.c_str(), nullptr);
}

Refusal NodeMap::setInteger(NodeId id, std::int64_t value) {
    if (Refusal refusal = prepare(id)) return refusal;
    ArvGcNode* node = at(id);
    noteOwnValues(node);
    GuardedError error;
    if (ARV_IS_GC_ENUMERATION(node) || ARV_IS_GC_BOOLEAN(node) || ARV_IS_GC_COMMAND(node)) {
        // Past the node itself, which would ask the camera for each of its entries.
        ArvGcPropertyNode* property = valueProperty(node);
        if (property == nullptr) return noSuchValue();
        arv_gc_property_node_set_int64(property, value, error.out());
    } else if (ARV_IS_GC_INTEGER(node)) {
        arv_gc_integer_set_value(ARV_GC_INTEGER(node), value, error.out());
    } else {
        return noSuchValue();
    }
    return error.refusal();
}

Refusal NodeMap::setFloat(NodeId id, double value) {
    if (Refusal refusal = prepare(id)) return refusal;
    if (!ARV_IS_GC_FLOAT(at(id))) return noSuchValue();
    noteOwnValues(at(id));
    GuardedError error;
    arv_gc_float_set_value(ARV_GC_FLOAT(at(id)), value, error.out());
    return error.refusal();
}

Refusal NodeMap::setText(NodeId id, const std::string& value) {
    if (Refusal refusal = prepare(id)) return refusal;
    if (!ARV_IS_GC_STRING(at(id))) return noSuchValue();
    noteOwnValues(at(id));
    GuardedError error;
    arv_gc_string_set_value(ARV_GC_STRING(at(id)), value.c_str(), error.out());
    return error.refusal();
}

}  // namespace Vorda::Gige
