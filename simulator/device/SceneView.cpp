// SPDX-License-Identifier: Apache-2.0
#include "SceneView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace kestrosim {
namespace {

// The window is taken from the mirrored picture, so it lies on the sensor's other side.
Region windowOf(const Scene& scene, const StreamSettings& settings) {
    const std::uint32_t x =
        settings.mirrored ? scene.width - settings.width - settings.offsetX : settings.offsetX;
    return {x, settings.offsetY, settings.width, settings.height};
}

// A code's right and lower corners lie just outside it.
bool isInside(const SceneCode& code, const Region& region) {
    return std::all_of(code.corners.begin(), code.corners.end(), [&](const PixelPoint& corner) {
        const std::int64_t x = std::int64_t{corner.x} - region.x;
        const std::int64_t y = std::int64_t{corner.y} - region.y;
        return x >= 0 && y >= 0 && x <= region.width && y <= region.height;
    });
}

void moveInto(SceneCode& code, const Region& window) {
    for (PixelPoint& corner : code.corners) {
        corner.x -= static_cast<std::int32_t>(window.x);
        corner.y -= static_cast<std::int32_t>(window.y);
    }
}

// The first corner stays the upper left one.
void mirror(SceneCode& code, std::uint32_t width) {
    for (PixelPoint& corner : code.corners) {
        corner.x = static_cast<std::int32_t>(width) - corner.x;
    }
    std::swap(code.corners[0], code.corners[1]);
    std::swap(code.corners[2], code.corners[3]);
}

bool isSwitchedOn(const SceneCode& code, const ReaderSettings& reader) {
    const std::size_t place = symbologyOf(code.type);
    return place < reader.symbologies.size() && reader.symbologies[place];
}

/** The codes that show in the window and that the reader is to look for. */
std::vector<SceneCode> wantedOf(const std::vector<SceneCode>& codes, const Region& window,
                                const StreamSettings& settings) {
    const ReaderSettings& reader = settings.reader;
    std::vector<SceneCode> wanted;
    for (SceneCode code : codes) {
        if (!isInside(code, window) || !isSwitchedOn(code, reader)) continue;
        moveInto(code, window);
        if (settings.mirrored) mirror(code, window.width);
        if (reader.hasRegion && !isInside(code, reader.region)) continue;
        wanted.push_back(std::move(code));
    }
    return wanted;
}

ReadStatus statusOf(const Scene& scene, std::uint32_t expectedCount) {
    if (scene.read.empty()) return ReadStatus::noRead;
    const std::size_t expected = expectedCount != 0 ? expectedCount : scene.drawn.size();
    return scene.read.size() < expected ? ReadStatus::partial : ReadStatus::complete;
}

void takeReading(Scene& view, const Scene& scene, const StreamSettings& settings) {
    const ReaderSettings& reader = settings.reader;
    const Region window = windowOf(scene, settings);
    view.drawn = wantedOf(scene.drawn, window, settings);
    view.read = wantedOf(scene.read, window, settings);
    std::erase_if(view.read, [&reader](const SceneCode& code) {
        return code.readAfterMilliseconds > reader.timeoutMilliseconds;
    });
    view.status = statusOf(view, reader.expectedCount);
    view.readMilliseconds = std::min(scene.readMilliseconds, reader.timeoutMilliseconds);
}

void takePixels(Scene& view, const Scene& scene, const StreamSettings& settings) {
    const Region window = windowOf(scene, settings);
    view.width = window.width;
    view.height = window.height;
    view.pixels.resize(std::size_t{window.width} * window.height);
    for (std::size_t row = 0; row < window.height; ++row) {
        const auto* const from = &scene.pixels[(row + window.y) * scene.width + window.x];
        auto* const to = &view.pixels[row * window.width];
        if (settings.mirrored) {
            std::reverse_copy(from, from + window.width, to);
        } else {
            std::copy_n(from, window.width, to);
        }
    }
}

/** What becomes of each grey level. */
using Tones = std::array<std::uint8_t, 256>;

Tones tonesOf(const StreamSettings& settings) {
    const double factor = settings.exposureMicroseconds / kNominalExposureMicroseconds *
                          std::pow(10, settings.gainDecibels / 20);
    Tones tones{};
    for (std::size_t level = 0; level < tones.size(); ++level) {
        const double bright = static_cast<double>(level) * factor + settings.blackLevel;
        tones[level] = static_cast<std::uint8_t>(std::min(std::round(bright), 255.0));
    }
    return tones;
}

bool changeNothing(const Tones& tones) {
    std::size_t level = 0;
    return std::all_of(tones.begin(), tones.end(), [&](auto tone) { return tone == level++; });
}

bool isWhole(const Scene& scene, const StreamSettings& settings) {
    return settings.width == scene.width && settings.height == scene.height && !settings.mirrored;
}

bool takesAllThatIsRead(const Scene& scene, const ReaderSettings& reader) {
    return !reader.hasRegion && reader.expectedCount == 0 &&
           scene.readMilliseconds <= reader.timeoutMilliseconds &&
           std::all_of(reader.symbologies.begin(), reader.symbologies.end(),
                       [](bool isOn) { return isOn; });
}

}  // namespace

std::shared_ptr<const Scene> viewOf(const std::shared_ptr<const Scene>& scene,
                                    const StreamSettings& settings) {
    const Tones tones = tonesOf(settings);
    const bool isAsDrawn = changeNothing(tones);
    if (isAsDrawn && isWhole(*scene, settings) && takesAllThatIsRead(*scene, settings.reader)) {
        return scene;
    }
    auto view = std::make_shared<Scene>();
    takeReading(*view, *scene, settings);
    takePixels(*view, *scene, settings);
    if (!isAsDrawn) {
        for (std::uint8_t& pixel : view->pixels) pixel = tones[pixel];
    }
    return view;
}

}  // namespace kestrosim
