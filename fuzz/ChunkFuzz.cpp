// SPDX-License-Identifier: Apache-2.0
//
// A payload as a camera may send it: its chunks are looked for from its end, their features made
// into lines, and of a JPEG file its header is read. The first byte chooses the payload type, and
// whether a trailer stands at the end already.
#include "DescriptionCheck.h"
#include "PayloadChunks.h"
#include "PayloadLayout.h"

#include <cstdint>
#include <string>
#include <utility>

namespace {

using namespace Vorda::Gige;

// Registers at fixed and at moving places, parts of them, and formulas over them.
constexpr const char* kDescription =
    R"(<RegisterDescription SchemaMajorVersion="1" SchemaMinorVersion="1"
        SchemaSubMinorVersion="0" ModelName="M" VendorName="V"><Category Name="Root"/>
    <IntReg Name="N"><Address>0</Address><Length>4</Length><pPort>P</pPort></IntReg>
    <IntReg Name="W"><Address>4</Address><Length>8</Length><Sign>Signed</Sign><pPort>P</pPort>
      <Endianess>BigEndian</Endianess></IntReg>
    <MaskedIntReg Name="B"><Address>1</Address><Length>2</Length><LSB>3</LSB><MSB>12</MSB>
      <Sign>Signed</Sign><pPort>P</pPort></MaskedIntReg>
    <FloatReg Name="F"><Address>2</Address><Length>4</Length><pPort>P</pPort></FloatReg>
    <FloatReg Name="D"><Address>2</Address><Length>8</Length><pPort>P</pPort></FloatReg>
    <StringReg Name="S"><Address>3</Address><Length>9</Length><pPort>P</pPort></StringReg>
    <IntReg Name="Moving"><pAddress>N</pAddress><Length>2</Length><pPort>P</pPort></IntReg>
    <StringReg Name="Long"><Address>4</Address><pLength>N</pLength><pPort>P</pPort></StringReg>
    <Integer Name="OfFloat"><pValue>D</pValue></Integer>
    <IntSwissKnife Name="K"><pVariable Name="X">W</pVariable><pVariable Name="Y">N</pVariable>
      <Formula>(X * Y) / 7 + X % 3 - (Y &lt;&lt; 5)</Formula></IntSwissKnife>
    <Converter Name="C"><FormulaTo>FROM</FormulaTo><FormulaFrom>1 / TO</FormulaFrom>
      <pValue>F</pValue></Converter>
    <Port Name="P"><ChunkID>80000000</ChunkID></Port></RegisterDescription>)";

constexpr std::uint16_t kPayloadTypes[] = {kGvspImage | kGvspChunkBit, kGvspChunks,
                                           kGvspJpeg | kGvspChunkBit, kGvspJpeg};

const PayloadLayout& layout() {
    static const PayloadLayout& made = *[] {
        std::string reason;
        auto description = CheckedDescription::make(kDescription, reason);
        if (!description) __builtin_trap();
        return new PayloadLayout(std::move(description));
    }();
    return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::uint8_t choice = data[0];
    Bytes payload(data + 1, data + size);
    if (choice & 1) {
        const auto length = static_cast<std::uint32_t>(payload.size());
        appendU32(payload, 0x80000000);
        appendU32(payload, length);
    }
    GvspLeader leader;
    leader.payloadType = kPayloadTypes[choice >> 1 & 3];
    leader.pixelFormat = 0x01080001;
    leader.width = choice;
    leader.height = static_cast<std::uint32_t>(size);
    PayloadContent content;
    takeApart(leader, payload, content);
    if (content.imageBytes > payload.size()) __builtin_trap();
    for (std::size_t i = 0; i < content.chunks.size(); ++i) {
        const ChunkRange& chunk = content.chunks[i];
        // An exact copy, so that a read beyond it is seen.
        const Bytes bytes(payload.begin() + chunk.offsetBytes,
                          payload.begin() + chunk.offsetBytes + chunk.lengthBytes);
        Vorda::Infra::TVector<Vorda::Infra::CString> lines;
        layout().appendLines(0x80000000, bytes, lines);
        for (const auto& line : lines)
            if (line.c_str()[line.size()] != '\0') __builtin_trap();
    }
    return 0;
}
