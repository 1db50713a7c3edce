// SPDX-License-Identifier: Apache-2.0
//
// What the codes in a frame's chunks cost: from the payload that came in to the lines of the device
// SDK's frame and on to the application's codes. The description has 64 slots of 12 features for
// each of two readers, the chunks as many records as there are codes. The picture is tiny, so that
// its copy does not count.
#include "BufferPool.h"
#include "DescriptionCheck.h"
#include "FrameImpl.h"
#include "PayloadLayout.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Vorda::Gige;
using Vorda::GenICam::CFrame;

constexpr unsigned kSlots = 64;
constexpr std::uint32_t kHeadBytes = 8;  // detect time, count
constexpr std::uint32_t kTypeBytes = 32;
constexpr std::uint32_t kDataBytes = 64;
constexpr std::uint32_t kRecordBytes = kTypeBytes + kDataBytes + 10 * 4;
constexpr std::uint32_t kBarcodes = 0x80000000;
constexpr std::uint32_t kQrCodes = 0x80000001;

/** Writes the features of one reader: registers, features over them, and their category. */
class DescriptionWriter {
 public:
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
        for (unsigned i = 0; i < kSlots; ++i) {
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

    std::string port_;
    std::string nodes_;
    std::string category_;
};

void appendText(Bytes& bytes, std::string text, std::size_t length) {
    text.resize(length);
    bytes.insert(bytes.end(), text.begin(), text.end());
}

void appendReader(Bytes& bytes, std::uint32_t id, std::uint32_t codes) {
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

Bytes payload(std::uint32_t barcodes, std::uint32_t qrCodes) {
    Bytes bytes(64, 0x5a);
    appendU32(bytes, 1);
    appendU32(bytes, 64);
    appendReader(bytes, kBarcodes, barcodes);
    appendReader(bytes, kQrCodes, qrCodes);
    return bytes;
}

std::shared_ptr<const PayloadLayout> layout() {
    static const auto made = [] {
        std::string reason;
        auto description = CheckedDescription::make(DescriptionWriter().write(), reason);
        return description ? std::make_shared<const PayloadLayout>(std::move(description))
                           : nullptr;
    }();
    return made;
}

/** A received frame over these bytes. */
CFrame received(BufferPool& pool, const Bytes& bytes) {
    FrameBuffer* buffer = pool.take();
    std::copy(bytes.begin(), bytes.end(), buffer->data);
    FrameInfo info;
    info.blockId = 1;
    info.sizeBytes = bytes.size();
    info.leader.payloadType = kGvspImage | kGvspChunkBit;
    info.layout = layout();
    takeApart(info.leader, {buffer->data, info.sizeBytes}, info.content);
    return CFrame(pool.makeFrame(*buffer, info));
}

using Rate = benchmark::Counter;

/** Nanoseconds for each code. */
Rate perCode(std::size_t codes) {
    return Rate(static_cast<double>(codes) * 1e-9, Rate::kIsIterationInvariantRate | Rate::kInvert);
}

void chunkLines(benchmark::State& state) {
    const auto barcodes = static_cast<std::uint32_t>(state.range(0));
    const auto qrCodes = static_cast<std::uint32_t>(state.range(1));
    const Bytes bytes = payload(barcodes, qrCodes);
    const auto pool = BufferPool::create(1, bytes.size());
    const CFrame frame = received(*pool, bytes);
    Vorda::GenICam::TVector<Vorda::Infra::CString> lines;
    std::size_t count = 0;
    for (auto _ : state) {
        count = 0;
        for (unsigned i = 0; i < frame.getChunkCount(); ++i) {
            unsigned id = 0;
            frame.getChunkDataByIndex(i, id, lines);
            count += lines.size();
        }
    }
    const std::size_t codes = barcodes + qrCodes;
    if (count != 4 + 12 * codes) state.SkipWithError("lines are missing");
    state.counters["ns_per_code"] = perCode(codes);
}

void chunkCodes(benchmark::State& state) {
    const auto barcodes = static_cast<std::uint32_t>(state.range(0));
    const auto qrCodes = static_cast<std::uint32_t>(state.range(1));
    const Bytes bytes = payload(barcodes, qrCodes);
    const auto pool = BufferPool::create(1, bytes.size());
    const CFrame frame = received(*pool, bytes);
    const std::size_t codes = barcodes + qrCodes;
    for (auto _ : state) {
        const auto made = kestro::FrameImpl::create(frame);
        if (!made || made->getBarcodes().size() != codes) state.SkipWithError("codes are missing");
    }
    state.counters["ns_per_code"] = perCode(codes);
}

BENCHMARK(chunkLines)->Args({1, 0})->Args({20, 0})->Args({64, 64});
BENCHMARK(chunkCodes)->Args({1, 0})->Args({20, 0})->Args({64, 64});

}  // namespace

BENCHMARK_MAIN();
