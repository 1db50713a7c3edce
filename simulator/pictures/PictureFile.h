// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrosim {

/** No picture is longer or higher; it bounds what a file can make the program allocate. */
inline constexpr std::uint32_t kLongestPictureSide = 8192;

struct PictureSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/** A picture in grey: Mono8, rows without padding. */
struct Picture {
    PictureSize size;
    std::vector<std::uint8_t> pixels;
};

/** Whether a file of that name is taken for a picture: .png, .jpg, .jpeg or .pgm, in any case. */
[[nodiscard]] bool isPictureName(std::string_view name);

/**
 * The size that the file says it has. What it begins with decides how it is read, not its name.
 *
 * Throws std::runtime_error, with the file's name and the reason in its text.
 */
[[nodiscard]] PictureSize pictureSizeOf(const std::string& path);

/**
 * The whole picture: colours as their luminance, transparent ones over white, 16 bits as their
 * upper 8. How a JPEG file says that it is to be turned (EXIF) is not looked at.
 *
 * Throws as pictureSizeOf(), also for a file that is cut off or damaged anywhere.
 */
[[nodiscard]] Picture loadPicture(const std::string& path);

}  // namespace kestrosim
