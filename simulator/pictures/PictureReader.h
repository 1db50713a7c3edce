// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PictureFile.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace kestrosim {

/**
 * Takes a picture out of a file that it borrows: made, it has read the header.
 *
 * Every function throws std::runtime_error, its text the reason alone, without the file's name.
 */
class PictureReader {
 public:
    PictureReader() = default;
    virtual ~PictureReader() = default;
    PictureReader(const PictureReader&) = delete;
    PictureReader& operator=(const PictureReader&) = delete;

    /** As the file says: anything. */
    [[nodiscard]] virtual PictureSize size() const = 0;
    /** Reads all pixels as grey, once, to as many bytes as size() has pixels. */
    virtual void read(std::uint8_t* pixels) = 0;
};

[[nodiscard]] std::unique_ptr<PictureReader> readPng(std::FILE* file);
[[nodiscard]] std::unique_ptr<PictureReader> readJpeg(std::FILE* file);
/** PGM, with binary or with decimal pixels. */
[[nodiscard]] std::unique_ptr<PictureReader> readPgm(std::FILE* file);

/** The grey of a colour, as television weighs it. */
[[nodiscard]] constexpr std::uint8_t luminance(unsigned red, unsigned green, unsigned blue) {
    return static_cast<std::uint8_t>((299 * red + 587 * green + 114 * blue + 500) / 1000);
}

}  // namespace kestrosim
