// SPDX-License-Identifier: Apache-2.0
//
// What makes a handle valid: two process-wide registries. A handle is the address of its object.
#pragma once

#include <kestro/Camera.h>
#include <kestro/Frame.h>
#include <kestro/kestro_c.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kestro::internal {

/** What the C interface keeps of a camera; nothing yet. */
struct CameraData {};

/** The records of a frame's codes. They are made once: pointers to them hold until the release. */
class FrameData {
 public:
    const std::vector<kstBarcodeInfo>& barcodesOf(const Frame& frame);

 private:
    std::mutex mutex_;
    bool made_ = false;                     // guarded by mutex_
    std::vector<kstBarcodeInfo> barcodes_;  // guarded by mutex_ until made, then constant
};

/**
 * The handles of one kind of object, with how often each was handed out.
 *
 * Its lock is held for the map alone: what a release drops dies after it.
 */
template <typename Object, typename Data>
class HandleRegistry {
 public:
    struct Entry {
        std::uint32_t useCount = 0;
        std::shared_ptr<Object> object;
        std::shared_ptr<Data> data;
    };

    /** The object's handle, to be released once more; null for an empty pointer. */
    void* add(const std::shared_ptr<Object>& object) {
        if (!object) return nullptr;
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = entries_.find(object.get());
        if (found != entries_.end()) {
            ++found->second.useCount;
        } else {
            entries_.emplace(object.get(), Entry{1, object, std::make_shared<Data>()});
        }
        return object.get();
    }

    /** Empty pointers for an unknown handle. */
    Entry find(const void* handle) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = entries_.find(handle);
        return found == entries_.end() ? Entry() : found->second;
    }

    /** False for an unknown handle. */
    bool release(const void* handle) {
        Entry last;  // declared before the lock: what it takes over dies after it
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = entries_.find(handle);
        if (found == entries_.end()) return false;
        if (--found->second.useCount > 0) return true;
        last = std::move(found->second);
        entries_.erase(found);
        return true;
    }

 private:
    mutable std::mutex mutex_;
    std::unordered_map<const void*, Entry> entries_;  // guarded by mutex_
};

// Never destroyed: a handle may be released by whatever runs at the process's end.
HandleRegistry<Camera, CameraData>& cameraHandles();
HandleRegistry<Frame, FrameData>& frameHandles();

}  // namespace kestro::internal
