// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FrameAssembler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kestro::test {

/**
 * Writes a batch to where the packets that an assembler expects belong, as the kernel does that was
 * told so, whether it holds them or not. Gives how many of its packets were taken there.
 */
inline std::size_t takeInPlace(Vorda::Gige::FrameAssembler& assembler, Vorda::Gige::ByteView batch,
                               std::size_t packetBytes, Vorda::Gige::FrameAssembler::Time now) {
    const auto run = assembler.expectedRun();
    if (run.count == 0) return 0;
    std::fill_n(run.place, run.count * run.stride, std::uint8_t{0xdd});
    if (packetBytes != run.headerBytes + run.stride) return 0;
    Vorda::Gige::Bytes headers;
    for (std::size_t i = 0; i < std::min(run.count, batch.size() / packetBytes); ++i) {
        const std::uint8_t* const packet = batch.data() + i * packetBytes;
        headers.insert(headers.end(), packet, packet + run.headerBytes);
        std::copy_n(packet + run.headerBytes, run.stride, run.place + i * run.stride);
    }
    return assembler.takePlaced(headers, now);
}

}  // namespace kestro::test
