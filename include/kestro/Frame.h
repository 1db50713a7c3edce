// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_FRAME_H
#define KESTRO_FRAME_H

#include <kestro/BarcodeInfo.h>
#include <kestro/Export.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace kestro {

/**
 * One image with what the camera read in it: a private copy, independent of the camera.
 *
 * Immutable; all operations may be called from any thread. Frames stay valid after the camera was
 * stopped, disconnected or destroyed.
 */
class KESTRO_API Frame {
 public:
    Frame() {}
    Frame(const Frame&) {}                            ///< @private
    Frame& operator=(const Frame&) { return *this; }  ///< @private
    virtual ~Frame();

    /** First byte of the image; null when the camera sent a container without an image. */
    virtual const std::uint8_t* getImageData() const = 0;
    /**
     * Size of the image buffer in bytes. With several images in one container it is the size of the
     * largest one up to the last, so it can exceed the last image.
     */
    virtual std::uint32_t getImageSize() const = 0;
    /** Width in pixels. */
    virtual std::uint32_t getWidth() const = 0;
    /** Height in pixels. */
    virtual std::uint32_t getHeight() const = 0;
    /** Pixel format as a PFNC code (Mono8 is 0x01080001); 0xFFFFFFFF when unknown. */
    virtual std::uint32_t getPixelFormat() const = 0;
    /** True when the image bytes are a JPEG file. */
    virtual bool getPayloadFlag() const = 0;
    /**
     * The stream's block id: consecutive from 1; a gap is a frame that did not arrive. It begins
     * anew when a camera that was lost is back.
     */
    virtual std::uint64_t getBlockId() const = 0;
    /** The trigger's timestamp in ticks of the camera's clock; 0 when the results carried none. */
    virtual std::uint64_t getTimestamp() const = 0;
    /** Time that the camera's readers took, as the camera reports it (milliseconds). */
    virtual std::uint32_t getDetectTime() const = 0;
    /**
     * The reading's outcome: NA 1, Complete 2, NoRead 3, Partial 4, Fail 5, PhaseNA 6,
     * PhaseComplete 7, PhaseNoRead 8, PhasePartial 9, PhaseFail 10; 0 when none was delivered.
     */
    virtual std::uint32_t getStatus() const = 0;
    /** The codes, in the order in which the camera delivered them; the objects are shared. */
    virtual std::vector<std::shared_ptr<BarcodeInfo>> getBarcodes() const = 0;
};

}  // namespace kestro

#endif
