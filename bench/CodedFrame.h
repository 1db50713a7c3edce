// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace kestro::bench {

/** Bytes of a container before its image: the header and a table with room for eight blocks. */
constexpr std::uint32_t kTableBytes = 576;

inline std::string resultDocument(int codes) {
    std::string text =
        R"({"ChunkPipelineJson":{"value":{"TriggerTsHigh":{"value":7},"TriggerTsLow":{"value":)"
        R"(123456789}}},"ChunkImgScaleJson":{"value":{"OutWidth":{"value":2448},"OutHeight":)"
        R"({"value":2048}}},"ChunkBarCodeJson":{"value":{"Status":{"value":"Complete"},"Time":)"
        R"({"value":12},"BarCode":{"value":[)";
    for (int i = 0; i < codes; ++i) {
        if (i > 0) text += ',';
        text += R"({"CodeType":{"value":"CODE128"},"CodeData":{"value":"KST-00)" +
                std::to_string(1000 + i) + R"("},"PPM":{"value":3.)" + std::to_string(25 + i) + '}';
        for (int j = 0; j < 4; ++j) {
            const std::string name = ",\"Point" + std::to_string(j);
            text += name + "_X\":{\"value\":" + std::to_string(1000 + 7 * i + j) + '}' + name +
                    "_Y\":{\"value\":" + std::to_string(700 + 5 * i + j) + '}';
        }
        text += '}';
    }
    return text + "]}}}}";
}

/** What a container's image block holds. */
struct ImageBlock {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bytes = 0;
    bool isJpeg = false;
};

/** A frame's bytes: the container of an image and of a result document with that many codes. */
inline std::vector<std::uint8_t> container(const ImageBlock& image, int codes) {
    const std::string json = resultDocument(codes);
    std::vector<std::uint8_t> bytes(kTableBytes + image.bytes + json.size(), 0x5a);
    const auto store = [&bytes](std::size_t at, std::uint64_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
    };
    const auto entry = [&](std::size_t at, std::uint32_t type, std::uint32_t offset,
                           std::size_t size) {
        std::memset(bytes.data() + at, 0, 64);
        store(at, type);
        store(at + 4, offset);
        store(at + 8, size);
    };
    std::memcpy(bytes.data(), "SMAT", 4);
    store(8, 2);
    entry(24, 0, kTableBytes, image.bytes);
    store(24 + 12, image.width);
    store(24 + 16, image.height);
    store(24 + 32, image.isJpeg ? 1 : 0);
    entry(24 + 64, 2, kTableBytes + image.bytes, json.size());
    std::memcpy(bytes.data() + kTableBytes + image.bytes, json.data(), json.size());
    return bytes;
}

/** The same of a raw image. */
inline std::vector<std::uint8_t> container(std::uint32_t width, std::uint32_t height, int codes) {
    return container({width, height, width * height, false}, codes);
}

}  // namespace kestro::bench
