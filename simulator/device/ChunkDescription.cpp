// SPDX-License-Identifier: Apache-2.0
#include "ChunkDescription.h"

#include "ChunkLayout.h"
#include "Registers.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrosim {
namespace {

using chunk::ByteOrder;

enum class Kind { text, unsignedWord, signedWord, real };

struct Field {
    std::string name;
    std::uint32_t address = 0;
    Kind kind = Kind::unsignedWord;
    std::uint32_t bytes = 4;
    const char* visibility = "Expert";
};

struct ChunkPart {
    std::string name;  ///< its port is called so, its category has "Data" behind it
    std::string toolTip;
    std::uint32_t id = 0;
    ByteOrder order = ByteOrder::big;
    std::vector<Field> fields;
};

std::string element(std::string_view name, std::string_view content) {
    std::string text = "<";
    text.append(name).append(">").append(content).append("</").append(name).append(">");
    return text;
}

std::vector<Field> codeFields(const std::string& name, std::uint32_t record) {
    std::vector<Field> fields;
    fields.push_back(
        {name + "_CodeType", record + chunk::kCodeType, Kind::text, chunk::kCodeTypeBytes});
    fields.push_back(
        {name + "_CodeData", record + chunk::kCodeData, Kind::text, chunk::kCodeDataBytes});
    fields.push_back({name + "_PosPointNum", record + chunk::kPointCount});
    for (std::uint32_t i = 0; i < chunk::kPointSlots; ++i) {
        const std::string point = name + "_Point" + std::to_string(i);
        const std::uint32_t address = record + chunk::kPoints + i * chunk::kPointBytes;
        fields.push_back({point + "_X", address, Kind::signedWord});
        fields.push_back({point + "_Y", address + 4, Kind::signedWord});
    }
    fields.push_back({name + "_PPM", record + chunk::kPixelsPerModule, Kind::real});
    // So many that they would bury all others.
    for (Field& field : fields) field.visibility = "Guru";
    return fields;
}

std::vector<Field> readerFields(const std::string& prefix) {
    std::vector<Field> fields = {{prefix + "DetectTime", chunk::kDetectTime},
                                 {prefix + "Num", chunk::kCodeCount}};
    for (std::uint32_t i = 0; i < chunk::kCodeSlots; ++i) {
        const auto code = codeFields(prefix + std::to_string(i),
                                     chunk::kReaderHeadBytes + i * chunk::kRecordBytes);
        fields.insert(fields.end(), code.begin(), code.end());
    }
    return fields;
}

std::vector<ChunkPart> chunkParts() {
    return {
        {"BarCodeChunk", "What the barcode reader found.", reg::kChunkIds[0], chunk::kBarcodeOrder,
         readerFields("BarCode")},
        {"QRChunk", "What the QR reader found.", reg::kChunkIds[1], chunk::kQrOrder,
         readerFields("QR")},
        {"PipelineChunk",
         "How the reading went.",
         reg::kChunkIds[2],
         chunk::kPipelineOrder,
         {{"PipelineStatus", chunk::kStatus, Kind::text, chunk::kStatusBytes},
          {"PipelineTriggerTsHigh", chunk::kTriggerHigh},
          {"PipelineTriggerTsLow", chunk::kTriggerLow}}},
        {"ImageScaleChunk",
         "Size of the picture as it is sent.",
         reg::kChunkIds[3],
         chunk::kScalingOrder,
         {{"ImageScaleOutWidth", chunk::kOutWidth, Kind::signedWord},
          {"ImageScaleOutHeight", chunk::kOutHeight, Kind::signedWord}}},
    };
}

std::string port(const ChunkPart& part) {
    std::array<char, 9> id{};
    std::snprintf(id.data(), id.size(), "%08x", static_cast<unsigned>(part.id));
    return "<Port Name=\"" + part.name + "\">" + element("ChunkID", id.data()) + "</Port>\n";
}

std::string category(const ChunkPart& part) {
    std::string text = "<Category Name=\"" + part.name + "Data\">";
    text += element("ToolTip", part.toolTip);
    for (const Field& field : part.fields) text += element("pFeature", field.name);
    return text + "</Category>\n";
}

const char* nodeName(Kind kind) {
    return kind == Kind::text ? "StringReg" : kind == Kind::real ? "FloatReg" : "IntReg";
}

std::string node(const ChunkPart& part, const Field& field) {
    const std::string name = nodeName(field.kind);
    std::string text = "<" + name + " Name=\"" + field.name + "\">";
    text += element("Visibility", field.visibility);
    text += element("Address", std::to_string(field.address));
    text += element("Length", std::to_string(field.bytes));
    text += element("AccessMode", "RO");
    text += element("pPort", part.name);
    text += element("Cachable", "NoCache");
    if (field.kind == Kind::unsignedWord) text += element("Sign", "Unsigned");
    if (field.kind == Kind::signedWord) text += element("Sign", "Signed");
    const bool isBig = part.order == ByteOrder::big;
    if (field.kind != Kind::text)
        text += element("Endianess", isBig ? "BigEndian" : "LittleEndian");
    return text + "</" + name + ">\n";
}

}  // namespace

std::string chunkDescription() {
    std::string text;
    for (const ChunkPart& part : chunkParts()) {
        text += port(part) + category(part);
        for (const Field& field : part.fields) text += node(part, field);
    }
    return text;
}

}  // namespace kestrosim
