// SPDX-License-Identifier: Apache-2.0
//
// Where a frame's image and chunks lie in its payload. Pure; nothing outside the payload is read.
#pragma once

#include "Bytes.h"
#include "Gvsp.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Vorda::Gige {

/** One chunk: its place in the payload, its trailer not counted. */
struct ChunkRange {
    std::uint32_t id = 0;
    std::uint32_t offsetBytes = 0;
    std::uint32_t lengthBytes = 0;
};

/**
 * The chunks of a payload, in its order.
 *
 * Each chunk's data is followed by its id and length, big endian, 4 bytes each; so they are found
 * from the payload's end. Of more than kMost chunks the first ones are kept: what a camera says
 * about their number costs no memory.
 */
class PayloadChunks {
 public:
    static constexpr std::size_t kMost = 64;
    static constexpr std::size_t kTrailerBytes = 8;

    /** False, and no chunks, for a payload that does not come out exactly. */
    [[nodiscard]] bool find(ByteView payload);

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] const ChunkRange& operator[](std::size_t index) const { return ranges_[index]; }
    /** How many more the payload has. */
    [[nodiscard]] std::size_t ignored() const { return ignored_; }

 private:
    std::array<ChunkRange, kMost> ranges_{};
    std::size_t size_ = 0;
    std::size_t ignored_ = 0;
};

/** What is known of the image: from the leader or, of a JPEG file, from its own header. */
struct ImageGeometry {
    static constexpr std::uint32_t kUnknownFormat = 0xffffffff;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelFormat = kUnknownFormat;  ///< of a JPEG file: once it is decoded
};

/** What a payload consists of. */
struct PayloadContent {
    std::size_t imageBytes = 0;  ///< they are the first ones
    ImageGeometry image;
    PayloadChunks chunks;
    bool isBroken = false;  ///< there should be chunks, but they cannot be found
};

/**
 * False when the payload shows that bytes of it are missing or too many: an image smaller than the
 * leader says, chunks that do not come out.
 */
[[nodiscard]] bool looksWhole(const GvspLeader& leader, ByteView payload);

/**
 * Takes a complete payload apart.
 *
 * The image of a payload with chunks is its first chunk; when the chunks cannot be found, as much
 * as the leader's geometry says. Where that is nothing, or more than there is, the payload counts
 * as a whole: a frame whose image is empty would be dropped, and what else it tells with it. The
 * same goes for a payload of nothing but chunks, which does not say which of them is an image.
 */
void takeApart(const GvspLeader& leader, ByteView payload, PayloadContent& content);

}  // namespace Vorda::Gige
