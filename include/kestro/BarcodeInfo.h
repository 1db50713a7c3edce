// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_BARCODEINFO_H
#define KESTRO_BARCODEINFO_H

#include <kestro/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kestro {

/** A place in the image, in pixels; (0, 0) is the upper left pixel. */
struct Point {
    std::int32_t x;  ///< to the right
    std::int32_t y;  ///< down
};

/**
 * One code that the camera read in a frame.
 *
 * Immutable; may be read from any thread and outlives its frame as long as the pointer is held.
 */
class KESTRO_API BarcodeInfo {
 public:
    BarcodeInfo() {}
    BarcodeInfo(const BarcodeInfo&) {}                            ///< @private
    BarcodeInfo& operator=(const BarcodeInfo&) { return *this; }  ///< @private
    virtual ~BarcodeInfo();

    /**
     * The kind of code as a number; one-dimensional kinds are below 100, two-dimensional ones from
     * 100 on; -1 when the camera sent a name that is not in this list.
     *
     * EAN8 0, EAN13 1, CODE39 2, CODE93 3, CODE128 4, UPCA 5, UPCE 6, ITF25 7, CODABAR 8 (also with
     * start and stop letters, CODABARAA to CODABARDD), CODE128A 9, CODE128B 10, CODE128C 11, QR
     * 100, DM 101, PDF417 102, VERICODE 103, MQR 104.
     */
    virtual std::int32_t getCodeType() const = 0;
    /** The kind of code as the camera named it; empty when it named none. */
    virtual const std::string& getCodeTypeName() const = 0;
    /** Size of one module in image pixels; 0 when the camera sent none. */
    virtual float getPPM() const = 0;
    /** The corners, point 0 the code's own upper left and then clockwise; four for every read code.
     */
    virtual const std::vector<Point>& getPoints() const = 0;
    /** The decoded bytes as the camera sent them; usually, but not always, UTF-8. */
    virtual const std::string& getCodeData() const = 0;
};

}  // namespace kestro

#endif
