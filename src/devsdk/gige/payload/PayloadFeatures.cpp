// SPDX-License-Identifier: Apache-2.0
#include "PayloadFeatures.h"

#include "DescriptionNodes.h"
#include "FeatureOrder.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <unordered_map>

namespace Vorda::Gige {

namespace {

// Elements that a port may have without a meaning, and whose own meaning (how to show a number) is
// not asked of the node map that they are put into.
constexpr std::string_view kHiddenChunkId = "DisplayNotation";
constexpr std::string_view kHiddenEventId = "DisplayPrecision";
constexpr ArvGcPropertyNodeType kChunkIdType = ARV_GC_PROPERTY_NODE_TYPE_DISPLAY_NOTATION;
constexpr ArvGcPropertyNodeType kEventIdType = ARV_GC_PROPERTY_NODE_TYPE_DISPLAY_PRECISION;

constexpr std::uint64_t kByteBits = 8;
constexpr std::uint64_t kLongestInteger = 8;

bool endsName(char character) {
    return std::string_view(" \t\r\n/>").find(character) != std::string_view::npos;
}

/** Renames every element `from`; where the name stands in a text instead, that does no harm. */
bool renameElement(std::string& xml, std::string_view from, std::string_view to) {
    bool any = false;
    for (std::size_t at = xml.find(from); at != std::string::npos; at = xml.find(from, at)) {
        const std::size_t end = at + from.size();
        const bool opens = at >= 1 && xml[at - 1] == '<';
        const bool closes = at >= 2 && xml[at - 1] == '/' && xml[at - 2] == '<';
        if ((opens || closes) && end < xml.size() && endsName(xml[end])) {
            xml.replace(at, from.size(), to);
            any = true;
        }
        at += 1;
    }
    return any;
}

std::string_view textOf(ArvGcPropertyNode* property) {
    const char* text = arv_gc_property_node_get_string(property, nullptr);
    return text ? text : "";
}

/** "80000001" or "0x80000001", in any case. */
std::optional<std::uint32_t> hexNumber(std::string_view text) {
    const auto isBlank = [](char c) {
        return std::string_view(" \t\r\n").find(c) != std::string_view::npos;
    };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number, 16);
    if (text.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return number;
}

PayloadPort portOf(ArvGcNode* node) {
    if (!ARV_IS_GC_PORT(node)) return {};
    const Properties properties(node);
    const auto idOf = [&](ArvGcPropertyNodeType type) {
        ArvGcPropertyNode* id = properties.find(type);
        return id ? hexNumber(textOf(id)) : std::nullopt;
    };
    if (const auto chunk = idOf(kChunkIdType)) return {PayloadPort::Kind::chunk, *chunk};
    if (const auto event = idOf(kEventIdType)) return {PayloadPort::Kind::event, *event};
    return {};
}

bool isValueReference(ArvGcPropertyNodeType type) {
    switch (type) {
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_ADDRESS:
        case ARV_GC_PROPERTY_NODE_TYPE_P_INDEX:
        case ARV_GC_PROPERTY_NODE_TYPE_P_LENGTH:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_INDEXED:
        case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_DEFAULT:
            return true;
        default:
            return false;
    }
}

/** What a value is made of. */
struct Inputs {
    std::optional<PayloadPort> port;  ///< of its registers; empty when it needs none
    bool hasSeveralPorts = false;
    bool moves = false;  ///< the place of one of its registers is not plain to see

    void add(PayloadPort other) {
        hasSeveralPorts |= port && *port != other;
        if (!port || port->kind == PayloadPort::Kind::device) port = other;
    }
    void add(const Inputs& other) {
        if (other.port) add(*other.port);
        hasSeveralPorts |= other.hasSeveralPorts;
        moves |= other.moves;
    }
};

class InputFinder {
 public:
    /** Of a node's value. Descriptions without circles only. */
    const Inputs& of(ArvGcNode* node) {
        if (const auto known = known_.find(node); known != known_.end()) return known->second;
        Inputs inputs = ofReferences(node);
        if (isRegister(node)) {
            const Properties place(placeOf(node));
            inputs.moves |= inputs.port.has_value();
            // The node map allocates such a length, however large, where it needs the register.
            inputs.moves |= place.find(ARV_GC_PROPERTY_NODE_TYPE_P_LENGTH) != nullptr;
            inputs.add(portOf(linkedBy(place.find(ARV_GC_PROPERTY_NODE_TYPE_P_PORT))));
        }
        return known_.emplace(node, inputs).first->second;
    }

    /** Of what a node refers to: of a register, what tells its place. */
    Inputs ofReferences(ArvGcNode* node) {
        Inputs inputs;
        ArvGcNode* place = isRegister(node) ? placeOf(node) : node;
        Properties(place).each([&](ArvGcPropertyNode* property) {
            if (!isValueReference(arv_gc_property_node_get_node_type(property))) return;
            if (ArvGcNode* linked = linkedBy(property)) inputs.add(of(linked));
        });
        addFormulasInside(place, inputs);
        return inputs;
    }

 private:
    /** An address may have its formula within. */
    void addFormulasInside(ArvGcNode* node, Inputs& inputs) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child;
             child = arv_dom_node_get_next_sibling(child))
            if (ARV_IS_GC_SWISS_KNIFE(child)) inputs.add(of(ARV_GC_NODE(child)));
    }

    std::unordered_map<ArvGcNode*, Inputs> known_;
};

/** The register or the formula at the end of a feature's chain of values; null when there is none.
 */
ArvGcNode* sourceOf(ArvGcNode* node) {
    if (ARV_IS_GC_BOOLEAN(node))
        node = linkedBy(Properties(node).find(ARV_GC_PROPERTY_NODE_TYPE_P_VALUE));
    while (node && !isRegister(node) && !isFormula(node)) {
        const bool passesOn =
            ARV_IS_GC_INTEGER_NODE(node) || ARV_IS_GC_FLOAT_NODE(node) || ARV_IS_GC_STRING(node);
        if (!passesOn) return nullptr;
        const Properties properties(node);
        ArvGcPropertyNode* value = properties.find(ARV_GC_PROPERTY_NODE_TYPE_P_VALUE);
        if (!value && properties.find(ARV_GC_PROPERTY_NODE_TYPE_P_INDEX)) return node;
        node = linkedBy(value);
    }
    return node;
}

std::vector<PayloadForm::Entry> entriesOf(ArvGcEnumeration* enumeration) {
    std::vector<PayloadForm::Entry> entries;
    for (const GSList* item = arv_gc_enumeration_get_entries(enumeration); item;
         item = item->next) {
        const char* symbol = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(item->data));
        const auto value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(item->data), nullptr);
        if (symbol) entries.push_back({value, symbol});
    }
    // Aravis has them the wrong way round; of several with one value the first is to be found.
    std::reverse(entries.begin(), entries.end());
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.value < b.value; });
    return entries;
}

std::optional<PayloadForm> formOf(ArvGcNode* node) {
    using Kind = PayloadForm::Kind;
    // Enumerations first: Aravis has them as integers and texts, too.
    if (ARV_IS_GC_ENUMERATION(node))
        return PayloadForm{Kind::enumeration, 1, entriesOf(ARV_GC_ENUMERATION(node))};
    if (ARV_IS_GC_BOOLEAN(node)) {
        ArvGcPropertyNode* on = Properties(node).find(ARV_GC_PROPERTY_NODE_TYPE_ON_VALUE);
        return PayloadForm{Kind::boolean, on ? arv_gc_property_node_get_int64(on, nullptr) : 1, {}};
    }
    if (ARV_IS_GC_STRING(node)) return PayloadForm{Kind::text, 1, {}};
    if (ARV_IS_GC_FLOAT(node)) return PayloadForm{Kind::floating, 1, {}};
    if (ARV_IS_GC_INTEGER(node)) return PayloadForm{Kind::integer, 1, {}};
    return std::nullopt;
}

std::optional<std::uint64_t> evaluated(guint64 (*question)(ArvGcRegister*, GError**),
                                       ArvGcNode* node) {
    GuardedError error;
    const guint64 value = question(ARV_GC_REGISTER(node), error.out());
    return error.get() ? std::nullopt : std::optional<std::uint64_t>(value);
}

/** Fills in how the feature is read; it stays Source::none when it cannot be. */
void settleSource(PayloadFeature& feature, ArvGcNode* source, InputFinder& inputs) {
    const Inputs all = inputs.of(source);
    const Inputs place = inputs.ofReferences(source);
    if (all.hasSeveralPorts) return;
    feature.node = source;
    if (!isRegister(source)) {
        if (!all.moves) feature.source = PayloadFeature::Source::computed;
    } else if (place.port) {
        if (!place.moves) feature.source = PayloadFeature::Source::moving;
    } else {
        const auto address = evaluated(arv_gc_register_get_address, source);
        const auto length = evaluated(arv_gc_register_get_length, source);
        const auto slot = address && length ? slotOf(source, *address, *length) : std::nullopt;
        if (!slot) return;
        feature.slot = *slot;
        feature.source = PayloadFeature::Source::slot;
    }
}

/** The bits of a masked integer, counted as the byte order wants it. */
bool settleBits(PayloadSlot& slot, ArvGcPropertyNode* lsb, ArvGcPropertyNode* msb) {
    const std::uint64_t bits = slot.length * kByteBits;
    const auto low = static_cast<std::uint64_t>(arv_gc_property_node_get_int64(lsb, nullptr));
    const auto high = static_cast<std::uint64_t>(arv_gc_property_node_get_int64(msb, nullptr));
    if (low >= bits || high >= bits) return false;
    const auto [first, last] = std::minmax(low, high);
    slot.firstBit = static_cast<std::uint8_t>(slot.isBigEndian ? bits - 1 - last : first);
    slot.bitCount = static_cast<std::uint8_t>(last - first + 1);
    return true;
}

}  // namespace

std::string withOpenPorts(const std::string& description) {
    std::string xml = description;
    const bool hasChunks = renameElement(xml, "ChunkID", kHiddenChunkId);
    const bool hasEvents = renameElement(xml, "EventID", kHiddenEventId);
    return hasChunks || hasEvents ? xml : std::string();
}

std::optional<PayloadSlot> slotOf(ArvGcNode* node, std::uint64_t address, std::uint64_t length) {
    PayloadSlot slot;
    slot.offset = address;
    slot.length = length;
    const Properties own(node);
    const Properties place(placeOf(node));
    slot.isBigEndian =
        arv_gc_property_node_get_endianness(place.find(ARV_GC_PROPERTY_NODE_TYPE_ENDIANNESS),
                                            G_LITTLE_ENDIAN) == G_BIG_ENDIAN;
    slot.isSigned =
        arv_gc_property_node_get_sign(own.find(ARV_GC_PROPERTY_NODE_TYPE_SIGN),
                                      ARV_GC_SIGNEDNESS_UNSIGNED) == ARV_GC_SIGNEDNESS_SIGNED;
    if (ARV_IS_GC_STRING_REG_NODE(node)) {
        slot.kind = PayloadSlot::Kind::text;
        return slot;
    }
    if (ARV_IS_GC_FLOAT_REG_NODE(node)) {
        slot.kind = PayloadSlot::Kind::floating;
        const bool isFloat = length == sizeof(float) || length == sizeof(double);
        return isFloat ? std::optional(slot) : std::nullopt;
    }
    if (!ARV_IS_GC_INTEGER(node) || length == 0 || length > kLongestInteger) return std::nullopt;
    if (!ARV_IS_GC_MASKED_INT_REG_NODE(node) && !ARV_IS_GC_STRUCT_ENTRY_NODE(node)) return slot;
    ArvGcPropertyNode* bit = own.find(ARV_GC_PROPERTY_NODE_TYPE_BIT);
    ArvGcPropertyNode* lsb = bit ? bit : own.find(ARV_GC_PROPERTY_NODE_TYPE_LSB);
    ArvGcPropertyNode* msb = bit ? bit : own.find(ARV_GC_PROPERTY_NODE_TYPE_MSB);
    const bool isWhole = !lsb && !msb;
    return isWhole || (lsb && msb && settleBits(slot, lsb, msb)) ? std::optional(slot)
                                                                 : std::nullopt;
}

std::vector<PayloadFeature> findPayloadFeatures(const AravisNodes& nodes) {
    std::vector<PayloadFeature> found;
    InputFinder inputs;
    const FeatureOrder order(nodes);
    for (ArvGcNode* node : order.features()) {
        ArvGcNode* source = sourceOf(node);
        if (!source) continue;
        const std::optional<PayloadPort> port = inputs.of(source).port;
        if (!port || port->kind == PayloadPort::Kind::device) continue;
        auto form = formOf(node);
        if (!form) continue;
        PayloadFeature feature;
        feature.name = nameOf(node);
        feature.port = *port;
        feature.form = std::move(*form);
        settleSource(feature, source, inputs);
        found.push_back(std::move(feature));
    }
    return found;
}

}  // namespace Vorda::Gige
