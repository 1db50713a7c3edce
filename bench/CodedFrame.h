// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace kestro::bench {

/** Bytes of a container before its image: the header and the table of two blocks. */
constexpr std::uint32_t kTableBytes = 24 + 2 * 64;

inline std::string resultDocument(int codes) {
    std::string text =
        R"({"ChunkBarCodeJson":{"value":{"Status":{"value":"Complete"},"Time":{"value":12},)"
        R"("BarCode":{"value":[)";
    for (int i = 0; i < codes; ++i) {
        if (i > 0) text += ',';
        text += R"({"CodeType":{"value":"CODE128"},"CodeData":{"value":"KST-00)" +
                std::to_string(1000 + i) + R"("},"PPM":{"value":3.25})";
        for (const char* point : {"Point0", "Point1", "Point2", "Point3"}) {
            text += std::string(",\"") + point + R"(_X":{"value":1024},")" + point +
                    R"(_Y":{"value":768})";
        }
        text += '}';
    }
    return text + "]}}}}";
}

/** A frame's bytes: the container of an image and of a result document with that many codes. */
inline std::vector<std::uint8_t> container(std::uint32_t width, std::uint32_t height, int codes) {
    const std::string json = resultDocument(codes);
    const std::uint32_t imageBytes = width * height;
    std::vector<std::uint8_t> bytes(kTableBytes + imageBytes + json.size(), 0x5a);
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
    entry(24, 0, kTableBytes, imageBytes);
    store(24 + 12, width);
    store(24 + 16, height);
    entry(24 + 64, 2, kTableBytes + imageBytes, json.size());
    std::memcpy(bytes.data() + kTableBytes + imageBytes, json.data(), json.size());
    return bytes;
}

}  // namespace kestro::bench
