// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Simulator.h"
#include "WireFrame.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kestro::bench {

/** Of the first camera; the others are at the addresses behind it. In host byte order. */
inline constexpr std::uint32_t kFirstCamera = 0x7f000002;

/**
 * The cameras that streams are controlled by. They send nothing themselves: receivers make them
 * wait for a trigger, which never comes.
 */
class QuietCameras {
 public:
    /** Waits until they have nothing left to do. */
    QuietCameras(std::size_t count, const ImageShape& shape);

 private:
    std::vector<std::unique_ptr<kestrosim::SimulatedCamera>> cameras_;
};

}  // namespace kestro::bench
