// SPDX-License-Identifier: Apache-2.0
#include "PictureFolder.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace kestrosim {
namespace {

// What the features Width and Height begin with and step by.
constexpr PictureSize kLeast = {64, 16};
constexpr std::uint32_t kWidthStep = 4;

std::vector<std::string> pictureNamesIn(const std::string& path) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.front() == '.' || !isPictureName(name) || entry->is_directory(ignored)) continue;
        names.push_back(name);
    }
    if (error) throw std::runtime_error("cannot read the folder " + path + ": " + error.message());
    std::sort(names.begin(), names.end());
    return names;
}

std::string textOf(PictureSize size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace

PictureFolder::PictureFolder(std::string path, PictureSize sensor)
    : path_(std::move(path)), names_(pictureNamesIn(path_)), sensor_(sensor) {
    if (names_.empty()) {
        throw std::runtime_error("no picture is in the folder " + path_ +
                                 ": no file's name ends in .png, .jpg, .jpeg or .pgm");
    }
    std::vector<PictureSize> sizes;
    for (std::size_t i = 0; i < names_.size(); ++i) sizes.push_back(pictureSizeOf(pathOf(i)));
    fit(sizes);
}

void PictureFolder::fit(const std::vector<PictureSize>& sizes) {
    PictureSize largest = kLeast;
    for (const PictureSize& size : sizes) {
        largest.width = std::max(largest.width, size.width);
        largest.height = std::max(largest.height, size.height);
    }
    if (sensor_.width == 0) {
        sensor_.width = (largest.width + kWidthStep - 1) / kWidthStep * kWidthStep;
    }
    if (sensor_.height == 0) sensor_.height = largest.height;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        if (sizes[i].width <= sensor_.width && sizes[i].height <= sensor_.height) continue;
        throw std::runtime_error(pathOf(i) + " is " + textOf(sizes[i]) +
                                 " pixels, larger than the camera's sensor of " + textOf(sensor_));
    }
}

std::string PictureFolder::pathOf(std::size_t index) const {
    return (std::filesystem::path(path_) / names_[index]).string();
}

std::vector<std::uint8_t> PictureFolder::pixels(std::size_t index) const {
    const Picture picture = loadPicture(pathOf(index));
    const auto [width, height] = picture.size;
    if (width > sensor_.width || height > sensor_.height) {
        throw std::runtime_error("cannot read " + pathOf(index) + ": it has grown meanwhile");
    }
    std::vector<std::uint8_t> pixels(std::size_t{sensor_.width} * sensor_.height, kMidGrey);
    const std::size_t left = (sensor_.width - width) / 2;
    const std::size_t top = (sensor_.height - height) / 2;
    for (std::size_t y = 0; y < height; ++y) {
        std::copy_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>(y * width), width,
                    pixels.begin() + static_cast<std::ptrdiff_t>((top + y) * sensor_.width + left));
    }
    return pixels;
}

}  // namespace kestrosim
