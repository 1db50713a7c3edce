// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestro::bench {

/**
 * What the sender is told in a line of words "name=value":
 *
 *     cameras=4    the first so many send; 1 when not said
 *     seconds=1.5  frames begin for so long; what has begun is sent to its end
 *     batched=1    the kernel is given runs of packets (UDP_SEGMENT); 0: single ones
 *     rate=5e8     bytes a second of all cameras together; 0 or not said: as fast as it goes
 *     fps=10 link=118e6  instead: frames a second of each camera, each sent with so many bytes a
 *                  second
 *     to=PORT,...  a receiver without control of the cameras: its ports on 127.0.0.1
 *     packet=1500  and the size of its packets, with IP and UDP headers
 *     times=FILE   gets a line "camera block began returned" for each frame: when its last packet
 *                  was sent, in nanoseconds of the monotonic clock
 */
struct SendOrder {
    std::size_t cameras = 1;
    double seconds = 1;
    bool isBatched = false;
    double bytesPerSecond = 0;
    double framesPerSecond = 0;
    double linkBytesPerSecond = 0;
    std::vector<std::uint16_t> ports;
    std::uint32_t packetBytes = 1500;
    std::string timesFile;
};

/** Throws std::runtime_error. */
[[nodiscard]] SendOrder parseOrder(const std::string& line);

}  // namespace kestro::bench
