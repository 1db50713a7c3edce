// SPDX-License-Identifier: Apache-2.0
//
// A payload as a camera may send it: its chunks are looked for from its end, their features made
// into lines. The first byte chooses the payload type, and whether a trailer stands at the end
// already. The second half are the bytes of an event.
#include "DescriptionCheck.h"
#include "FuzzInput.h"
#include "LastError.h"
#include "PayloadChunks.h"
#include "PayloadLayout.h"
#include "RecordingLogger.h"

#include <array>
#include <bit>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace kestro::fuzz;
using namespace Vorda::Gige;
using kestro::fuzz::Bytes;
using kestro::fuzz::ByteView;

using Lines = Vorda::Infra::TVector<Vorda::Infra::CString>;

constexpr std::uint32_t kChunk = 0x80000000;
constexpr std::uint32_t kEvent = 0x9001;

// Registers at fixed and at moving places, parts of them, and formulas over them; of a chunk, and
// the same of an event. "Two" needs a second chunk, and has no value.
constexpr const char* kNodes =
    R"(<IntReg Name="@N"><Address>0</Address><Length>4</Length><pPort>@P</pPort></IntReg>
    <IntReg Name="@W"><Address>4</Address><Length>8</Length><Sign>Signed</Sign><pPort>@P</pPort>
      <Endianess>BigEndian</Endianess></IntReg>
    <IntReg Name="@T"><Address>1</Address><Length>3</Length><Sign>Signed</Sign><pPort>@P</pPort></IntReg>
    <MaskedIntReg Name="@B"><Address>1</Address><Length>2</Length><LSB>3</LSB><MSB>12</MSB>
      <Sign>Signed</Sign><pPort>@P</pPort></MaskedIntReg>
    <FloatReg Name="@F"><Address>2</Address><Length>4</Length><pPort>@P</pPort></FloatReg>
    <FloatReg Name="@D"><Address>2</Address><Length>8</Length><pPort>@P</pPort></FloatReg>
    <StringReg Name="@S"><Address>3</Address><Length>9</Length><pPort>@P</pPort></StringReg>
    <IntReg Name="@Moving"><pAddress>@N</pAddress><Length>2</Length><pPort>@P</pPort></IntReg>
    <StringReg Name="@Long"><Address>4</Address><pLength>@N</pLength><pPort>@P</pPort></StringReg>
    <Integer Name="@OfFloat"><pValue>@D</pValue></Integer>
    <Integer Name="@OfSingle"><pValue>@F</pValue></Integer>
    <Float Name="@OfInteger"><pValue>@W</pValue></Float>
    <Boolean Name="@Flag"><pValue>@N</pValue><OnValue>7</OnValue></Boolean>
    <Enumeration Name="@Mode"><EnumEntry Name="Off"><Value>0</Value></EnumEntry>
      <EnumEntry Name="On"><Value>1</Value></EnumEntry><pValue>@N</pValue></Enumeration>
    <String Name="@Text"><pValue>@S</pValue></String>
    <IntSwissKnife Name="@K"><pVariable Name="X">@W</pVariable><pVariable Name="Y">@N</pVariable>
      <Formula>(X * Y) / 7 + X % 3 - (Y &lt;&lt; 5)</Formula></IntSwissKnife>
    <IntSwissKnife Name="@Q"><pVariable Name="X">@W</pVariable><pVariable Name="Y">@B</pVariable>
      <Formula>X / Y</Formula></IntSwissKnife>
    <Converter Name="@C"><FormulaTo>FROM</FormulaTo><FormulaFrom>1 / TO</FormulaFrom>
      <pValue>@F</pValue></Converter>
    <IntSwissKnife Name="@Two"><pVariable Name="X">@W</pVariable><pVariable Name="Y">Other</pVariable>
      <Formula>X + Y</Formula></IntSwissKnife>)";

constexpr const char* kHead = R"(<RegisterDescription SchemaMajorVersion="1" SchemaMinorVersion="1"
    SchemaSubMinorVersion="0" ModelName="M" VendorName="V">)";
constexpr const char* kTail = R"(<IntReg Name="Other"><Address>0</Address><Length>4</Length>
    <pPort>OtherPort</pPort></IntReg><Port Name="CP"><ChunkID>80000000</ChunkID></Port>
    <Port Name="EP"><EventID>9001</EventID></Port>
    <Port Name="OtherPort"><ChunkID>80000007</ChunkID></Port></RegisterDescription>)";

std::string nodesOf(char prefix) {
    std::string nodes = kNodes;
    for (char& each : nodes)
        if (each == '@') each = prefix;
    return nodes;
}

constexpr std::string_view kExpected[] = {"N", "T", "B", "S", "Text", "Flag", "W", "Mode"};
constexpr std::string_view kOthers[] = {"F",         "D", "Moving", "Long", "OfFloat", "OfSingle",
                                        "OfInteger", "K", "Q",      "C",    "Two"};

/** Lists them all: a register that formulas need is a feature only when a category says so. */
std::string category() {
    std::string features;
    const auto list = [&features](std::string_view name) {
        for (const char* const prefix : {"C", "E"})
            features += "<pFeature>" + (prefix + std::string(name)) + "</pFeature>";
    };
    for (const std::string_view name : kExpected) list(name);
    for (const std::string_view name : kOthers) list(name);
    return "<Category Name=\"Root\">" + features + "</Category>";
}

const PayloadLayout& layout() {
    static const PayloadLayout& made = *[] {
        std::string reason;
        auto description = CheckedDescription::make(
            kHead + category() + nodesOf('C') + nodesOf('E') + kTail, reason);
        KESTRO_EXPECT(description);
        return new PayloadLayout(std::move(description));
    }();
    return made;
}

std::uint64_t littleAt(ByteView bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = count; i-- > 0;) value = value << 8 | bytes[at + i];
    return value;
}

std::string textAt(ByteView bytes, std::size_t at, std::size_t most) {
    std::string text;
    for (std::size_t i = at; i < at + most && bytes[i] != 0; ++i)
        text += static_cast<char>(bytes[i]);
    return text;
}

std::int64_t signedOf(std::uint64_t value, unsigned bits) {
    const std::uint64_t sign = std::uint64_t{1} << (bits - 1);
    return static_cast<std::int64_t>((value & ((sign << 1) - 1)) ^ sign) -
           static_cast<std::int64_t>(sign);
}

/** The integers and texts at fixed places, as the description has them. */
std::optional<std::string> expectedOf(std::string_view name, ByteView bytes) {
    const std::size_t size = bytes.size();
    const auto has = [size](std::size_t end) { return size >= end; };
    if (name == "N" && has(4)) return std::to_string(littleAt(bytes, 0, 4));
    if (name == "T" && has(4)) return std::to_string(signedOf(littleAt(bytes, 1, 3), 24));
    if (name == "B" && has(3)) return std::to_string(signedOf(littleAt(bytes, 1, 2) >> 3, 10));
    if (name == "S" && has(12)) return textAt(bytes, 3, 9);
    if (name == "Text" && has(12)) return textAt(bytes, 3, 9);
    if (name == "Flag" && has(4)) return littleAt(bytes, 0, 4) == 7 ? "1" : "0";
    if (name == "W" && has(12)) {
        std::uint64_t value = 0;
        for (std::size_t i = 4; i < 12; ++i) value = value << 8 | bytes[i];
        return std::to_string(static_cast<std::int64_t>(value));
    }
    if (name == "Mode" && has(4)) {
        const std::uint64_t value = littleAt(bytes, 0, 4);
        return value == 0 ? "Off" : value == 1 ? "On" : std::to_string(value);
    }
    return std::nullopt;
}

/** Each feature at most once, with the value that its bytes have. */
void checkLines(ByteView bytes, const Lines& lines) {
    std::string all;
    for (const auto& line : lines) {
        KESTRO_EXPECT(line.c_str()[line.size()] == '\0');
        const std::string_view text(line.data(), line.size());
        const std::size_t mark = text.find(" Value:");
        KESTRO_EXPECT(mark != std::string_view::npos && mark > 1 && text[0] == 'C');
        const std::string_view name = text.substr(1, mark - 1);
        const std::string entry = "|" + std::string(name) + "|";
        KESTRO_EXPECT(all.find(entry) == std::string::npos);
        all += entry;
        if (const auto expected = expectedOf(name, bytes))
            KESTRO_EXPECT(text.substr(mark + 7) == *expected);
        KESTRO_EXPECT(name != "Two");
    }
    for (const std::string_view name : kExpected) {
        const bool isThere = all.find("|" + std::string(name) + "|") != std::string::npos;
        KESTRO_EXPECT(isThere == expectedOf(name, bytes).has_value());
    }
}

void checkEvent(ByteView bytes) {
    const auto valueOf = [bytes](std::string_view name) {
        return layout().eventValue("E" + std::string(name), bytes);
    };
    for (const std::string_view name : kExpected) {
        const auto value = valueOf(name);
        const auto expected = expectedOf(name, bytes);
        KESTRO_EXPECT(value.has_value() == expected.has_value());
        if (!value || name == "Mode") continue;
        const auto* const integer = std::get_if<std::int64_t>(&*value);
        const std::string text = integer ? std::to_string(*integer) : std::get<std::string>(*value);
        KESTRO_EXPECT(text == *expected);
    }
    for (const std::string_view name : kOthers)
        KESTRO_EXPECT(!valueOf(name).has_value() || name != "Two");
    KESTRO_EXPECT(!valueOf("Nothing"));
    KESTRO_EXPECT(!layout().eventValue("CN", bytes));
}

void checkNames() {
    static const bool isChecked = [] {
        KESTRO_EXPECT(layout().isChunkFeature("CW") && !layout().isChunkFeature("EW"));
        KESTRO_EXPECT(layout().eventOf("EW") == kEvent && !layout().eventOf("CW"));
        KESTRO_EXPECT(layout().eventFeatures(kEvent).size() > 10);
        KESTRO_EXPECT(layout().eventFeatures(kChunk).empty());
        layout().prepare();
        return true;
    }();
    static_cast<void>(isChecked);
}

/** The chunks lie in the payload one behind the other, each in front of its trailer. */
void checkChunks(ByteView payload, const PayloadContent& content) {
    KESTRO_EXPECT(content.imageBytes <= payload.size());
    std::size_t end = 0;
    for (std::size_t i = 0; i < content.chunks.size(); ++i) {
        const ChunkRange& chunk = content.chunks[i];
        KESTRO_EXPECT(i == 0 || chunk.offsetBytes == end);
        KESTRO_EXPECT(std::uint64_t{chunk.offsetBytes} + chunk.lengthBytes + 8 <= payload.size());
        end = chunk.offsetBytes + chunk.lengthBytes + std::size_t{8};
    }
    const bool isAll = content.chunks.size() != 0 && content.chunks.ignored() == 0;
    KESTRO_EXPECT(!isAll || (content.chunks[0].offsetBytes == 0 && end == payload.size()));
    KESTRO_EXPECT(!content.isBroken || content.chunks.size() <= PayloadChunks::kMost);
}

GvspLeader leaderOf(std::uint8_t choice, std::size_t size) {
    static constexpr std::array<std::uint16_t, 4> kTypes = {kGvspImage | kGvspChunkBit, kGvspChunks,
                                                            kGvspJpeg | kGvspChunkBit, kGvspJpeg};
    GvspLeader leader;
    leader.payloadType = kTypes[choice >> 1 & 3];
    leader.pixelFormat = 0x01080001;
    leader.width = choice;
    leader.height = static_cast<std::uint32_t>(size);
    return leader;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    kestro::test::RecordingLogger::instance().reset();
    checkNames();
    const std::uint8_t choice = data[0];
    Bytes payload(data + 1, data + size);
    if ((choice & 8) != 0) {
        checkEvent(payload);
        return 0;
    }
    if ((choice & 1) != 0) {
        const auto length = static_cast<std::uint32_t>(payload.size());
        appendU32(payload, kChunk);
        appendU32(payload, length);
    }
    PayloadContent content;
    takeApart(leaderOf(choice, size), payload, content);
    checkChunks(payload, content);
    for (std::size_t i = 0; i < content.chunks.size(); ++i) {
        const ChunkRange& chunk = content.chunks[i];
        const Bytes bytes =
            exactly(ByteView(payload).subspan(chunk.offsetBytes, chunk.lengthBytes));
        Lines lines;
        layout().appendLines(kChunk, bytes, lines);
        checkLines(bytes, lines);
        layout().appendLines(chunk.id, bytes, lines);
    }
    return 0;
}
