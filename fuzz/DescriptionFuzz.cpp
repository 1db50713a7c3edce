// SPDX-License-Identifier: Apache-2.0
//
// GenICam descriptions before the node map sees them: what the check lets pass must be whole, free
// of circles, and of lengths of a size. The first byte chooses whether the others are its text, or
// choices of its nodes.
#include "DescriptionCheck.h"
#include "DescriptionMaker.h"
#include "FuzzInput.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace kestro::fuzz;
using namespace Vorda::Gige;
using kestro::fuzz::ByteView;

/** The nodes whose values a node's value needs, as the node map goes to them. */
std::vector<NodeId> neededBy(const DescriptionTree& tree, NodeId id) {
    std::vector<NodeId> needed;
    const DescriptionNode& node = tree[id];
    for (const NodeProperty& property : node.properties) {
        if (property.target != kNoNode && isValueReference(property.tag))
            needed.push_back(property.target);
    }
    for (const NodeId child : node.children) {
        const NodeKind kind = tree[child].kind;
        if (kind != NodeKind::structEntry && kind != NodeKind::enumEntry) needed.push_back(child);
    }
    if (node.kind == NodeKind::structEntry && node.parent != kNoNode) needed.push_back(node.parent);
    return needed;
}

/** How deep the node map goes; it may do so at most 128 levels. */
int depthOf(const DescriptionTree& tree, NodeId id, std::vector<int>& known, int level) {
    KESTRO_EXPECT(level <= 128);
    int& depth = known[static_cast<std::size_t>(id)];
    if (depth != 0) return depth;
    int deepest = 0;
    for (const NodeId each : neededBy(tree, id))
        deepest = std::max(deepest, depthOf(tree, each, known, level + 1));
    return depth = deepest + 1;
}

void checkProperty(const DescriptionTree& tree, const NodeProperty& property) {
    static_cast<void>(property.integer());
    static_cast<void>(property.number());
    const NodeId expected = isReference(property.tag) ? tree.find(property.text) : kNoNode;
    KESTRO_EXPECT(property.target == expected);
    KESTRO_EXPECT(property.text.empty() ||
                  (property.text.front() != ' ' && property.text.back() != '\n'));
}

void checkNode(const DescriptionTree& tree, NodeId id) {
    const DescriptionNode& node = tree[id];
    KESTRO_EXPECT(node.parent >= kNoNode && node.parent < id);
    for (const NodeId child : node.children) KESTRO_EXPECT(tree[child].parent == id);
    for (const NodeProperty& property : node.properties) checkProperty(tree, property);
    if (const NodeProperty* const length = node.property("Length")) {
        KESTRO_EXPECT(node.text("Length") == length->text);
        const std::int64_t bytes =
            length->text.starts_with("0x") ? length->integer() : std::stoll(length->text);
        KESTRO_EXPECT(bytes > 0 && bytes <= 16 << 20);
    }
    if (node.kind == NodeKind::enumEntry || node.name.empty()) return;
    const NodeId found = tree.find(node.name);
    KESTRO_EXPECT(found >= id && tree[found].name == node.name);
    KESTRO_EXPECT(node.target("pNothing") == kNoNode && node.text("Nothing").empty());
    static_cast<void>(node.isRegister());
}

std::shared_ptr<const CheckedDescription> checked(const std::string& xml) {
    std::string reason;
    const auto description = CheckedDescription::make(xml, reason);
    KESTRO_EXPECT((description == nullptr) == !reason.empty());
    if (!description) return nullptr;
    KESTRO_EXPECT(description->text() == xml);
    const DescriptionTree& tree = description->tree();
    std::vector<int> depths(static_cast<std::size_t>(tree.size()));
    for (NodeId id = 0; id < tree.size(); ++id) {
        checkNode(tree, id);
        static_cast<void>(depthOf(tree, id, depths, 1));
    }
    return description;
}

/** The tree must have the nodes that were put in; cut anywhere, the text is no description. */
void checkMade(Choices& choices) {
    DescriptionMaker maker(choices);
    const std::string xml = maker.make();
    const std::size_t cut = choices.byte();
    const auto description = checked(xml);
    if (!description) return;
    const DescriptionTree& tree = description->tree();
    std::size_t next = 0;
    for (NodeId id = 0; id < tree.size() && next < maker.nodes().size(); ++id) {
        if (tree[id].parent == kNoNode && tree[id].name == maker.nodes()[next].name) ++next;
    }
    KESTRO_EXPECT(next == maker.nodes().size());
    std::string reason;
    const std::string part = xml.substr(0, xml.size() - 1 - cut % xml.size());
    KESTRO_EXPECT(!CheckedDescription::make(part, reason));
}

/** A row of nodes, each of which needs the next one, or the one before; too long a row is refused.
 */
void checkRow(Choices& choices) {
    const std::size_t length = choices.byte();
    const bool isBackwards = choices.flag();
    const bool isCircle = choices.flag();
    const bool isDoubled = choices.flag();
    std::string xml = "<RegisterDescription>";
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t place = isBackwards ? length - 1 - i : i;
        const std::string next = std::to_string(place + 1 == length && isCircle ? 0 : place + 1);
        const std::string reference = "<pValue>N" + next + "</pValue>";
        const std::string variable = "<pVariable Name=\"X\">N" + next + "</pVariable>";
        xml += "<Integer Name=\"N" + std::to_string(place) + "\">" + reference +
               (isDoubled ? variable : "") + "</Integer>";
    }
    const bool isPassed = checked(xml + "</RegisterDescription>") != nullptr;
    if (isCircle) KESTRO_EXPECT(isPassed == (length == 0));
    if (!isCircle && !isDoubled) KESTRO_EXPECT(isPassed == (length <= 128));
    if (isDoubled && length > 20) KESTRO_EXPECT(!isPassed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.byte()) {
        case 0:
            checkMade(choices);
            break;
        case 1:
            checkRow(choices);
            break;
        default: {
            const ByteView text(data, size);
            checked({text.begin(), text.end()});
            break;
        }
    }
    return 0;
}
