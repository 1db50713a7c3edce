// SPDX-License-Identifier: Apache-2.0
#include "DescriptionTree.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>

namespace Vorda::Gige {
namespace {

struct TagKind {
    std::string_view tag;
    NodeKind kind;
};

constexpr std::array<TagKind, 20> kNodeTags = {{
    {"IntReg", NodeKind::intRegister},
    {"Integer", NodeKind::integer},
    {"EnumEntry", NodeKind::enumEntry},
    {"Enumeration", NodeKind::enumeration},
    {"MaskedIntReg", NodeKind::maskedRegister},
    {"StructEntry", NodeKind::structEntry},
    {"StructReg", NodeKind::structRegister},
    {"IntSwissKnife", NodeKind::intFormula},
    {"SwissKnife", NodeKind::formula},
    {"Converter", NodeKind::converter},
    {"IntConverter", NodeKind::intConverter},
    {"Float", NodeKind::floating},
    {"FloatReg", NodeKind::floatRegister},
    {"Boolean", NodeKind::boolean},
    {"Command", NodeKind::command},
    {"Category", NodeKind::category},
    {"String", NodeKind::text},
    {"StringReg", NodeKind::textRegister},
    {"Register", NodeKind::rawRegister},
    {"Port", NodeKind::port},
}};

/** The references through which one node's value needs another's. */
constexpr std::array<std::string_view, 10> kValueReferences = {
    "pValue",        "pAddress",      "pIndex",  "pLength",       "pVariable",
    "pValueIndexed", "pValueDefault", "pOffset", "pCommandValue", "pIntSwissKnife"};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

struct FreeReader {
    void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};

struct FreeText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

std::string_view view(const xmlChar* text) {
    return text == nullptr ? std::string_view{} : reinterpret_cast<const char*>(text);
}

/** Keeps the first error: the later ones follow from it. */
void keepFirstError(void* text, xmlError* error) {
    auto& first = *static_cast<std::string*>(text);
    if (!first.empty() || error == nullptr || error->message == nullptr) return;
    first = "line " + std::to_string(error->line) + ": " + std::string(trimmed(error->message));
}

}  // namespace

bool isValueReference(std::string_view tag) {
    return std::ranges::find(kValueReferences, tag) != kValueReferences.end();
}

bool isReference(std::string_view tag) {
    return tag.size() > 1 && tag[0] == 'p' && std::isupper(static_cast<unsigned char>(tag[1])) != 0;
}

std::int64_t NodeProperty::integer() const { return std::strtoll(text.c_str(), nullptr, 0); }

double NodeProperty::number() const {
    if (text.find_first_of("xX") != std::string::npos) return static_cast<double>(integer());
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

const NodeProperty* DescriptionNode::property(std::string_view tag) const {
    const auto found = std::find_if(properties.rbegin(), properties.rend(),
                                    [tag](const NodeProperty& each) { return each.tag == tag; });
    return found == properties.rend() ? nullptr : &*found;
}

NodeId DescriptionNode::target(std::string_view tag) const {
    const NodeProperty* const found = property(tag);
    return found ? found->target : kNoNode;
}

std::string_view DescriptionNode::text(std::string_view tag) const {
    const NodeProperty* const found = property(tag);
    return found ? std::string_view(found->text) : std::string_view{};
}

bool DescriptionNode::isRegister() const {
    switch (kind) {
        case NodeKind::intRegister:
        case NodeKind::maskedRegister:
        case NodeKind::floatRegister:
        case NodeKind::textRegister:
        case NodeKind::structRegister:
        case NodeKind::rawRegister:
            return true;
        default:
            return false;
    }
}

/** Reads the document once, from element to element. */
class DescriptionReader {
 public:
    explicit DescriptionReader(std::string_view xml)
        : reader_(xmlReaderForMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
                                     XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)) {}

    [[nodiscard]] std::optional<DescriptionTree> run(std::string& reason) {
        reason = read();
        if (!reason.empty()) return std::nullopt;
        tree_.resolve();
        return std::move(tree_);
    }

 private:
    struct Element {
        bool isSkipped = false;  ///< with all that it holds
        NodeId node = kNoNode;   ///< the element, or the nearest around it, that is a node
        bool isNode = false;
        NodeProperty property;  ///< when it is none
    };

    [[nodiscard]] std::string read() {
        if (!reader_) return "it cannot be parsed";
        xmlTextReaderSetStructuredErrorHandler(reader_.get(), keepFirstError, &error_);
        int state = 0;
        while (fault_.empty() && (state = xmlTextReaderRead(reader_.get())) == 1) visit();
        if (!fault_.empty()) return fault_;
        if (state == 0) return {};
        return error_.empty() ? "it is no XML" : "it is cut or no XML: " + error_;
    }

    void visit() {
        switch (xmlTextReaderNodeType(reader_.get())) {
            case XML_READER_TYPE_ELEMENT:
                return open();
            case XML_READER_TYPE_END_ELEMENT:
                return close();
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA:
                if (!open_.empty())  // comments may part it
                    open_.back().property.text += view(xmlTextReaderConstValue(reader_.get()));
                return;
            case XML_READER_TYPE_DOCUMENT_TYPE:
                // Its entities would be other texts to the node map, and of any size.
                fault_ = "it has a document type";
                return;
            default:
                return;
        }
    }

    void open() {
        // The node map knows elements by their whole names, with a prefix that is.
        const std::string_view tag = view(xmlTextReaderConstName(reader_.get()));
        Element element;
        if (open_.empty()) {
            if (tag != "RegisterDescription") fault_ = "its root is [" + std::string(tag) + "]";
            element.isNode = true;
        } else {
            enter(element, open_.back(), tag);
        }
        const bool isEmpty = xmlTextReaderIsEmptyElement(reader_.get()) != 0;
        open_.push_back(std::move(element));
        if (isEmpty) close();
    }

    void enter(Element& element, const Element& outer, std::string_view tag) {
        element.node = outer.node;
        element.isSkipped = outer.isSkipped || !outer.isNode;
        if (element.isSkipped) return;
        const auto* const known = std::ranges::find(kNodeTags, tag, &TagKind::tag);
        if (known != kNodeTags.end()) {
            element.isNode = true;
            element.node = addNode(known->kind, outer.node);
        } else if (tag == "Group") {
            element.isNode = true;
        } else {
            element.property.tag = tag;
            readAttributes(element);
        }
    }

    [[nodiscard]] NodeId addNode(NodeKind kind, NodeId parent) {
        const NodeId id = tree_.size();
        DescriptionNode node;
        node.kind = kind;
        node.parent = parent;
        node.name = attribute("Name");
        if (parent != kNoNode)
            tree_.nodes_[static_cast<std::size_t>(parent)].children.push_back(id);
        tree_.nodes_.push_back(std::move(node));
        return id;
    }

    void readAttributes(Element& element) {
        if (xmlTextReaderHasAttributes(reader_.get()) != 1 || element.node == kNoNode) return;
        element.property.label = attribute("Index");
        if (element.property.label.empty()) element.property.label = attribute("Name");
        if (std::string offset = attribute("pOffset"); !offset.empty())
            addProperty(element.node, {"pOffset", std::move(offset), {}, kNoNode});
    }

    void close() {
        Element& element = open_.back();
        if (!element.isNode && !element.isSkipped && element.node != kNoNode)
            addProperty(element.node, std::move(element.property));
        open_.pop_back();
    }

    void addProperty(NodeId node, NodeProperty property) {
        tree_.nodes_[static_cast<std::size_t>(node)].properties.push_back(std::move(property));
    }

    [[nodiscard]] std::string attribute(const char* name) {
        const std::unique_ptr<xmlChar, FreeText> value(
            xmlTextReaderGetAttribute(reader_.get(), reinterpret_cast<const xmlChar*>(name)));
        return std::string(view(value.get()));
    }

    std::unique_ptr<xmlTextReader, FreeReader> reader_;
    std::string error_;
    std::string fault_;
    std::vector<Element> open_;
    DescriptionTree tree_;
};

void DescriptionTree::resolve() {
    for (NodeId id = 0; id < size(); ++id) {
        const DescriptionNode& node = nodes_[static_cast<std::size_t>(id)];
        // An entry is known by its enumeration alone: many are called "On".
        if (node.kind != NodeKind::enumEntry && !node.name.empty()) byName_[node.name] = id;
    }
    for (DescriptionNode& node : nodes_) {
        for (NodeProperty& property : node.properties) {
            property.text = std::string(trimmed(property.text));
            if (isReference(property.tag)) property.target = find(property.text);
        }
    }
}

std::optional<DescriptionTree> DescriptionTree::parse(std::string_view xml, std::string& reason) {
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    if (xml.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        reason = "it is too large";
        return std::nullopt;
    }
    return DescriptionReader(xml).run(reason);
}

}  // namespace Vorda::Gige
