// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Frame.h>

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrocli {

/** A picture as a file: its bytes and the ending of its name. */
struct EncodedImage {
    std::vector<std::uint8_t> bytes;
    std::string_view extension;  ///< "png", "jpg", or "raw" for bytes as the camera sent them
};

/**
 * The frame's picture: PNG for Mono8, Mono16 and RGB8, a JPEG as it is, anything else raw; so is a
 * picture with fewer bytes than its size needs.
 */
[[nodiscard]] EncodedImage encodeImage(const kestro::Frame& frame);

/**
 * Makes the file appear whole under its name or not at all; what is no file (/dev/stdout, a pipe)
 * is written to as it is. Throws Failure.
 */
void writeWhole(const std::string& path, std::span<const std::uint8_t> bytes);

/** The text as part of a file name: letters, digits, '.', '-' and '_'; never empty or hidden. */
[[nodiscard]] std::string fileNamePart(std::string_view text);

/** "<serial>-<number, eight digits>.<extension>" */
[[nodiscard]] std::string imageName(std::string_view serial, std::uint64_t number,
                                    std::string_view extension);

/** Makes the folder, but not those above it, and tries whether it can be written; throws Failure.
 */
void prepareFolder(const std::string& path);

/** A folder that takes the pictures of a reading. */
class ImageFolder {
 public:
    /** Prepares the folder; throws Failure. */
    explicit ImageFolder(std::string path);

    /**
     * Saves the picture under its imageName().
     *
     * @return the file's name; empty when the frame has no picture.
     */
    std::string save(const kestro::Frame& frame, std::string_view serial, std::uint64_t number);

 private:
    std::string path_;
    std::set<std::uint32_t> rawFormats_;  // those that were already spoken of
};

}  // namespace kestrocli
