// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FaultPlan.h"
#include "RegisterMap.h"
#include "Scene.h"
#include "SeededRandom.h"
#include "StreamFrame.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace kestrosim {

struct CameraOptions;

/** Appends to a file, a whole line at a time. */
class TruthFile {
 public:
    /** An empty path writes nowhere. Throws std::runtime_error when the file cannot be opened. */
    explicit TruthFile(const std::string& path);
    ~TruthFile();
    TruthFile(const TruthFile&) = delete;
    TruthFile& operator=(const TruthFile&) = delete;

    void append(std::string line) const;

 private:
    int descriptor_ = -1;
};

/** The JPEG files of pictures: scenes come again and again, and encoding takes its time. */
class JpegFiles {
 public:
    using File = std::shared_ptr<const std::vector<std::uint8_t>>;

    /** `view` is what the settings make of `scene`. */
    [[nodiscard]] File fileOf(const std::shared_ptr<const Scene>& scene, const Scene& view,
                              const PictureSettings& settings);

 private:
    struct Kept {
        std::weak_ptr<const Scene> scene;  ///< not another one that came to lie there
        PictureSettings settings;
        File file;
    };
    std::unordered_map<const Scene*, Kept> kept_;  ///< the latest of each scene
};

/**
 * What the camera looks at: the scenes, seen through its sensor window and exposure.
 * One thread, but for stop().
 */
class FrameSource {
 public:
    explicit FrameSource(const CameraOptions& options);

    /** Waits until the scene is prepared and writes its line of truth, once. */
    [[nodiscard]] std::shared_ptr<const Scene> scene(std::uint64_t number);
    /** The frame that the settings make of a scene. */
    [[nodiscard]] FramePayload expose(const std::shared_ptr<const Scene>& scene,
                                      const StreamSettings& settings, std::uint64_t blockId,
                                      std::uint64_t timestamp);
    /** Ends the waiting in scene(), by an exception. Threads: any. */
    void stop() const { scenes_.stop(); }

 private:
    [[nodiscard]] ResultFault damage(std::vector<std::uint8_t>& encoded,
                                     const StreamSettings& settings, std::size_t imageBytes);

    const bool stampsImages_;
    const ResultFaults resultFaults_;
    SeededRandom resultChance_;
    JpegFiles jpegFiles_;
    std::string camera_;
    TruthFile truth_;
    SceneSet scenes_;
    std::vector<bool> truthWritten_;
};

}  // namespace kestrosim
