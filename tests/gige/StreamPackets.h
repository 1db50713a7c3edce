// SPDX-License-Identifier: Apache-2.0
//
// Stream packets as a camera writes them, for tests of the receiver.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace kestro::test {

using Bytes = std::vector<std::uint8_t>;

inline void appendBig(Bytes& bytes, std::uint64_t value, unsigned count) {
    for (unsigned i = count; i-- > 0;)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i) & 0xff));
}

/** Content that differs at every place and from seed to seed. */
inline Bytes content(std::size_t count, std::uint32_t seed) {
    std::minstd_rand random(seed + 1);
    Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 7);
    return bytes;
}

/** A chunk as it stands in a payload: its bytes, id and length. */
inline Bytes chunk(std::uint32_t id, Bytes bytes) {
    const std::size_t length = bytes.size();
    appendBig(bytes, id, 4);
    appendBig(bytes, length, 4);
    return bytes;
}

/** Writes the packets of one block. */
struct PacketWriter {
    std::uint64_t blockId = 1;
    bool extended = false;
    std::size_t stride = 100;  ///< payload bytes in a full packet
    std::uint16_t payloadType = 1;
    std::uint64_t timestamp = 0x0102030405060708;
    std::uint32_t width = 4;
    std::uint32_t height = 3;

    [[nodiscard]] Bytes header(std::uint8_t format, std::uint32_t packetId,
                               std::uint16_t status = 0) const {
        Bytes bytes;
        appendBig(bytes, status, 2);
        appendBig(bytes, extended ? 0 : blockId, 2);
        bytes.push_back(static_cast<std::uint8_t>(format | (extended ? 0x80 : 0)));
        appendBig(bytes, extended ? 0 : packetId, 3);
        if (extended) appendBig(bytes, blockId, 8);
        if (extended) appendBig(bytes, packetId, 4);
        return bytes;
    }
    /** Mono8. */
    [[nodiscard]] Bytes leader() const {
        Bytes bytes = header(1, 0);
        appendBig(bytes, payloadType, 4);
        appendBig(bytes, timestamp, 8);
        appendBig(bytes, 0x01080001, 4);
        appendBig(bytes, width, 4);
        appendBig(bytes, height, 4);
        bytes.resize(bytes.size() + 12);  // offsets and paddings
        return bytes;
    }
    [[nodiscard]] Bytes payload(std::uint32_t packetId, const Bytes& part) const {
        Bytes bytes = header(3, packetId);
        bytes.insert(bytes.end(), part.begin(), part.end());
        return bytes;
    }
    [[nodiscard]] Bytes trailer(std::uint32_t packetId) const {
        Bytes bytes = header(2, packetId);
        appendBig(bytes, payloadType, 4);
        appendBig(bytes, height, 4);
        return bytes;
    }
    /** Leader, payload, trailer: packet i stands at place i. */
    [[nodiscard]] std::vector<Bytes> block(const Bytes& image) const {
        std::vector<Bytes> packets{leader()};
        for (std::size_t at = 0; at < image.size(); at += stride) {
            const std::size_t end = std::min(at + stride, image.size());
            const Bytes part(image.begin() + static_cast<std::ptrdiff_t>(at),
                             image.begin() + static_cast<std::ptrdiff_t>(end));
            packets.push_back(payload(static_cast<std::uint32_t>(packets.size()), part));
        }
        packets.push_back(trailer(static_cast<std::uint32_t>(packets.size())));
        return packets;
    }
};

}  // namespace kestro::test
