// SPDX-License-Identifier: Apache-2.0
//
// Descriptions that cameras get wrong, or that mean harm: each is a clear error or a neutral
// answer, and never the end of the process.
#include "Checked.h"
#include "Features.h"
#include "LastError.h"
#include "MemoryPort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace Vorda::Gige {
namespace {

using kestro::test::checked;
using kestro::test::MemoryPort;
using testing::ElementsAre;
using Names = std::vector<std::string>;

constexpr std::uint64_t kLengthRegister = 0x14;

std::string registerNode(const char* kind, const char* name, const std::string& more) {
    return std::string("<") + kind + " Name=\"" + name + "\">" + more +
           "<AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess></" +
           kind + ">";
}

std::string trapsDescription() {
    const std::string reg = "<Address>0x10</Address><Length>4</Length>";
    std::string xml = R"(<?xml version="1.0"?>
<RegisterDescription ModelName="Traps" VendorName="Test" ToolTip="t" StandardNameSpace="None"
  SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
  MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ProductGuid="0" VersionGuid="0"
  xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Category Name="Root"><pFeature>Circle</pFeature><pFeature>Void</pFeature></Category>
  <Category Name="Circle"><pFeature>Root</pFeature><pFeature>Circle</pFeature></Category>
  <Oddity Name="Odd"><Integer Name="InOdd"><Value>1</Value></Integer></Oddity>
  <g:Integer xmlns:g="urn:g" Name="Foreign"><Value>1</Value></g:Integer>
  <Integer Name="ForeignValue"><g:pValue xmlns:g="urn:g">Reg</g:pValue></Integer>
  <Integer Name="Lost"><pValue>Nowhere</pValue></Integer>
  <Integer Name="LostBelow"><pValue>Lost</pValue></Integer>
  <Integer Name="LostMax"><pValue>Reg</pValue><pMax>Nowhere</pMax></Integer>
  <Integer Name="LimitOfLost"><pValue>Reg</pValue><pMax>Lost</pMax></Integer>
  <Integer Name="LostLock"><pValue>Reg</pValue><pIsLocked>Nowhere</pIsLocked></Integer>
  <Integer Name="LostState"><pValue>Reg</pValue><pIsAvailable>Nowhere</pIsAvailable></Integer>
  <Integer Name="Empty"/>
  <Float Name="EmptyFloat"/>
  <Boolean Name="EmptyBoolean"/>
  <String Name="EmptyText"/>
  <Enumeration Name="EmptyEnum"><EnumEntry Name="On"/></Enumeration>
  <Command Name="EmptyCommand"/>
  <Command Name="NoValueCommand"><pValue>Reg</pValue></Command>
  <Converter Name="EmptyConverter"/>
  <SwissKnife Name="EmptyFormula"/>
  <Integer Name="OfText"><pValue>Text</pValue></Integer>
  <Integer Name="OfCategory"><pValue>Root</pValue></Integer>
  <String Name="TextOfNumber"><pValue>Reg</pValue></String>
  <IntSwissKnife Name="ByZero"><pVariable Name="R">Reg</pVariable><Formula>1 / R</Formula></IntSwissKnife>
  <IntSwissKnife Name="Nonsense"><Formula>(((1 +</Formula></IntSwissKnife>
  <IntSwissKnife Name="OfBoolean"><pVariable Name="B">Flag</pVariable><Formula>B + 1</Formula></IntSwissKnife>
  <IntSwissKnife Name="OfOddBoolean"><pVariable Name="B">OddFlag</pVariable><Formula>B</Formula></IntSwissKnife>
  <Boolean Name="Flag"><pValue>One</pValue></Boolean>
  <Boolean Name="OddFlag"><pValue>One</pValue><OnValue>7</OnValue></Boolean>
  <Integer Name="One"><Value>1</Value></Integer>
  <Integer Name="Spaced"><pValue>
    One
  </pValue></Integer>
  <Integer Name="Indexed"><pIndex>Reg</pIndex><pValueIndexed Index="0">One</pValueIndexed><ValueIndexed Index="1">5</ValueIndexed></Integer>
  <Integer Name="LostIndexed"><pIndex>Reg</pIndex><pValueIndexed Index="0">Nowhere</pValueIndexed></Integer>
  <Enumeration Name="Choice"><EnumEntry Name="NoValue"/><EnumEntry Name="Yes"><Value>1</Value></EnumEntry><pValue>Reg</pValue></Enumeration>
  <Integer Name="NoStep"><pValue>Reg</pValue><Inc>0</Inc></Integer>
  <Integer Name="Inverse"><pValue>Reg</pValue><Min>9</Min><Max>1</Max></Integer>
  <Integer Name="LengthReg"><pValue>LengthRegister</pValue></Integer>
  <IntSwissKnife Name="Quotient"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>A / B</Formula></IntSwissKnife>
  <IntSwissKnife Name="QuotientOfTerms"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>(0 + A*1/neg(-(B)/1))*1 + 0/3</Formula></IntSwissKnife>
  <IntSwissKnife Name="Remainder"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>A %<!-- or so -->B</Formula></IntSwissKnife>
  <SwissKnife Name="FloatRemainder"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>A % (B * 1.0)</Formula></SwissKnife>
  <IntConverter Name="ConvertedRemainder"><pVariable Name="B">B</pVariable><FormulaTo>FROM</FormulaTo><FormulaFrom>TO % (B * 0.5)</FormulaFrom><pValue>A</pValue></IntConverter>
  <IntSwissKnife Name="MissingOperators"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>1 % 2 A B</Formula></IntSwissKnife>
  <IntSwissKnife Name="NumberThenName"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>1 % 2A(B)</Formula></IntSwissKnife>
  <IntSwissKnife Name="Commas"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>(1 % (A, 1, B, 0))</Formula></IntSwissKnife>
  <IntSwissKnife Name="BareFunction"><pVariable Name="A">A</pVariable><pVariable Name="B">B</pVariable><Formula>A % neg -(neg(B))</Formula></IntSwissKnife>
  <Port Name="Device"/>
)";
    xml += registerNode("IntReg", "Reg", reg);
    xml += registerNode("IntReg", "LengthRegister",
                        "<Address>0x14</Address><Length>4</Length><Sign>Signed</Sign>");
    xml +=
        registerNode("IntReg", "A", "<Address>0x40</Address><Length>8</Length><Sign>Signed</Sign>");
    xml +=
        registerNode("IntReg", "B", "<Address>0x48</Address><Length>8</Length><Sign>Signed</Sign>");
    xml += registerNode("StringReg", "Text", "<Address>0x20</Address><Length>8</Length>");
    xml += registerNode("StringReg", "LongText",
                        "<Address>0x20</Address><pLength>LengthReg</pLength>");
    xml += registerNode("FloatReg", "LongFloat",
                        "<Address>0x20</Address><pLength>LengthReg</pLength>");
    xml += registerNode("IntReg", "LongInt", "<Address>0x20</Address><pLength>LengthReg</pLength>");
    xml += registerNode("IntReg", "LostOffset", reg + "<pIndex pOffset=\"Nowhere\">One</pIndex>");
    xml += registerNode("IntReg", "LostAddress", "<pAddress>Nowhere</pAddress><Length>4</Length>");
    xml += registerNode("IntReg", "WideInt", "<Address>0x20</Address><Length>9</Length>");
    xml += registerNode("IntReg", "TLParamsLocked",
                        "<Address>0x20</Address><pLength>LengthReg</pLength>");
    xml += registerNode("MaskedIntReg", "Backwards", reg + "<LSB>4</LSB><MSB>9</MSB>");
    xml += registerNode("MaskedIntReg", "Outside", reg + "<Bit>32</Bit>");
    xml += "<IntReg Name=\"Portless\">" + reg + "</IntReg>";
    xml += "<IntReg Name=\"LostPort\">" + reg + "<pPort>Nowhere</pPort></IntReg>";
    xml += "<StructEntry Name=\"Stray\"><Bit>1</Bit></StructEntry>";
    return xml + "</RegisterDescription>";
}

class FeatureTraps : public testing::Test {
 protected:
    void SetUp() override {
        FeatureSources sources;
        sources.camera = camera;
        sources.description = checked(trapsDescription());
        features = Features::make(sources);
        ASSERT_TRUE(features) << lastErrorMessage();
    }
    std::string text(const std::string& name) const {
        std::string value;
        return features->getText(name, value) ? value : lastErrorMessage();
    }

    std::shared_ptr<MemoryPort> camera = std::make_shared<MemoryPort>();
    std::shared_ptr<Features> features;
};

TEST_F(FeatureTraps, HaveTextsOfTheirOwn) {
    const std::pair<const char*, const char*> texts[] = {
        {"Lost", "Lost: refers to Nowhere, which does not exist"},
        {"LostBelow", "LostBelow: Lost refers to Nowhere, which does not exist"},
        {"LostState", "LostState: refers to Nowhere, which does not exist"},
        {"LostOffset", "LostOffset: refers to Nowhere, which does not exist"},
        {"LostAddress", "LostAddress: refers to Nowhere, which does not exist"},
        {"LostIndexed", "LostIndexed: refers to Nowhere, which does not exist"},
        {"LostPort", "LostPort: refers to Nowhere, which does not exist"},
        {"Portless", "Portless: is in no port"},
        {"Stray", "Stray: is in no register"},
        {"Empty", "Empty: has no value"},
        {"EmptyFloat", "EmptyFloat: has no value"},
        {"EmptyBoolean", "EmptyBoolean: has no value"},
        {"EmptyText", "EmptyText: has no value"},
        {"EmptyEnum", "EmptyEnum: has no value"},
        {"EmptyConverter", "EmptyConverter: has no formula"},
        {"EmptyFormula", "EmptyFormula: has no formula"},
        {"OfText", "OfText: refers to Text, which has no such value"},
        {"OfCategory", "OfCategory: refers to Root, which has no such value"},
        {"TextOfNumber", "TextOfNumber: refers to Reg, which has no such value"},
        {"OfOddBoolean", "OfOddBoolean: refers to OddFlag, which is no number"},
        {"Nonsense", "Nonsense: has a formula that makes no sense"},
        {"Backwards", "Backwards: has its bits in the wrong order"},
        {"WideInt", "WideInt: is too long for a number"},
        {"Outside", "Outside: has bits outside of its register"},
        {"Foreign", "Foreign: there is no such feature"},
        {"ForeignValue", "ForeignValue: has no value"},
        {"InOdd", "InOdd: there is no such feature"},
        {"Choice", "Choice: no entry has the value 0"},
        // The node map's formulas count as 0 where they cannot tell.
        {"ByZero", "0"},
        {"OfBoolean", "2"},
        {"Spaced", "1"},
        {"Indexed", "1"},
        {"LostMax", "0"},
        {"LostLock", "0"}};
    for (const auto& [name, expected] : texts) {
        EXPECT_EQ(expected, text(name));
        if (features->kind(name) == FeatureKind::enumeration) continue;
        const bool isReadable = std::string(expected).find(name) != 0;
        EXPECT_EQ(isReadable, features->isReadable(name)) << name;
    }
    camera->setNumber(0x10, 1);
    EXPECT_EQ("5", text("Indexed"));
    camera->setNumber(0x10, 2);
    EXPECT_EQ("Indexed: has no value for index 2", text("Indexed"));
}

TEST_F(FeatureTraps, AreNotWritten) {
    const std::pair<const char*, const char*> texts[] = {
        {"Lost", "Lost: refers to Nowhere, which does not exist"},
        {"LostMax", "LostMax: refers to Nowhere, which does not exist"},
        {"LimitOfLost", "LimitOfLost: refers to Nowhere, which does not exist"},
        {"LostLock", "LostLock: refers to Nowhere, which does not exist"},
        {"Empty", "Empty: has no value"},
        {"Inverse", "Inverse 1: below the minimum 9"},
        {"Backwards", "Backwards: has its bits in the wrong order"}};
    for (const auto& [name, expected] : texts) {
        EXPECT_FALSE(features->setInteger(name, 1)) << name;
        EXPECT_EQ(expected, lastErrorMessage());
    }
    EXPECT_FALSE(features->execute("EmptyCommand"));
    EXPECT_EQ("EmptyCommand: has nothing to write to", lastErrorMessage());
    EXPECT_FALSE(features->execute("NoValueCommand"));
    EXPECT_EQ("NoValueCommand: has no value to write", lastErrorMessage());
    EXPECT_FALSE(features->setBoolean("EmptyBoolean", true));
    EXPECT_FALSE(features->setEnumeration("Choice", "NoValue"));
    EXPECT_EQ("Choice NoValue: no such entry (Yes)", lastErrorMessage());
    EXPECT_EQ(0, camera->writes());
    EXPECT_TRUE(features->setInteger("NoStep", 7)) << lastErrorMessage();
}

TEST_F(FeatureTraps, OfLengthAreNotAllocated) {
    for (const std::int32_t length : {-1, 0, 0x7fffffff, 16 * 1024 * 1024 + 1}) {
        camera->setNumber(kLengthRegister, static_cast<std::uint32_t>(length));
        for (const char* name : {"LongText", "LongFloat", "LongInt"}) {
            EXPECT_EQ(
                std::string(name) + ": " + name + " is " + std::to_string(length) + " bytes long",
                text(name));
            EXPECT_FALSE(features->setText(name, "1"));
        }
    }
    EXPECT_EQ(0, camera->writes());
    camera->setNumber(kLengthRegister, 9);
    EXPECT_EQ("LongInt: LongInt is 9 bytes long", text("LongInt"));
    camera->setNumber(kLengthRegister, 8);
    camera->set(0x20, "eight");
    EXPECT_EQ("eight", text("LongText"));
}

/** Says another length each time that it is asked. */
class FickleCamera final : public RegisterPort {
 public:
    bool readRegister(std::uint64_t, std::uint32_t&) override { return false; }
    bool writeRegister(std::uint64_t, std::uint32_t) override { return false; }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        std::ranges::fill(data, std::uint8_t{0});
        if (address == kLengthRegister) data.back() = ++answers_ % 2 == 0 ? 1 : 4;
        return true;
    }
    bool writeMemory(std::uint64_t, ByteView data) override {
        written_ = data.size();
        return true;
    }
    [[nodiscard]] std::size_t written() const { return written_; }

 private:
    int answers_ = 0;
    std::size_t written_ = 0;
};

TEST(FeaturesOfAFickleCamera, KeepToTheLengthThatWasChecked) {
    FeatureSources sources;
    const auto camera = std::make_shared<FickleCamera>();
    sources.camera = camera;
    sources.description = checked(trapsDescription());
    const auto features = Features::make(sources);
    ASSERT_TRUE(features) << lastErrorMessage();
    features->lockTransport(true);
    EXPECT_EQ(4u, camera->written());
    EXPECT_TRUE(features->setInteger("LongInt", 1)) << lastErrorMessage();
    EXPECT_EQ(1u, camera->written());
}

TEST_F(FeatureTraps, OfDivisionDoNotEndTheProcess) {
    struct Division {
        std::int64_t dividend;
        std::int64_t divisor;
        const char* quotient;
        const char* remainder;
    };
    const Division divisions[] = {{7, 2, "3", "1"},
                                  {-7, 2, "-3", "-1"},
                                  {7, -1, "-7", "0"},
                                  {-7, -3, "2", "-1"},
                                  {INT64_MIN, 2, "-4611686018427387904", "0"},
                                  {INT64_MIN, -1, "-9223372036854775808", "0"}};
    for (const Division& each : divisions) {
        camera->setNumber(0x40, static_cast<std::uint64_t>(each.dividend), 8);
        camera->setNumber(0x48, static_cast<std::uint64_t>(each.divisor), 8);
        EXPECT_EQ(each.quotient, text("Quotient"));
        EXPECT_EQ(each.quotient, text("QuotientOfTerms"));
        EXPECT_EQ(each.remainder, text("Remainder"));
        EXPECT_EQ(each.remainder, text("FloatRemainder"));
    }
}

TEST_F(FeatureTraps, OfMalformedDivisionsAreNoValue) {
    camera->setNumber(0x40, static_cast<std::uint64_t>(INT64_MIN), 8);
    for (const std::int64_t divisor : {-1, 1}) {
        camera->setNumber(0x48, static_cast<std::uint64_t>(divisor), 8);
        for (const char* name : {"MissingOperators", "NumberThenName", "Commas", "BareFunction"})
            EXPECT_EQ(std::string(name) + ": has a formula that makes no sense", text(name));
    }
    // A converter counts in floats, and cuts what it divides by.
    camera->setNumber(0x48, static_cast<std::uint64_t>(-3), 8);
    EXPECT_EQ("0", text("ConvertedRemainder"));
}

TEST_F(FeatureTraps, DoNotListWithoutEnd) {
    Names names;
    EXPECT_TRUE(features->getChildren("Circle", names));
    EXPECT_THAT(names, ElementsAre("Root", "Circle"));
    EXPECT_TRUE(features->polled().empty());
    EXPECT_TRUE(features->persistent().empty());
    EXPECT_FALSE(features->has("Void"));
    EXPECT_TRUE(features->setInteger("Reg", 1)) << lastErrorMessage();
}

}  // namespace
}  // namespace Vorda::Gige
