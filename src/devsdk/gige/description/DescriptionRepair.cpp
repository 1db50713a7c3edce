// SPDX-License-Identifier: Apache-2.0
#include "DescriptionRepair.h"

#include "FormulaGuard.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Vorda::Gige {
namespace {

/** The pieces of a property's text, which comments may part. */
std::vector<ArvDomCharacterData*> piecesOf(ArvGcPropertyNode* property) {
    std::vector<ArvDomCharacterData*> pieces;
    for (ArvDomNode* piece = arv_dom_node_get_first_child(ARV_DOM_NODE(property)); piece != nullptr;
         piece = arv_dom_node_get_next_sibling(piece)) {
        if (ARV_IS_DOM_CHARACTER_DATA(piece)) pieces.push_back(ARV_DOM_CHARACTER_DATA(piece));
    }
    return pieces;
}

/** Not through the property itself, which would keep what it reads. */
std::string textOf(const std::vector<ArvDomCharacterData*>& pieces) {
    std::string text;
    for (ArvDomCharacterData* const piece : pieces) {
        const char* const part = arv_dom_character_data_get_data(piece);
        if (part != nullptr) text += part;
    }
    return text;
}

void setText(const std::vector<ArvDomCharacterData*>& pieces, const std::string& text) {
    for (ArvDomCharacterData* const piece : pieces)
        arv_dom_character_data_set_data(piece, piece == pieces.front() ? text.c_str() : "");
}

std::string trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/** Where the number of a boolean comes from, if it is the boolean's own: 1 or 0; else empty. */
std::string numberBehind(ArvDomNode* boolean) {
    std::string number;
    for (ArvDomNode* child = arv_dom_node_get_first_child(boolean); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
        ArvGcPropertyNode* const property = ARV_GC_PROPERTY_NODE(child);
        switch (arv_gc_property_node_get_node_type(property)) {
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
                number = trimmed(textOf(piecesOf(property)));
                break;
            case ARV_GC_PROPERTY_NODE_TYPE_ON_VALUE:
            case ARV_GC_PROPERTY_NODE_TYPE_OFF_VALUE:
                return {};
            default:
                break;
        }
    }
    return number;
}

/** Converters calculate in floats, also those of integers. */
bool isOfIntegers(ArvDomNode* parent) {
    return ARV_IS_GC_INTEGER(parent) && !ARV_IS_GC_CONVERTER(parent);
}

class DescriptionRepair {
 public:
    explicit DescriptionRepair(ArvGc* nodes) : nodes_(nodes) {}

    void visit(ArvDomNode* parent) const {
        for (ArvDomNode* child = arv_dom_node_get_first_child(parent); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_GC_PROPERTY_NODE(child))
                repair(parent, ARV_GC_PROPERTY_NODE(child));
            else if (ARV_IS_GC_NODE(child))
                visit(child);
        }
    }

 private:
    void repair(ArvDomNode* parent, ArvGcPropertyNode* property) const {
        const std::vector<ArvDomCharacterData*> pieces = piecesOf(property);
        const std::string text = textOf(pieces);
        const std::string meant = meaning(parent, property, text);
        if (meant != text) setText(pieces, meant);
    }

    [[nodiscard]] std::string meaning(ArvDomNode* parent, ArvGcPropertyNode* property,
                                      const std::string& text) const {
        switch (arv_gc_property_node_get_node_type(property)) {
            case ARV_GC_PROPERTY_NODE_TYPE_VALUE:
                return ARV_IS_GC_STRING(parent) ? text : trimmed(text);
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA:
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO:
            case ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM:
            case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION:
                // What cannot be guarded is left out, and cannot be evaluated.
                return guardedFormula(text, isOfIntegers(parent)).value_or("");
            case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE:
                return variable(trimmed(text));
            default:
                return trimmed(text);
        }
    }

    /** The node map leaves a variable that is a boolean out of its formula. */
    [[nodiscard]] std::string variable(const std::string& name) const {
        ArvGcNode* const node = arv_gc_get_node(nodes_, name.c_str());
        if (!ARV_IS_GC_BOOLEAN(node)) return name;
        const std::string number = numberBehind(ARV_DOM_NODE(node));
        return number.empty() ? name : number;
    }

    ArvGc* const nodes_;
};

}  // namespace

void repairDescription(ArvGc* nodes) { DescriptionRepair(nodes).visit(ARV_DOM_NODE(nodes)); }

}  // namespace Vorda::Gige
