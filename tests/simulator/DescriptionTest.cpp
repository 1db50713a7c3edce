// SPDX-License-Identifier: Apache-2.0
#include "Description.h"

#include "ChunkDescription.h"
#include "RegisterTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kestrosim {
namespace {

/** A node of the description: its kind and the text between its tags. */
struct Node {
    std::string kind;
    std::string text;

    /** The content of each element of that name, with attributes or without. */
    [[nodiscard]] std::vector<std::string> all(const std::string& element) const {
        std::vector<std::string> contents;
        for (std::size_t at = 0; (at = text.find('<' + element, at)) != std::string::npos; ++at) {
            const char after = text[at + element.size() + 1];
            if (after != '>' && after != ' ') continue;
            const std::size_t begin = text.find('>', at) + 1;
            contents.push_back(text.substr(begin, text.find("</", begin) - begin));
        }
        return contents;
    }
    [[nodiscard]] std::string one(const std::string& element) const {
        const auto contents = all(element);
        return contents.size() == 1 ? contents.front() : "";
    }
    [[nodiscard]] std::uint32_t number(const std::string& element) const {
        return static_cast<std::uint32_t>(std::stoul(one(element), nullptr, 0));
    }
};

using Nodes = std::map<std::string, Node>;

/** The nodes by name. A structure stands under its comment, its entries under their names too. */
Nodes nodesOf(const std::string& description) {
    Nodes nodes;
    for (std::size_t at = 0; (at = description.find('<', at)) != std::string::npos; ++at) {
        const std::size_t tagEnd = description.find('>', at);
        const std::string tag = description.substr(at + 1, tagEnd - at - 1);
        const std::string kind = tag.substr(0, tag.find(' '));
        const bool isStructure = kind == "StructReg";
        const std::string key = isStructure ? " Comment=\"" : " Name=\"";
        const std::size_t name = tag.find(key);
        if (name == std::string::npos || kind == "EnumEntry" || kind == "pVariable") continue;
        const std::size_t begin = name + key.size();
        const std::size_t end = description.find("</" + kind + ">", tagEnd);
        nodes[tag.substr(begin, tag.find('"', begin) - begin)] = {
            kind, description.substr(tagEnd + 1, end - tagEnd - 1)};
    }
    return nodes;
}

const Nodes& written() {
    static const Nodes kNodes = nodesOf(writtenDescription());
    return kNodes;
}

/** A register of the table, and the one in its row, that an address lies in; the later one holds.
 */
const Register* registerAt(std::uint32_t address) {
    const Register* found = nullptr;
    forEachRegister([&](std::uint32_t begin, const Register& entry) {
        if (address >= begin && address < begin + entry.size) found = &entry;
    });
    return found;
}

bool isOfDevice(const Node& node) { return node.one("pPort") == "Device"; }

TEST(CameraDescription, NamesTheRegistersThatTheCameraHas) {
    for (const auto& [name, node] : written()) {
        if (!isOfDevice(node)) continue;
        const std::uint32_t address = node.number("Address");
        const std::uint32_t length = node.number("Length");
        const Register* const entry = registerAt(address);
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_EQ(registerAt(address + length - 4), entry) << name;
        const bool isWritable = entry->access == Access::readWrite;
        EXPECT_EQ(node.one("AccessMode"), isWritable ? "RW" : "RO") << name;
        EXPECT_EQ(node.kind == "FloatReg", entry->content == Content::real) << name;
        const std::string selector = node.one("pIndex");
        if (entry->count == 1) {
            EXPECT_EQ(selector, "") << name;
            continue;
        }
        EXPECT_NE(node.text.find("Offset=\"" + std::to_string(entry->stride) + '"'),
                  std::string::npos)
            << name;
        EXPECT_EQ(written().at(selector).all("EnumEntry").size(), entry->count) << name;
    }
}

/** Features whose register also takes what they do not: it is rounded. */
const std::set<std::string> kRounded = {"GevHeartbeatTimeout"};

TEST(CameraDescription, GivesFeaturesTheLimitsOfTheirRegisters) {
    int checked = 0;
    for (const auto& [name, node] : written()) {
        const auto target = written().find(node.one("pValue"));
        if (target == written().end() || kRounded.contains(name)) continue;
        const std::string& kind = target->second.kind;
        if (kind != "IntReg" && kind != "FloatReg") continue;
        const Register& entry = *registerAt(target->second.number("Address"));
        if (entry.access == Access::read) continue;
        if (!node.one("Min").empty()) {
            EXPECT_EQ(std::stod(node.one("Min")), entry.lowest) << name;
        }
        if (!node.one("Max").empty()) {
            EXPECT_EQ(std::stod(node.one("Max")), entry.highest) << name;
        }
        for (const std::string& value : node.all("Value")) {
            EXPECT_GE(std::stod(value), entry.lowest) << name;
            EXPECT_LE(std::stod(value), entry.highest) << name;
        }
        ++checked;
    }
    EXPECT_GT(checked, 40);
}

/** The register behind a feature, if there is one. */
std::string registerOf(std::string name) {
    while (!name.empty() && !isOfDevice(written().at(name))) {
        name = written().at(name).one("pValue");
    }
    return name;
}

TEST(CameraDescription, SaysWhichFeaturesBelongToAUserSetAndWhichAreFrozen) {
    std::set<std::string> saved;
    std::set<std::string> streamed;
    for (const auto& [name, node] : written()) {
        const std::string behind = registerOf(name);
        if (node.one("Streamable") == "Yes") streamed.insert(behind);
        if (behind.empty()) continue;
        const Register& entry = *registerAt(written().at(behind).number("Address"));
        if (behind == name) {
            const auto invalidators = node.all("pInvalidator");
            const bool isLoaded = std::count(invalidators.begin(), invalidators.end(),
                                             std::string("UserSetLoad")) != 0;
            EXPECT_TRUE(isLoaded || !entry.isSaved) << name;
            if (entry.isSaved) saved.insert(name);
        } else if (entry.isFrozen && !node.one("Visibility").empty()) {
            const std::string own = node.one("pIsLocked");
            EXPECT_EQ(own.empty() ? written().at(behind).one("pIsLocked") : own, "TLParamsLocked")
                << name;
        }
    }
    EXPECT_EQ(streamed, saved);
}

TEST(CameraDescription, LeavesNoReferenceOpenAndNoFeatureUnexplained) {
    const Nodes nodes = nodesOf(writtenDescription() + chunkDescription());
    for (const auto& [name, node] : written()) {
        for (const char* const reference :
             {"pFeature", "pValue", "pMin", "pMax", "pIndex", "pVariable", "pSelected", "pPort",
              "pInvalidator", "pIsLocked", "pIsAvailable", "pIsImplemented"}) {
            for (const std::string& target : node.all(reference)) {
                EXPECT_EQ(nodes.count(target), 1U) << name << ' ' << reference << ' ' << target;
            }
        }
        for (const std::string& feature : node.all("pFeature")) {
            const Node& described = nodes.at(feature);
            EXPECT_FALSE(described.all("ToolTip").empty()) << feature;
            if (described.kind == "Category") continue;
            EXPECT_FALSE(described.all("Visibility").empty()) << feature;
        }
    }
}

}  // namespace
}  // namespace kestrosim
