// SPDX-License-Identifier: Apache-2.0
//
// A description's archive holds one file, and a camera may send anything: so only the little of the
// format that is needed, with every number checked.
//
//   end of directory     directory entry         local header
//    0  "PK\5\6"           0  "PK\1\2"              0  "PK\3\4"
//   16  its offset  32      8  flags          16   26  name's bytes   16
//                          10  method         16   28  extra's bytes  16
//                          16  check sum      32
//                          20  packed size    32
//                          24  size           32
//                          42  local header's 32
//
// Everything is little endian.
#include "Zip.h"

#include <zlib.h>
#include <algorithm>
#include <utility>

namespace Vorda::Gige {
namespace {

constexpr std::uint32_t kEndOfDirectory = 0x06054b50;
constexpr std::uint32_t kDirectoryEntry = 0x02014b50;
constexpr std::uint32_t kLocalHeader = 0x04034b50;
constexpr std::size_t kEndOfDirectoryBytes = 22;
constexpr std::size_t kDirectoryEntryBytes = 46;
constexpr std::size_t kLocalHeaderBytes = 30;
constexpr std::uint32_t kEncrypted = 1;
constexpr std::uint32_t kStored = 0;
constexpr std::uint32_t kDeflated = 8;

/** `bytes` must hold offset + 2 (or 4) bytes. */
std::uint32_t little16(ByteView bytes, std::size_t offset) {
    return bytes[offset] | static_cast<std::uint32_t>(bytes[offset + 1]) << 8;
}

std::uint32_t little32(ByteView bytes, std::size_t offset) {
    return little16(bytes, offset) | little16(bytes, offset + 2) << 16;
}

/** `count` bytes from `offset`; empty when they are not all there. */
ByteView slice(ByteView bytes, std::size_t offset, std::size_t count) {
    if (offset > bytes.size() || count > bytes.size() - offset) return {};
    return bytes.subspan(offset, count);
}

/** The record at the archive's end; a comment of up to 65,535 bytes may follow it. */
ByteView endOfDirectory(ByteView archive) {
    constexpr std::size_t kLongestComment = 0xffff;
    if (archive.size() < kEndOfDirectoryBytes) return {};
    const std::size_t last = archive.size() - kEndOfDirectoryBytes;
    const std::size_t first = last > kLongestComment ? last - kLongestComment : 0;
    for (std::size_t at = last + 1; at-- > first;) {
        const ByteView record = archive.subspan(at, kEndOfDirectoryBytes);
        if (little32(record, 0) == kEndOfDirectory) return record;
    }
    return {};
}

/** The first entry of the directory that `end` leads to; empty when there is none. */
ByteView firstEntry(ByteView archive, ByteView end) {
    const ByteView entry = slice(archive, little32(end, 16), kDirectoryEntryBytes);
    return !entry.empty() && little32(entry, 0) == kDirectoryEntry ? entry : ByteView{};
}

/** The packed bytes of a directory entry's file. */
ByteView packedBytes(ByteView archive, ByteView entry) {
    const std::size_t at = little32(entry, 42);
    const ByteView local = slice(archive, at, kLocalHeaderBytes);
    if (local.empty() || little32(local, 0) != kLocalHeader) return {};
    const std::size_t data = at + kLocalHeaderBytes + little16(local, 26) + little16(local, 28);
    return slice(archive, data, little32(entry, 20));
}

/** Unpacks into a text of just the announced size; false unless the data is of that size. */
bool inflateInto(std::string& text, ByteView packed) {
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return false;
    stream.next_in = const_cast<Bytef*>(packed.data());  // zlib's interface is older than const
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    const int result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    return result == Z_STREAM_END && stream.avail_out == 0;
}

std::uint32_t checkSum(const std::string& text) {
    const auto* const bytes = reinterpret_cast<const Bytef*>(text.data());
    return static_cast<std::uint32_t>(crc32_z(0, bytes, text.size()));
}

}  // namespace

bool looksZipped(ByteView bytes) { return bytes.size() >= 4 && little32(bytes, 0) == kLocalHeader; }

std::optional<UnzippedFile> unzipFirstFile(ByteView archive, std::size_t limitBytes,
                                           std::string& reason) {
    const auto failed = [&reason](const char* why) {
        reason = why;
        return std::nullopt;
    };
    const ByteView end = endOfDirectory(archive);
    if (end.empty()) return failed("the zip archive is cut");
    const ByteView entry = firstEntry(archive, end);
    if (entry.empty()) return failed("the zip archive is damaged");
    if ((little16(entry, 8) & kEncrypted) != 0) return failed("the zip archive is encrypted");
    const std::size_t size = little32(entry, 24);
    if (size > limitBytes) return failed("the file in the zip archive is too large");
    const ByteView packed = packedBytes(archive, entry);
    if (packed.empty()) return failed("the zip archive is damaged");
    const std::uint32_t method = little16(entry, 10);
    if (method == kStored && packed.size() != size) return failed("the zip archive is damaged");
    if (method != kStored && method != kDeflated)
        return failed("the zip archive is packed in an unknown way");
    // Deflate packs a thousandfold at best: what promises more need not be allocated.
    constexpr std::size_t kBestRatio = 1100;
    if (size / kBestRatio > packed.size()) return failed("the zip archive is damaged");
    std::string text(size, '\0');
    if (method == kStored)
        std::ranges::copy(packed, text.begin());
    else if (!inflateInto(text, packed))
        return failed("the zip archive is damaged");
    const bool isSumRight = checkSum(text) == little32(entry, 16);
    return UnzippedFile{std::move(text), isSumRight};
}

ByteView zipDirectory(ByteView archive) {
    const ByteView end = endOfDirectory(archive);
    if (end.empty() || firstEntry(archive, end).empty()) return {};
    return archive.subspan(little32(end, 16));
}

}  // namespace Vorda::Gige
