// SPDX-License-Identifier: Apache-2.0
//
// Image data as a camera may send it: block containers with their table, images and result texts.
// The first byte chooses how much of a container is there already, so that the fuzzer reaches the
// inside.
#include "FrameDouble.h"
#include "FrameImpl.h"
#include "RecordingLogger.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kSmallestContainer = 576;
constexpr std::size_t kTextOffset = 88;

std::vector<std::uint8_t> rawContainer(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> image(std::max(size + 4, kSmallestContainer));
    std::memcpy(image.data(), "SMAT", 4);
    std::copy(data, data + size, image.begin() + 4);
    return image;
}

std::vector<std::uint8_t> containerOfOneText(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> image(std::max(kTextOffset + size, kSmallestContainer));
    std::memcpy(image.data(), "SMAT", 4);
    image[8] = 1;
    image[24] = 2;
    image[28] = kTextOffset;
    image[32] = static_cast<std::uint8_t>(size);
    image[33] = static_cast<std::uint8_t>(size >> 8);
    std::copy(data, data + size, image.begin() + kTextOffset);
    return image;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    kestro::test::RecordingLogger::instance().reset();
    kestro::test::FrameContent content;
    content.image =
        data[0] % 2 ? rawContainer(data + 1, size - 1) : containerOfOneText(data + 1, size - 1);
    const auto frame = kestro::FrameImpl::create(kestro::test::makeFrame(std::move(content)));
    if (!frame) return 0;
    for (const auto& code : frame->getBarcodes()) {
        if (code->getPoints().size() != 4) __builtin_trap();
    }
    // Every byte of the image must be there to be read.
    const std::uint8_t* image = frame->getImageData();
    volatile std::uint8_t sum = 0;
    for (std::uint32_t i = 0; image && i < frame->getImageSize(); ++i) sum = sum ^ image[i];
    return 0;
}
