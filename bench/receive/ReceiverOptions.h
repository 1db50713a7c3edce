// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace kestro::bench {

/** PROGRAM CAMERAS PACKET_BYTES BUFFERS PROCESSOR [WORD]: the same for every receiver. */
struct ReceiverOptions {
    std::size_t cameras = 1;
    int packetBytes = 1500;  ///< with IP and UDP headers
    int buffers = 16;        ///< frames, for each camera
    int cpu = -1;
    std::string word;
};

[[noreturn]] inline void giveUp(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(2);
}

inline ReceiverOptions receiverOptions(int count, char** words) {
    if (count < 5 || count > 6)
        giveUp(std::string(words[0]) + " CAMERAS PACKET_BYTES BUFFERS PROCESSOR [WORD]");
    return {static_cast<std::size_t>(std::atoi(words[1])), std::atoi(words[2]), std::atoi(words[3]),
            std::atoi(words[4]), count == 6 ? words[5] : ""};
}

/** The cameras of the sender. */
inline std::string cameraAddress(std::size_t camera) {
    return "127.0.0." + std::to_string(camera + 2);
}

}  // namespace kestro::bench
