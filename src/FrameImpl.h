// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Frame.h>

#include "FrameImage.h"
#include "VordaGenICam.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace kestro {

namespace decode {
struct CodeValues;
struct JsonReadings;
class ChunkLines;
class CodeKeyTable;
}  // namespace decode

/** The only Frame there is. Made whole by create() and never modified afterwards. */
class FrameImpl final : public Frame {
 public:
    /**
     * Decodes the results that came with a received frame, and makes its image the new frame's own:
     * `frame` gives its bytes away, or, where it cannot or that would waste memory, is copied.
     *
     * Threads: any, several at once, each with a frame that no other uses. Never throws.
     *
     * @return the frame; empty when `frame` holds no image or its data cannot be decoded (logged at
     *         300).
     */
    [[nodiscard]] static std::shared_ptr<FrameImpl> create(const Vorda::GenICam::CFrame& frame);

    FrameImpl();
    ~FrameImpl() override;
    FrameImpl(const FrameImpl&) = delete;
    FrameImpl& operator=(const FrameImpl&) = delete;

    const std::uint8_t* getImageData() const override;
    std::uint32_t getImageSize() const override;
    std::uint32_t getWidth() const override;
    std::uint32_t getHeight() const override;
    std::uint32_t getPixelFormat() const override;
    bool getPayloadFlag() const override;
    std::uint64_t getBlockId() const override;
    std::uint64_t getTimestamp() const override;
    std::uint32_t getDetectTime() const override;
    std::uint32_t getStatus() const override;
    std::vector<std::shared_ptr<BarcodeInfo>> getBarcodes() const override;

    // The steps of create(); each adds to the frame.

    /**
     * Decodes a block container; false when a block does not lie inside it (logged at 300). Its
     * only image stays in `data`.
     */
    [[nodiscard]] bool parseJsonFrame(const std::uint8_t* data, std::uint32_t size);
    /** Decodes a result document; false when it does not parse (logged at 300). */
    bool parseJson(std::string_view text);
    /** Notes the image, which stays in `frame`, and decodes the frame's chunks; always true. */
    [[nodiscard]] bool parseChunks(const Vorda::GenICam::CFrame& frame);
    /** Copies an image into the frame, as FrameImage::copy() does. */
    void setImage(const void* bytes, std::uint32_t size);

 private:
    void parseChunk(std::uint32_t chunkId, decode::ChunkLines& lines);
    void appendChunkCodes(decode::ChunkLines& lines, decode::CodeKeyTable& table,
                          std::uint32_t announced);
    void takeReadings(const decode::JsonReadings& readings);
    void appendCode(const decode::CodeValues& code);

    FrameImage image_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t pixelFormat_ = 0xFFFFFFFF;
    bool payloadFlag_ = false;
    std::uint64_t blockId_ = 0;
    std::uint64_t timestamp_ = 0;
    std::uint32_t barcodeDetectTime_ = 0;
    std::uint32_t qrDetectTime_ = 0;
    std::uint32_t status_ = 0;
    std::vector<std::shared_ptr<BarcodeInfo>> barcodes_;
};

}  // namespace kestro
