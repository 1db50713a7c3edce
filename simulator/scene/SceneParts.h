// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>

#include "Scene.h"

namespace kestrosim {

/** Draws the scene of that number: pixels and `drawn` are set, nothing is read yet. */
[[nodiscard]] Scene drawScene(const SceneOptions& options, std::uint32_t number);

/**
 * Reads the codes in the pixels: sets `read`, `status` and `readMilliseconds`. Asked to stop, it
 * leaves the rest of the picture.
 */
void readScene(Scene& scene, const std::stop_token& stop = {});

/** Where the scenes of a set come from. Threads: any. */
class SceneSource {
 public:
    SceneSource() = default;
    virtual ~SceneSource() = default;
    SceneSource(const SceneSource&) = delete;
    SceneSource& operator=(const SceneSource&) = delete;

    [[nodiscard]] virtual std::size_t count() const = 0;
    /** Waits until the scene of that number, less than count(), is there. */
    [[nodiscard]] virtual std::shared_ptr<const Scene> scene(std::size_t index) = 0;
    /** Leaves what is being prepared: scene() throws std::runtime_error where it would wait. */
    virtual void stop() = 0;
};

/**
 * The pictures of options.imageFolder; throws as PictureFolder does.
 *
 * @param bytesKept  how many bytes of pixels stay in memory, but four pictures at least.
 */
[[nodiscard]] std::unique_ptr<SceneSource> showPictures(const SceneOptions& options,
                                                        std::size_t bytesKept = 256U << 20);

}  // namespace kestrosim
