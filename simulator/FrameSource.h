// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RegisterMap.h"
#include "Scene.h"
#include "StreamFrame.h"

#include <cstdint>
#include <memory>
#include <string>
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

/** What the camera looks at: the scenes, seen through its sensor window and exposure. One thread.
 */
class FrameSource {
 public:
    explicit FrameSource(const CameraOptions& options);

    /** Waits until the scene is prepared and writes its line of truth, once. */
    [[nodiscard]] std::shared_ptr<const Scene> scene(std::uint64_t number);
    /** The frame that the settings make of a scene. */
    [[nodiscard]] static FramePayload expose(const std::shared_ptr<const Scene>& scene,
                                             const StreamSettings& settings,
                                             std::uint64_t timestamp);

 private:
    std::string camera_;
    TruthFile truth_;
    SceneSet scenes_;
    std::vector<bool> truthWritten_;
};

}  // namespace kestrosim
