// SPDX-License-Identifier: Apache-2.0
#include "CHandles.h"

#include "CRecords.h"

namespace kestro::internal {

const std::vector<kstBarcodeInfo>& FrameData::barcodesOf(const Frame& frame) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!made_) {
        barcodes_ = barcodeRecords(frame);
        made_ = true;
    }
    return barcodes_;
}

HandleRegistry<Camera, CameraData>& cameraHandles() {
    static auto& registry = *new HandleRegistry<Camera, CameraData>;
    return registry;
}

HandleRegistry<Frame, FrameData>& frameHandles() {
    static auto& registry = *new HandleRegistry<Frame, FrameData>;
    return registry;
}

}  // namespace kestro::internal
