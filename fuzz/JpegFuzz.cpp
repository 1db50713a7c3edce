// SPDX-License-Identifier: Apache-2.0
//
// The header of a JPEG file, as a camera may send it.
#include "FuzzInput.h"
#include "JpegHeader.h"

#include <optional>

namespace {

using namespace kestro::fuzz;
using Vorda::Gige::JpegHeader;
using Vorda::Gige::readJpegHeader;

bool isSame(const std::optional<JpegHeader>& one, const std::optional<JpegHeader>& other) {
    if (!one || !other) return !one && !other;
    return one->width == other->width && one->height == other->height &&
           one->components == other->components && one->bits == other->bits;
}

/** True when some frame header of the file says so: a search that knows nothing of segments. */
bool standsIn(ByteView file, const JpegHeader& header) {
    for (std::size_t at = 0; at + 10 <= file.size(); ++at) {
        const bool isMarker = file[at] == 0xff && file[at + 1] >= 0xc0 && file[at + 1] <= 0xcf;
        const std::uint32_t height = file[at + 5] * 256U + file[at + 6];
        const std::uint32_t width = file[at + 7] * 256U + file[at + 8];
        if (isMarker && file[at + 4] == header.bits && height == header.height &&
            width == header.width && file[at + 9] == header.components)
            return true;
    }
    return false;
}

void check(ByteView file) {
    const auto header = readJpegHeader(file);
    if (!header) return;
    KESTRO_EXPECT(header->width != 0 && header->width <= 0xffff);
    KESTRO_EXPECT(header->height != 0 && header->height <= 0xffff);
    KESTRO_EXPECT(header->components <= 0xff && header->bits <= 0xff);
    KESTRO_EXPECT(standsIn(file, *header));
    // What follows the header does not count, and less than the header is none.
    Bytes longer = exactly(file);
    longer.insert(longer.end(), {0xff, 0xc0, 0, 11, 8, 0, 1, 0, 1, 1, 0, 0, 0});
    KESTRO_EXPECT(isSame(header, readJpegHeader(longer)));
    const std::size_t headerBytes = 12 + std::size_t{3} * header->components;
    for (std::size_t size = 0; size < std::min(file.size(), headerBytes); ++size)
        KESTRO_EXPECT(!readJpegHeader(file.first(size)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ByteView file(data + 1, size - 1);
    if ((data[0] & 1) != 0) {
        check(exactly(file));
        return 0;
    }
    Bytes whole{0xff, 0xd8};
    whole.insert(whole.end(), file.begin(), file.end());
    check(whole);
    return 0;
}
