// SPDX-License-Identifier: Apache-2.0
#include "JpegHeader.h"

#include <algorithm>

namespace Vorda::Gige {

namespace {

// A file is a row of markers, 0xff and a code; a segment follows most of them: its length in 16
// bits, big endian and with them, and what it holds. A frame header holds:
//   0  bits         8   of a component
//   1  height      16
//   3  width       16
//   5  components   8   then 3 bytes for each
constexpr std::uint8_t kMarker = 0xff;
constexpr std::uint8_t kImageStart = 0xd8;
constexpr std::uint8_t kImageEnd = 0xd9;
constexpr std::uint8_t kScanStart = 0xda;
constexpr std::size_t kLengthBytes = 2;
constexpr std::size_t kFrameHeaderBytes = 6;
constexpr std::size_t kComponentBytes = 3;

/** Markers 0xc0 to 0xcf begin frame headers, but for three among them. */
bool isFrameHeader(std::uint8_t code) {
    constexpr std::uint8_t kHuffmanTables = 0xc4, kExtension = 0xc8, kArithmeticTables = 0xcc;
    return (code & 0xf0) == 0xc0 && code != kHuffmanTables && code != kExtension &&
           code != kArithmeticTables;
}

/** Markers that no segment follows: restarts, and one that is for a coder's own use. */
bool standsAlone(std::uint8_t code) {
    constexpr std::uint8_t kTemporary = 0x01;
    return code == kTemporary || (code & 0xf8) == 0xd0;
}

/** The next marker's code; 0, which is none, where another byte stands. */
std::uint8_t nextCode(BigEndianReader& reader) {
    if (reader.u8() != kMarker) return 0;
    std::uint8_t code = kMarker;
    while (code == kMarker && reader.ok()) code = reader.u8();  // fill bytes
    return code;
}

/** What the next segment holds; empty, and the reader not ok(), when it is not all there. */
ByteView nextSegment(BigEndianReader& reader) {
    const std::size_t length = reader.u16();
    return reader.take(std::max(length, kLengthBytes) - kLengthBytes);
}

std::optional<JpegHeader> frameHeaderOf(ByteView held) {
    BigEndianReader reader(held);
    JpegHeader header;
    header.bits = reader.u8();
    header.height = reader.u16();
    header.width = reader.u16();
    header.components = reader.u8();
    const bool isWhole =
        reader.ok() && held.size() == kFrameHeaderBytes + kComponentBytes * header.components;
    if (!isWhole || header.width == 0 || header.height == 0) return std::nullopt;
    return header;
}

}  // namespace

std::optional<JpegHeader> readJpegHeader(ByteView file) {
    BigEndianReader reader(file);
    if (nextCode(reader) != kImageStart) return std::nullopt;
    while (reader.ok()) {
        const std::uint8_t code = nextCode(reader);
        if (code == 0 || code == kImageEnd || code == kScanStart) return std::nullopt;
        if (standsAlone(code)) continue;
        const ByteView held = nextSegment(reader);
        if (isFrameHeader(code)) return frameHeaderOf(held);
    }
    return std::nullopt;
}

}  // namespace Vorda::Gige
