// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PictureFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrosim {

/** What surrounds a picture that is smaller than the sensor. */
inline constexpr std::uint8_t kMidGrey = 128;

/** The pictures in a folder, and the sensor that takes them all. */
class PictureFolder {
 public:
    /**
     * Looks at the headers of all pictures in it; hidden files are none.
     *
     * Throws std::runtime_error: no folder, no picture in it, one that cannot be read, or one that
     * is larger than the sensor.
     *
     * @param sensor  a side of 0 becomes as long as the largest picture needs, rounded up to what
     *                the features Width and Height can be.
     */
    PictureFolder(std::string path, PictureSize sensor);

    [[nodiscard]] PictureSize sensor() const { return sensor_; }
    [[nodiscard]] std::size_t count() const { return names_.size(); }
    /** In order of bytes. */
    [[nodiscard]] const std::string& name(std::size_t index) const { return names_[index]; }

    /** The picture in the middle of the sensor, mid grey around it; throws as loadPicture(). */
    [[nodiscard]] std::vector<std::uint8_t> pixels(std::size_t index) const;

 private:
    [[nodiscard]] std::string pathOf(std::size_t index) const;
    void fit(const std::vector<PictureSize>& sizes);

    std::string path_;
    std::vector<std::string> names_;
    PictureSize sensor_;
};

}  // namespace kestrosim
