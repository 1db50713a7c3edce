// SPDX-License-Identifier: Apache-2.0
#include "FrameSource.h"

#include "Simulator.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace kestrosim {
namespace {

bool isWholeSensor(const Scene& scene, const StreamSettings& settings) {
    return settings.width == scene.width && settings.height == scene.height;
}

bool isInside(const SceneCode& code, const StreamSettings& window) {
    return std::all_of(code.corners.begin(), code.corners.end(), [&](const PixelPoint& corner) {
        const std::int64_t x = std::int64_t{corner.x} - window.offsetX;
        const std::int64_t y = std::int64_t{corner.y} - window.offsetY;
        return x >= 0 && y >= 0 && x < window.width && y < window.height;
    });
}

std::vector<SceneCode> codesInside(const std::vector<SceneCode>& codes,
                                   const StreamSettings& window) {
    std::vector<SceneCode> inside;
    for (SceneCode code : codes) {
        if (!isInside(code, window)) continue;
        for (PixelPoint& corner : code.corners) {
            corner.x -= static_cast<std::int32_t>(window.offsetX);
            corner.y -= static_cast<std::int32_t>(window.offsetY);
        }
        inside.push_back(std::move(code));
    }
    return inside;
}

std::vector<std::uint8_t> pixelsInside(const Scene& scene, const StreamSettings& window) {
    std::vector<std::uint8_t> pixels(std::size_t{window.width} * window.height);
    for (std::size_t row = 0; row < window.height; ++row) {
        const std::size_t from = (row + window.offsetY) * scene.width + window.offsetX;
        std::copy_n(scene.pixels.begin() + static_cast<std::ptrdiff_t>(from), window.width,
                    pixels.begin() + static_cast<std::ptrdiff_t>(row * window.width));
    }
    return pixels;
}

ReadStatus statusOf(const Scene& scene) {
    if (scene.read.empty()) return ReadStatus::noRead;
    return scene.read.size() < scene.drawn.size() ? ReadStatus::partial : ReadStatus::complete;
}

Scene cropped(const Scene& scene, const StreamSettings& window) {
    Scene part;
    part.width = window.width;
    part.height = window.height;
    part.pixels = pixelsInside(scene, window);
    part.drawn = codesInside(scene.drawn, window);
    part.read = codesInside(scene.read, window);
    part.status = statusOf(part);
    part.readMilliseconds = scene.readMilliseconds;
    return part;
}

void brighten(std::vector<std::uint8_t>& pixels, double factor) {
    std::array<std::uint8_t, 256> curve{};
    for (std::size_t level = 0; level < curve.size(); ++level) {
        const double bright = std::round(static_cast<double>(level) * factor);
        curve[level] = static_cast<std::uint8_t>(std::min(bright, 255.0));
    }
    for (std::uint8_t& pixel : pixels) pixel = curve[pixel];
}

std::shared_ptr<const Scene> seen(const std::shared_ptr<const Scene>& scene,
                                  const StreamSettings& settings) {
    const double factor = settings.exposureMicroseconds / kNominalExposureMicroseconds;
    const bool nominal = std::abs(factor - 1) < 1e-9;
    if (nominal && isWholeSensor(*scene, settings)) return scene;
    auto view = std::make_shared<Scene>(cropped(*scene, settings));
    if (!nominal) brighten(view->pixels, factor);
    return view;
}

}  // namespace

TruthFile::TruthFile(const std::string& path) {
    if (path.empty()) return;
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (descriptor_ < 0) {
        throw std::runtime_error(path + " cannot be opened for writing: " + std::strerror(errno));
    }
}

TruthFile::~TruthFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

// One write for a line: several cameras may append to one file.
void TruthFile::append(std::string line) const {
    if (descriptor_ < 0) return;
    line += '\n';
    const char* from = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        const ssize_t written = ::write(descriptor_, from, left);
        if (written < 0 && errno != EINTR) return;
        if (written < 0) continue;
        from += written;
        left -= static_cast<std::size_t>(written);
    }
}

FrameSource::FrameSource(const CameraOptions& options)
    : camera_(options.serial),
      truth_(options.truthFile),
      scenes_({options.width, options.height, options.seed, options.scenes}),
      truthWritten_(std::max(scenes_.count(), 1U)) {}

std::shared_ptr<const Scene> FrameSource::scene(std::uint64_t number) {
    const std::uint64_t index = number % truthWritten_.size();
    std::shared_ptr<const Scene> scene = scenes_.scene(index);
    if (!truthWritten_[index]) {
        truth_.append(truthLine(camera_, static_cast<std::uint32_t>(index), *scene));
        truthWritten_[index] = true;
    }
    return scene;
}

FramePayload FrameSource::expose(const std::shared_ptr<const Scene>& scene,
                                 const StreamSettings& settings, std::uint64_t timestamp) {
    const std::shared_ptr<const Scene> view = seen(scene, settings);
    FramePayload frame;
    frame.width = view->width;
    frame.height = view->height;
    frame.offsetX = settings.offsetX;
    frame.offsetY = settings.offsetY;
    frame.timestamp = timestamp;
    if (settings.format == ResultFormat::container) {
        frame.bytes =
            std::make_shared<const std::vector<std::uint8_t>>(encodeContainer(*view, timestamp));
    } else {
        // The picture stays alive with the scene that it belongs to.
        frame.bytes = {view, &view->pixels};
    }
    return frame;
}

}  // namespace kestrosim
