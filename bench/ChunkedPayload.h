// SPDX-License-Identifier: Apache-2.0
//
// Payloads with chunks, and the description that says what their bytes are: slots of 12 features
// for each of two readers.
#pragma once

#include "Bytes.h"
#include "DescriptionCheck.h"
#include "PayloadLayout.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace kestro::bench {

inline constexpr unsigned kSlots = 64;          // of each reader, where nothing else is said
inline constexpr std::uint32_t kHeadBytes = 8;  // detect time, count
inline constexpr std::uint32_t kTypeBytes = 32;
inline constexpr std::uint32_t kDataBytes = 64;
inline constexpr std::uint32_t kRecordBytes = kTypeBytes + kDataBytes + 10 * 4;
inline constexpr std::uint32_t kBarcodes = 0x80000000;
inline constexpr std::uint32_t kQrCodes = 0x80000001;

/** Writes the features of one reader: registers, features over them, and their category. */
class DescriptionWriter {
 public:
    explicit DescriptionWriter(unsigned slots) : slots_(slots) {}
    std::string write() {
        reader("BarCode", "BarCodeChunk");
        reader("QR", "QRChunk");
        return R"(<RegisterDescription SchemaMajorVersion="1" SchemaMinorVersion="1"
                   SchemaSubMinorVersion="0" ModelName="M" VendorName="V">)" +
               nodes_ + R"(<Category Name="Root"><pFeature>Results</pFeature></Category>)" +
               "<Category Name=\"Results\">" + category_ + "</Category>" +
               R"(<Port Name="BarCodeChunk"><ChunkID>80000000</ChunkID></Port>)"
               R"(<Port Name="QRChunk"><ChunkID>80000001</ChunkID></Port>)"
               "</RegisterDescription>";
    }

 private:
    void reader(const std::string& prefix, const std::string& port) {
        port_ = port;
        add(prefix + "DetectTime", "Integer", "IntReg", 0, 4);
        add(prefix + "Num", "Integer", "IntReg", 4, 4);
        for (unsigned i = 0; i < slots_; ++i) {
            const std::string code = prefix + std::to_string(i) + "_";
            std::uint32_t at = kHeadBytes + i * kRecordBytes;
            add(code + "CodeType", "String", "StringReg", at, kTypeBytes);
            add(code + "CodeData", "String", "StringReg", at + kTypeBytes, kDataBytes);
            at += kTypeBytes + kDataBytes;
            add(code + "PosPointNum", "Integer", "IntReg", at, 4);
            for (unsigned point = 0; point < 4; ++point) {
                const std::string name = code + "Point" + std::to_string(point);
                add(name + "_X", "Integer", "IntReg", at + 4 + 8 * point, 4);
                add(name + "_Y", "Integer", "IntReg", at + 8 + 8 * point, 4);
            }
            add(code + "PPM", "Float", "FloatReg", at + 36, 4);
        }
    }
    void add(const std::string& name, const std::string& kind, const std::string& registerKind,
             std::uint32_t address, std::uint32_t length) {
        category_ += "<pFeature>" + name + "</pFeature>";
        nodes_ += "<" + kind + " Name=\"" + name + "\"><pValue>" + name + "Reg</pValue></" + kind +
                  "><" + registerKind + " Name=\"" + name + "Reg\"><Address>" +
                  std::to_string(address) + "</Address><Length>" + std::to_string(length) +
                  "</Length><pPort>" + port_ + "</pPort><Endianess>BigEndian</Endianess></" +
                  registerKind + ">";
    }

    const unsigned slots_;
    std::string port_;
    std::string nodes_;
    std::string category_;
};

inline void appendText(Vorda::Gige::Bytes& bytes, std::string text, std::size_t length) {
    text.resize(length);
    bytes.insert(bytes.end(), text.begin(), text.end());
}

inline void appendReader(Vorda::Gige::Bytes& bytes, std::uint32_t id, std::uint32_t codes) {
    using Vorda::Gige::appendU32;
    const std::size_t start = bytes.size();
    appendU32(bytes, 12);
    appendU32(bytes, codes);
    for (std::uint32_t i = 0; i < codes; ++i) {
        appendText(bytes, id == kQrCodes ? "QR_CODE" : "CODE128", kTypeBytes);
        appendText(bytes, "KST-00" + std::to_string(100000 + i) + "-2026", kDataBytes);
        appendU32(bytes, 4);
        for (std::uint32_t j = 0; j < 8; ++j) appendU32(bytes, 100 + 37 * i + 11 * j);
        appendU32(bytes, 0x40500000 + (i << 8));  // 3.25 and a little more
    }
    const auto length = static_cast<std::uint32_t>(bytes.size() - start);
    appendU32(bytes, id);
    appendU32(bytes, length);
}

/** An image of that size, and the chunks of both readers behind it. */
inline Vorda::Gige::Bytes chunkedPayload(std::uint32_t imageBytes, std::uint32_t barcodes,
                                         std::uint32_t qrCodes) {
    Vorda::Gige::Bytes bytes(imageBytes, 0x5a);
    Vorda::Gige::appendU32(bytes, 1);
    Vorda::Gige::appendU32(bytes, imageBytes);
    appendReader(bytes, kBarcodes, barcodes);
    appendReader(bytes, kQrCodes, qrCodes);
    return bytes;
}

/** Null when the description is not understood. */
inline std::shared_ptr<const Vorda::Gige::PayloadLayout> chunkLayout(unsigned slots = kSlots) {
    static std::map<unsigned, std::shared_ptr<const Vorda::Gige::PayloadLayout>> layouts;
    auto& layout = layouts[slots];
    std::string reason;
    if (!layout) {
        auto description =
            Vorda::Gige::CheckedDescription::make(DescriptionWriter(slots).write(), reason);
        if (description)
            layout = std::make_shared<const Vorda::Gige::PayloadLayout>(std::move(description));
    }
    return layout;
}

}  // namespace kestro::bench
