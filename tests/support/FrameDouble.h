// SPDX-License-Identifier: Apache-2.0
//
// The device SDK's CFrame for tests: whatever a test says it holds.
#pragma once

#include "VordaGenICam.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestro::test {

struct ChunkContent {
    /** How getChunkDataByIndex answers. */
    enum class Answer { kTrue, kFalseButFilled, kFalseAndUntouched };

    std::uint32_t id = 0;
    std::vector<std::string> lines;
    Answer answer = Answer::kTrue;
};

struct FrameContent {
    bool isValid = true;
    std::uint64_t blockId = 1;
    /** The image; exactly as large as its bytes, so that the sanitizer sees a read past the end. */
    std::vector<std::uint8_t> image;
    bool hasNullImage = false;
    /** What getImageSize() says where it is not the image's true size. */
    std::optional<std::uint32_t> announcedSize;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelFormat = 0x01080001;
    std::uint64_t timestamp = 0;
    std::vector<std::uint32_t> payloadTypes = {1};
    std::vector<ChunkContent> chunks;
    /** Called at the start of every getChunkDataByIndex; may throw. */
    std::function<void()> beforeChunk;
    /** Whether the frame gives its bytes away; never while it has copies. */
    bool gives = false;
};

/** A frame of the device SDK with this content. */
Vorda::GenICam::CFrame makeFrame(FrameContent content);

}  // namespace kestro::test
