// SPDX-License-Identifier: Apache-2.0
//
// GenICam descriptions out of the fuzzer's bytes: nodes of every kind that refer to each other in
// every way, most of them such that they can be evaluated.
#pragma once

#include "FuzzInput.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestro::fuzz {

class DescriptionMaker {
 public:
    struct Node {
        std::string tag;
        std::string name;
    };

    explicit DescriptionMaker(Choices& choices) : choices_(choices) {}

    std::string make() {
        const std::size_t count = 1 + choices_.below(8);
        const bool isOld = choices_.below(8) == 0;
        xml_ =
            "<RegisterDescription ModelName=\"M\" VendorName=\"V\" SchemaMajorVersion=\"1\" "
            "SchemaMinorVersion=\"" +
            std::string(isOld ? "0" : "1") + "\" SchemaSubMinorVersion=\"0\">";
        addRoot(count);
        for (std::size_t i = 0; i < count; ++i) addNode(i);
        addFlag();
        // What must not be divided by each other.
        xml_ +=
            "<Integer Name=\"Least\"><Value>-9223372036854775808</Value></Integer>"
            "<Integer Name=\"MinusOne\"><Value>-1</Value></Integer>";
        xml_ += R"(<Port Name="P"/><Port Name="C"><ChunkID>80000000</ChunkID></Port>)"
                R"(<Port Name="E"><EventID>9001</EventID></Port></RegisterDescription>)";
        return xml_;
    }
    /** The nodes at the top, without the category at the root and the ports. */
    [[nodiscard]] const std::vector<Node>& nodes() const { return nodes_; }

 private:
    static constexpr const char* kTags[] = {
        "IntReg",     "Integer",  "Enumeration", "MaskedIntReg", "StructReg", "IntSwissKnife",
        "SwissKnife", "Float",    "Converter",   "IntConverter", "FloatReg",  "Boolean",
        "Command",    "Category", "String",      "StringReg",    "Register",  "IntReg"};
    static constexpr const char* kReferences[] = {
        "pValue",   "pValue",    "pValue",       "pAddress",      "pLength",       "pMin",
        "pMax",     "pInc",      "pPort",        "pIsAvailable",  "pIsLocked",     "pIsImplemented",
        "pFeature", "pSelected", "pInvalidator", "pCommandValue", "pValueDefault", "pError"};
    static constexpr const char* kNumberTags[] = {
        "Value",       "Address",      "Length",  "Min",     "Max",      "Inc",
        "LSB",         "MSB",          "Bit",     "OnValue", "OffValue", "CommandValue",
        "PollingTime", "ValueDefault", "ChunkID", "Oddity"};
    static constexpr const char* kNumbers[] = {"0",
                                               "1",
                                               "2",
                                               "4",
                                               "8",
                                               "16",
                                               "0x10",
                                               "-1",
                                               "31",
                                               "3",
                                               "63",
                                               "64",
                                               "1.5",
                                               "",
                                               " 7 ",
                                               "x",
                                               "99999999999999999999",
                                               "-9223372036854775808"};
    static constexpr const char* kLengths[] = {"4", "4", "4", "8", "2", "1", "16"};
    static constexpr const char* kWordTags[] = {"Sign",       "Endianess",     "AccessMode",
                                                "Visibility", "Streamable",    "Unit",
                                                "Cachable",   "Representation"};
    static constexpr const char* kWords[] = {"Signed", "Unsigned", "BigEndian", "LittleEndian",
                                             "RO",     "RW",       "WO",        "Guru",
                                             "Yes",    " RW ",     "dB",        "NoCache"};
    static constexpr const char* kFormulas[] = {
        "X",          "X + 1",    "X / Y",    "X / Y",     "X % Y",       "X % Y", "FROM",
        "TO",         "TO / X",   "X &gt; 2", "1 / 0",     "(X",          "",      "X &lt;&lt; 4",
        "neg(X) % 3", "FROM * 2", "sqrt(X)",  "X ? Y : 1", "X<!-- -->+Y", " 5 "};

    std::string someName() {
        static constexpr const char* kOthers[] = {"Flag", "Least", "MinusOne"};
        const std::size_t which = choices_.below(12);
        return which >= 9 ? kOthers[which - 9] : "N" + std::to_string(which);
    }
    void element(const std::string& tag, const std::string& text, const std::string& label = "") {
        xml_ += "<" + tag + (label.empty() ? "" : " " + label) + ">" + text + "</" + tag + ">";
    }

    void addRoot(std::size_t count) {
        xml_ += "<Category Name=\"Root\">";
        for (std::size_t i = 0; i < count; ++i) element("pFeature", "N" + std::to_string(i));
        xml_ += "</Category>";
    }
    /** As a variable of a formula, it stands for the number behind it, or for itself. */
    void addFlag() {
        xml_ += "<Boolean Name=\"Flag\">";
        if (choices_.below(4) != 0) element("pValue", someName());
        if (choices_.below(4) == 0) element("OnValue", "7");
        xml_ += "</Boolean>";
    }
    void addNode(std::size_t index) {
        const std::string tag = choices_.oneOf(kTags);
        // Now and then there are two of one name.
        const std::string name = choices_.below(16) == 0 ? someName() : "N" + std::to_string(index);
        const bool isGrouped = choices_.below(16) == 0;
        if (isGrouped) xml_ += "<Group Comment=\"c\">";
        nodes_.push_back({tag, name});
        xml_ += "<" + tag + " Name=\"" + name + "\">";
        addUsual(tag);
        for (std::size_t left = choices_.below(5); left-- > 0;) addProperty();
        xml_ += "</" + tag + ">";
        if (isGrouped) xml_ += "</Group>";
    }
    /** What a node of this kind needs to have a value. */
    void addUsual(const std::string& tag) {
        if (choices_.below(16) == 0) return;
        if (tag.find("Reg") != std::string::npos) {
            element("Address", std::to_string(choices_.below(64)));
            element("Length", choices_.oneOf(kLengths));
            static constexpr const char* kPorts[] = {"P", "P", "C", "E"};
            element("pPort", choices_.oneOf(kPorts));
            element("AccessMode", "RW");
            if (tag == "StructReg") addEntries("StructEntry");
        } else if (tag == "Enumeration") {
            addEntries("EnumEntry");
            element("pValue", someName());
        } else if (tag.find("Knife") != std::string::npos) {
            element("pVariable", choices_.flag() ? "Least" : someName(), "Name=\"X\"");
            element("pVariable", choices_.flag() ? "MinusOne" : someName(), "Name=\"Y\"");
            element("Formula", choices_.oneOf(kFormulas));
        } else if (tag.find("Converter") != std::string::npos) {
            element("FormulaTo", choices_.oneOf(kFormulas));
            element("FormulaFrom", choices_.oneOf(kFormulas));
            element("pValue", someName());
        } else if (choices_.flag()) {
            element("pValue", someName());
        } else {
            element("Value", choices_.oneOf(kNumbers));
        }
    }
    void addEntries(const std::string& tag) {
        for (std::size_t i = 0, count = choices_.below(4); i < count; ++i) {
            xml_ += "<" + tag + " Name=\"" + "E" + std::to_string(i) + "\">";
            element(tag == "EnumEntry" ? "Value" : "Bit", choices_.oneOf(kNumbers));
            xml_ += "</" + tag + ">";
        }
    }
    void addProperty() {
        switch (choices_.below(10)) {
            case 0:
            case 1:
                return element(choices_.oneOf(kReferences), someName());
            case 2:
                return element(choices_.oneOf(kReferences), "\n " + someName() + "<!-- c --> ");
            case 3:
                return element(choices_.oneOf(kNumberTags), choices_.oneOf(kNumbers));
            case 4:
                return element(choices_.oneOf(kWordTags), choices_.oneOf(kWords));
            case 5:
                return addIndex();
            case 6:
                return element("pVariable", someName(), "Name=\"Y\"");
            case 7:
                element("IntSwissKnife", "<Formula>" + std::string(choices_.oneOf(kFormulas)) +
                                             "</Formula><pVariable Name=\"X\">" + someName() +
                                             "</pVariable>");
                return;
            case 8:
                return element("Extension", "<" + someName() + "/>");
            default:
                return element("Formula", choices_.oneOf(kFormulas));
        }
    }
    void addIndex() {
        switch (choices_.below(4)) {
            case 0:
                return element("pIndex", someName(), "Offset=\"4\"");
            case 1:
                return element("pIndex", someName(), "pOffset=\"" + someName() + "\"");
            case 2:
                return element("ValueIndexed", choices_.oneOf(kNumbers), "Index=\"1\"");
            default:
                return element("pValueIndexed", someName(), "Index=\"0\"");
        }
    }

    Choices& choices_;
    std::string xml_;
    std::vector<Node> nodes_;
};

}  // namespace kestro::fuzz
