// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CameraStream.h"
#include "SendOrder.h"
#include "WireFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestro::bench {

/** Sends the streams of cameras, all on the thread that orders it. */
class Sender {
 public:
    /** The cameras' pictures have that shape. */
    Sender(std::size_t cameras, const ImageShape& shape) : shape_(shape), blocks_(cameras, 1) {}

    /** Sends, and prints what was sent in a JSON object. Throws std::runtime_error. */
    void carryOut(const SendOrder& order);

 private:
    using Streams = std::vector<CameraStream>;

    [[nodiscard]] Streams makeStreams(const SendOrder& order) const;
    [[nodiscard]] std::vector<WireFrame> makeFrames(const SendOrder& order, std::size_t camera,
                                                    std::size_t packetBytes) const;

    const ImageShape shape_;
    std::vector<std::uint16_t> blocks_;  ///< each camera's next block id
};

}  // namespace kestro::bench
