// SPDX-License-Identifier: Apache-2.0
#include "PayloadLayout.h"

#include "Descriptions.h"
#include "LastError.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Vorda::Gige;
using kestro::test::checked;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Vorda::Infra::CString;
using Vorda::Infra::TVector;

const char* const kHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<RegisterDescription ModelName="M" VendorName="V" ToolTip="" StandardNameSpace="None"
 SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1"
 MinorVersion="0" SubMinorVersion="0" ProductGuid="1" VersionGuid="1"
 xmlns="http://www.genicam.org/GenApi/Version_1_1">
)";

/** A description of these nodes and of ports for the camera, for two chunks and for an event. */
std::shared_ptr<const CheckedDescription> description(const std::string& nodes) {
    return checked(kHead + nodes + R"(
<Port Name="Device"/>
<Port Name="ChunkPort"><ChunkID>0x8000000A</ChunkID></Port>
<Port Name="OtherPort"><ChunkID>8000000b</ChunkID></Port>
<Port Name="EventPort"><EventID>9001</EventID></Port>
</RegisterDescription>)");
}

std::string category(const std::string& features) {
    std::string text = R"(<Category Name="Root"><pFeature>Chunks</pFeature></Category>)"
                       R"(<Category Name="Chunks">)";
    for (std::size_t at = 0; at < features.size();) {
        const std::size_t end = std::min(features.find(' ', at), features.size());
        text += "<pFeature>" + features.substr(at, end - at) + "</pFeature>";
        at = end + 1;
    }
    return text + "</Category>";
}

/** A register node of `kind`, with further elements. */
std::string reg(const std::string& kind, const std::string& name, int address, int length,
                const std::string& more = "", const std::string& port = "ChunkPort") {
    return "<" + kind + " Name=\"" + name + "\"><Address>" + std::to_string(address) +
           "</Address><Length>" + std::to_string(length) + "</Length><AccessMode>RO</AccessMode>" +
           "<pPort>" + port + "</pPort>" + more + "</" + kind + ">";
}

const std::string kBig = "<Endianess>BigEndian</Endianess>";
const std::string kLittle = "<Endianess>LittleEndian</Endianess>";
const std::string kSigned = "<Sign>Signed</Sign>";

std::vector<std::string> linesOf(const PayloadLayout& layout, std::uint32_t id,
                                 const Bytes& bytes) {
    TVector<CString> lines;
    layout.appendLines(id, bytes, lines);
    std::vector<std::string> texts;
    for (const CString& line : lines) texts.emplace_back(line.data(), line.size());
    return texts;
}

/** The lines of chunk 0x8000000a. */
std::vector<std::string> linesOf(const std::string& nodes, const Bytes& bytes) {
    return linesOf(PayloadLayout(description(nodes)), 0x8000000a, bytes);
}

struct ReadingCase {
    const char* name;
    std::string nodes;  ///< the feature is "A"
    Bytes bytes;
    std::string text;  ///< empty: no line
};

class PayloadLayoutReads : public testing::TestWithParam<ReadingCase> {};

/** The registers that the cases share beside their own. */
std::string sharedRegisters() {
    return reg("IntReg", "B0", 0, 1) + reg("IntReg", "B1", 1, 1) + reg("IntReg", "Q", 0, 8, kBig) +
           reg("IntReg", "D", 0, 1, "", "Device") + reg("IntReg", "O", 0, 1, "", "OtherPort");
}

TEST_P(PayloadLayoutReads, TheValue) {
    const auto lines =
        linesOf(GetParam().nodes + sharedRegisters() + category("A"), GetParam().bytes);
    if (GetParam().text.empty()) {
        EXPECT_THAT(lines, Each(Not(StartsWith("A Value:"))));
    } else {
        ASSERT_THAT(lines, Not(IsEmpty()));
        EXPECT_EQ(lines[0], "A Value:" + GetParam().text);
    }
}

std::string nameOf(const testing::TestParamInfo<ReadingCase>& testCase) {
    return testCase.param.name;
}

std::string integer(const std::string& more) {
    return "<Integer Name=\"A\"><pValue>R</pValue></Integer>" + more;
}

const std::string kEnumeration = R"(<Enumeration Name="A">
    <EnumEntry Name="Late"><Value>7</Value></EnumEntry>
    <EnumEntry Name="QR_CODE"><Value>2</Value></EnumEntry>
    <EnumEntry Name="Again"><Value>2</Value></EnumEntry>
    <pValue>R</pValue></Enumeration>)";

INSTANTIATE_TEST_SUITE_P(
    PayloadLayout, PayloadLayoutReads,
    testing::Values(
        ReadingCase{"BigEndian", integer(reg("IntReg", "R", 1, 4, kBig)), {9, 0, 1, 2, 3}, "66051"},
        ReadingCase{"LittleEndian", reg("IntReg", "A", 0, 2, kLittle), {0x34, 0x12}, "4660"},
        ReadingCase{"Signed", reg("IntReg", "A", 0, 2, kBig + kSigned), {0xff, 0xfe}, "-2"},
        ReadingCase{"Unsigned", reg("IntReg", "A", 0, 4, kBig), Bytes(4, 0xff), "4294967295"},
        ReadingCase{"Wide", reg("IntReg", "A", 0, 8, kBig + kSigned), Bytes(8, 0xff), "-1"},
        // GenICam counts the bits of a big-endian register from the most significant one.
        ReadingCase{"BigEndianBits",
                    reg("MaskedIntReg", "A", 0, 4, "<LSB>15</LSB><MSB>8</MSB>" + kBig),
                    {0x11, 0x22, 0x33, 0x44},
                    "34"},
        ReadingCase{"LittleEndianBits",
                    reg("MaskedIntReg", "A", 0, 4, "<LSB>8</LSB><MSB>15</MSB>" + kLittle),
                    {0x11, 0x22, 0x33, 0x44},
                    "34"},
        ReadingCase{"SignedBits",
                    reg("MaskedIntReg", "A", 0, 1, "<LSB>4</LSB><MSB>6</MSB>" + kLittle + kSigned),
                    {0x6f},
                    "-2"},
        ReadingCase{"OneBit", reg("MaskedIntReg", "A", 0, 1, "<Bit>0</Bit>" + kBig), {0x80}, "1"},
        ReadingCase{"BitsOutside", reg("MaskedIntReg", "A", 0, 1, "<Bit>8</Bit>" + kBig), {1}, ""},
        ReadingCase{"Float", reg("FloatReg", "A", 0, 4, kBig), {0x3d, 0xcc, 0xcc, 0xcd}, "0.1"},
        ReadingCase{
            "Double",
            "<Float Name=\"A\"><pValue>R</pValue></Float>" + reg("FloatReg", "R", 0, 8, kLittle),
            {0, 0, 0, 0, 0, 0, 0x04, 0xc0},
            "-2.5"},
        ReadingCase{"FloatOverInteger",
                    "<Float Name=\"A\"><pValue>R</pValue></Float>" + reg("IntReg", "R", 0, 1),
                    {7},
                    "7"},
        ReadingCase{"IntegerOverFloat",
                    integer(reg("FloatReg", "R", 0, 4, kBig)),
                    {0xc0, 0x60, 0, 0},  // -3.5
                    "-3"},
        ReadingCase{"IntegerOverNoNumber",
                    integer(reg("FloatReg", "R", 0, 4, kBig)),
                    {0x7f, 0xc0, 0, 0},
                    "0"},
        ReadingCase{"Text",
                    "<String Name=\"A\"><pValue>R</pValue></String>" + reg("StringReg", "R", 1, 6),
                    {'-', ' ', ':', 0xff, '\n', 0, 'x'},
                    " :\xff\n"},
        ReadingCase{"FullText", reg("StringReg", "A", 0, 3), {'a', 'b', 'c', 'd'}, "abc"},
        ReadingCase{"True",
                    "<Boolean Name=\"A\"><pValue>R</pValue><OnValue>5</OnValue></Boolean>" +
                        reg("IntReg", "R", 0, 1),
                    {5},
                    "1"},
        ReadingCase{"False",
                    "<Boolean Name=\"A\"><pValue>R</pValue></Boolean>" + reg("IntReg", "R", 0, 1),
                    {0},
                    "0"},
        ReadingCase{"Symbol", kEnumeration + reg("IntReg", "R", 0, 1), {2}, "QR_CODE"},
        ReadingCase{"NoSymbol", kEnumeration + reg("IntReg", "R", 0, 1), {3}, "3"},
        ReadingCase{"Element",
                    reg("IntReg", "A", 2, 2, "<pIndex Offset=\"3\">Selector</pIndex>" + kBig) +
                        "<Integer Name=\"Selector\"><Value>2</Value></Integer>",
                    {0, 0, 0, 0, 0, 0, 0, 0, 1, 2},
                    "258"},
        ReadingCase{"SummedAddress",
                    reg("IntReg", "A", 1, 1,
                        "<IntSwissKnife Name=\"K\"><Formula>1 + 1</Formula></IntSwissKnife>"),
                    {0, 0, 0, 42},
                    "42"},
        ReadingCase{"PartOfAStructure",
                    reg("StructReg", "S", 0, 2,
                        kBig + "<StructEntry Name=\"A\"><LSB>15</LSB><MSB>4</MSB></StructEntry>"),
                    {0x12, 0x34},
                    "564"},
        ReadingCase{"TooLongANumber", reg("IntReg", "A", 0, 16), Bytes(16, 1), ""},
        ReadingCase{"OddFloat", reg("FloatReg", "A", 0, 2), {1, 2}, ""},
        ReadingCase{"Bytes", reg("Register", "A", 0, 2), {1, 2}, ""},
        ReadingCase{"RegisterOfTheCamera", reg("IntReg", "A", 0, 1, "", "Device"), {1}, ""},
        ReadingCase{"RegisterOfAnEvent", reg("IntReg", "A", 0, 1, "", "EventPort"), {1}, ""}),
    nameOf);

std::string knife(const std::string& formula, const std::string& first,
                  const std::string& second = "B1") {
    return "<IntSwissKnife Name=\"K\"><pVariable Name=\"X\">" + first +
           "</pVariable><pVariable Name=\"Y\">" + second + "</pVariable><Formula>" + formula +
           "</Formula></IntSwissKnife><Integer Name=\"A\"><pValue>K</pValue></Integer>";
}

INSTANTIATE_TEST_SUITE_P(
    PayloadLayoutFormulas, PayloadLayoutReads,
    testing::Values(
        ReadingCase{"Integers", knife("X * 256 + Y", "B0"), {2, 3}, "515"},
        ReadingCase{"Floats",
                    "<SwissKnife Name=\"A\"><pVariable Name=\"X\">B0</pVariable>"
                    "<Formula>X / 4.0</Formula></SwissKnife>",
                    {10, 0},
                    "2.5"},
        ReadingCase{"Converter",
                    "<Converter Name=\"A\"><FormulaTo>FROM * 2</FormulaTo>"
                    "<FormulaFrom>TO * 0.5</FormulaFrom><pValue>B0</pValue></Converter>",
                    {5, 0},
                    "2.5"},
        ReadingCase{"IntConverter",
                    "<IntConverter Name=\"A\"><FormulaTo>FROM - 100</FormulaTo>"
                    "<FormulaFrom>TO + 100</FormulaFrom><pValue>B0</pValue></IntConverter>",
                    {5, 0},
                    "105"},
        ReadingCase{"Choice",
                    "<Integer Name=\"A\"><pIndex>B0</pIndex><ValueIndexed Index=\"1\">11"
                    "</ValueIndexed><pValueIndexed Index=\"2\">B1</pValueIndexed>"
                    "<ValueDefault>99</ValueDefault></Integer>",
                    {2, 33},
                    "33"},
        ReadingCase{"MovingRegister",
                    reg("IntReg", "A", 1, 1, "<pAddress>B0</pAddress>"),
                    {3, 0, 0, 0, 77},
                    "77"},
        ReadingCase{"MovingLength",
                    "<StringReg Name=\"A\"><Address>1</Address><pLength>B0</pLength>"
                    "<pPort>ChunkPort</pPort></StringReg>",
                    {2, 'a', 'b', 'c'},
                    "ab"},
        ReadingCase{"MovesOutside",
                    reg("IntReg", "A", 1, 1, "<pAddress>B0</pAddress>"),
                    {250, 0, 0, 0, 77},
                    ""},
        ReadingCase{"LengthOutside",
                    "<StringReg Name=\"A\"><Address>1</Address><pLength>Q</pLength>"
                    "<pPort>ChunkPort</pPort></StringReg>",
                    Bytes(64, 0xff), ""},
        ReadingCase{"FormulaOverMovingRegister",
                    knife("X", "M") + reg("IntReg", "M", 1, 1, "<pAddress>B0</pAddress>"),
                    {1, 2, 3},
                    ""},
        ReadingCase{"CutShort", knife("X + Y", "B0"), {1}, ""},
        ReadingCase{"WithTheCamera", knife("X + Y", "B0", "D"), {1, 2}, ""},
        ReadingCase{"OfAnAbsurdLength",
                    knife("X", "L") +
                        "<Integer Name=\"Huge\"><Value>0x7fffffffffffff00</Value></Integer>"
                        "<IntReg Name=\"L\"><Address>0</Address><pLength>Huge</pLength>"
                        "<pPort>ChunkPort</pPort></IntReg>",
                    {1, 2},
                    ""},
        ReadingCase{"WithAnotherChunk", knife("X + Y", "B0", "O"), {1, 2}, ""},
        ReadingCase{"DivisionByANumber", knife("X / 2 + Y % 10", "B0"), {9, 13}, "7"},
        // Left to itself, the node map would end the process here.
        ReadingCase{"LeastNumberByMinusOne",
                    knife("X / (0 - 1) * 0 + X % -1 + 5", "Q"),
                    {0x80, 0, 0, 0, 0, 0, 0, 0},
                    "5"}),
    nameOf);

TEST(PayloadLayout, ListsFeaturesInTheOrderOfTheTree) {
    const std::string nodes = reg("IntReg", "Loose", 0, 1) + reg("IntReg", "Second", 1, 1) +
                              "<Integer Name=\"First\"><pValue>Part</pValue></Integer>" +
                              reg("IntReg", "Part", 2, 1) + reg("IntReg", "Condition", 0, 1) +
                              "<Boolean Name=\"Third\"><pIsAvailable>Condition</pIsAvailable>"
                              "<pValue>Loose2</pValue></Boolean>" +
                              "<Group Comment=\"\">" + reg("IntReg", "Loose2", 0, 1) +
                              "<Integer Name=\"Fourth\"><pValue>Loose2</pValue></Integer></Group>";
    const Bytes bytes{1, 2, 3};
    EXPECT_THAT(linesOf(nodes + category("First Second Missing First"), bytes),
                ElementsAre("First Value:3", "Second Value:2", "Loose Value:1", "Third Value:1",
                            "Fourth Value:1"));
}

TEST(PayloadLayout, LeavesOutWhatAShortChunkDoesNotHold) {
    const std::string nodes = reg("IntReg", "A", 0, 2, kBig) + reg("StringReg", "B", 2, 3) +
                              reg("FloatReg", "C", 5, 4) + reg("IntReg", "D", 0x7fffffff, 8) +
                              category("D C B A");
    const PayloadLayout layout(description(nodes));
    const auto at = [&](std::size_t length) {
        return linesOf(layout, 0x8000000a, Bytes(length, 0)).size();
    };
    EXPECT_EQ(at(0), 0u);
    EXPECT_EQ(at(1), 0u);
    EXPECT_EQ(at(2), 1u);
    EXPECT_EQ(at(4), 1u);
    EXPECT_EQ(at(5), 2u);
    EXPECT_EQ(at(8), 2u);
    EXPECT_EQ(at(9), 3u);
}

TEST(PayloadLayout, SaysOnceWhatItCannotEvaluateAndNotUnderALock) {
    auto& log = kestro::test::RecordingLogger::instance();
    const PayloadLayout layout(description(
        "<IntSwissKnife Name=\"A\"><pVariable Name=\"X\">D</pVariable><pVariable Name=\"Y\">E"
        "</pVariable><Formula>X + Y</Formula></IntSwissKnife>" +
        reg("IntReg", "D", 0, 1, "", "ChunkPort") + reg("IntReg", "E", 0, 1, "", "OtherPort")));
    const Bytes bytes(1);
    log.reset();
    // Features ask so with their lock held.
    EXPECT_FALSE(layout.eventOf("A"));
    EXPECT_FALSE(layout.eventValue("A", bytes));
    EXPECT_THAT(log.lines(0, 1000), IsEmpty());
    static_cast<void>(linesOf(layout, 0x8000000a, bytes));
    static_cast<void>(layout.isChunkFeature("A"));
    EXPECT_THAT(log.lines(0, 1000), ElementsAre(testing::HasSubstr("1 features of chunks")));
}

TEST(PayloadLayout, TellsChunksApart) {
    const PayloadLayout layout(description(reg("IntReg", "A", 0, 1) +
                                           reg("IntReg", "B", 0, 1, "", "OtherPort") +
                                           reg("IntReg", "Width", 0, 4, "", "Device")));
    EXPECT_THAT(linesOf(layout, 0x8000000a, {1}), ElementsAre("A Value:1"));
    EXPECT_THAT(linesOf(layout, 0x8000000b, {2}), ElementsAre("B Value:2"));
    EXPECT_THAT(linesOf(layout, 0x9001, {3}), IsEmpty());
    EXPECT_TRUE(layout.isChunkFeature("A"));
    EXPECT_FALSE(layout.isChunkFeature("Width"));
    EXPECT_FALSE(layout.isChunkFeature("Nothing"));
}

TEST(PayloadLayout, ReadsEvents) {
    const std::string port = "EventPort";
    const std::string nodes =
        reg("IntReg", "TimeReg", 8, 8, kBig, port) + reg("FloatReg", "Level", 16, 4, kBig, port) +
        "<Integer Name=\"EventTime\"><EventID>9001</EventID><pValue>TimeReg</pValue></Integer>" +
        "<Enumeration Name=\"Cause\"><EnumEntry Name=\"Line\"><Value>1</Value></EnumEntry>"
        "<pValue>CauseReg</pValue></Enumeration>" +
        reg("IntReg", "CauseReg", 20, 1, "", port) + reg("StringReg", "Note", 21, 4, "", port) +
        category("EventTime Level Cause Note");
    const PayloadLayout layout(description(nodes));
    EXPECT_THAT(layout.eventFeatures(0x9001), ElementsAre("EventTime", "Level", "Cause", "Note"));
    EXPECT_THAT(layout.eventFeatures(0x9002), IsEmpty());
    EXPECT_EQ(layout.eventOf("Level"), 0x9001u);
    EXPECT_EQ(layout.eventOf("TimeReg"), std::nullopt);

    const Bytes event{0,    0, 0x90, 1, 0, 0,   0,   0, 0,  0, 0, 1, 0, 0, 0, 2,  // 2^32 + 2
                      0x3f, 0, 0,    0, 1, 'o', 'k', 0, 'x'};
    EXPECT_EQ(layout.eventValue("EventTime", event), PayloadValue(std::int64_t{4294967298}));
    EXPECT_EQ(layout.eventValue("Level", event), PayloadValue(0.5));
    EXPECT_EQ(layout.eventValue("Cause", event), PayloadValue(std::int64_t{1}));
    EXPECT_EQ(layout.eventValue("Note", event), PayloadValue(std::string("ok")));
    EXPECT_EQ(layout.eventValue("Note", ByteView(event).first(20)), std::nullopt);
    EXPECT_EQ(layout.eventValue("Nothing", event), std::nullopt);
}

TEST(PayloadLayout, KeepsTheLastError) {
    const PayloadLayout layout(description(knife("X", "R", "R") + reg("IntReg", "R", 4, 1)));
    setLastError(Error::timeout, "mine");
    EXPECT_THAT(linesOf(layout, 0x8000000a, {1, 2, 3}), IsEmpty());
    EXPECT_EQ(lastErrorMessage(), "mine");
}

TEST(PayloadLayout, IsAskedByManyThreads) {
    const PayloadLayout layout(description(knife("X * 2 + Y", "R", "S") + reg("IntReg", "R", 0, 1) +
                                           reg("IntReg", "S", 1, 1)));
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) {
        threads.emplace_back([&layout, i] {
            const Bytes bytes{static_cast<std::uint8_t>(10 * i), 1};
            for (int round = 0; round < 200; ++round)
                ASSERT_THAT(linesOf(layout, 0x8000000a, bytes),
                            ElementsAre("A Value:" + std::to_string(20 * i + 1)));
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
