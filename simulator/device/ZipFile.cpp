// SPDX-License-Identifier: Apache-2.0
#include "ZipFile.h"

#include <zlib.h>

#include <cstdint>
#include <stdexcept>

namespace kestrosim {
namespace {

// Little endian. Local header and, with the parts in brackets, the directory's entry of a file:
//   signature32 | [made by16] | needs16 | flags16 | method16 | time16 | date16 | crc32 | packed32
//   size32 | name length16 | extra length16 | [comment length16, disk16, internal16, external32,
//   offset32] | name
// End: signature32 | disk16 | directory's disk16 | entries here16 | entries16 | directory bytes32
//   directory offset32 | comment length16
constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kEntrySignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr unsigned kVersion = 20;
constexpr unsigned kDeflated = 8;
constexpr unsigned kFirstOf1980 = 0x0021;

void add16(std::string& to, unsigned value) {
    to += static_cast<char>(value);
    to += static_cast<char>(value >> 8);
}

void add32(std::string& to, std::size_t value) {
    add16(to, static_cast<unsigned>(value));
    add16(to, static_cast<unsigned>(value >> 16));
}

Bytef* zlibBytes(const char* bytes) {
    return const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes));
}

std::string deflated(std::string_view bytes) {
    z_stream stream{};
    constexpr int kNoHeader = -MAX_WBITS;
    constexpr int kMemoryLevel = 8;
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kNoHeader, kMemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("no memory to pack the camera's description");
    }
    std::string packed(deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = zlibBytes(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = zlibBytes(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    // There is room for everything, so that one step ends it.
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

/** What the local header and the directory's entry have in common, from the version needed on. */
std::string commonFields(std::string_view fileName, std::string_view bytes,
                         std::size_t packedBytes) {
    std::string fields;
    add16(fields, kVersion);
    add16(fields, 0);
    add16(fields, kDeflated);
    add16(fields, 0);
    add16(fields, kFirstOf1980);
    add32(fields, crc32(0, zlibBytes(bytes.data()), static_cast<uInt>(bytes.size())));
    add32(fields, packedBytes);
    add32(fields, bytes.size());
    add16(fields, static_cast<unsigned>(fileName.size()));
    add16(fields, 0);
    return fields;
}

}  // namespace

std::string zipFile(std::string_view fileName, std::string_view bytes) {
    const std::string packed = deflated(bytes);
    const std::string fields = commonFields(fileName, bytes, packed.size());
    std::string zip;
    add32(zip, kLocalSignature);
    zip += fields;
    zip += fileName;
    zip += packed;

    const std::size_t directory = zip.size();
    add32(zip, kEntrySignature);
    add16(zip, kVersion);
    zip += fields;
    zip.append(14, '\0');  // of all that follows nothing is set; the file begins at 0
    zip += fileName;

    const std::size_t directoryBytes = zip.size() - directory;
    add32(zip, kEndSignature);
    add32(zip, 0);
    add16(zip, 1);
    add16(zip, 1);
    add32(zip, directoryBytes);
    add32(zip, directory);
    add16(zip, 0);
    return zip;
}

}  // namespace kestrosim
