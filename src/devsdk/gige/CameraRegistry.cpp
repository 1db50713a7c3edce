// SPDX-License-Identifier: Apache-2.0
#include "CameraRegistry.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

namespace Vorda::Gige {
namespace {

std::string namedKey(const FoundDevice& found) {
    return found.device.manufacturer + ":" + found.device.serial;
}

/** The keys that more than one device would have. */
std::set<std::string> sharedKeys(const std::vector<FoundDevice>& found) {
    std::set<std::string> seen;
    std::set<std::string> shared;
    for (const FoundDevice& each : found) {
        if (!seen.insert(namedKey(each)).second) shared.insert(namedKey(each));
    }
    return shared;
}

}  // namespace

std::vector<std::shared_ptr<GigeCamera>> CameraRegistry::update(
    const std::vector<FoundDevice>& found) {
    const std::set<std::string> shared = sharedKeys(found);
    std::vector<std::shared_ptr<GigeCamera>> cameras;
    // Kept to the end: the last reference to a camera must not go while the lock is held.
    std::vector<std::shared_ptr<GigeCamera>> alive;
    {
        const std::lock_guard lock(mutex_);
        std::set<std::string> taken = shared;
        for (const auto& [identity, weak] : cameras_) {
            if (auto camera = weak.lock()) alive.push_back(std::move(camera));
        }
        for (const auto& camera : alive) taken.insert(camera->getKey());
        std::erase_if(cameras_, [](const auto& entry) { return entry.second.expired(); });
        for (const FoundDevice& each : found) {
            auto& entry = cameras_[identityOf(each.device)];
            auto camera = entry.lock();
            if (!camera) {
                const bool needsMac = each.device.serial.empty() || taken.contains(namedKey(each));
                camera = Memory::makeForThisProcess<GigeCamera>(
                    each, needsMac ? each.device.mac.text() : namedKey(each));
                entry = camera;
            }
            camera->relocate(each);
            cameras.push_back(std::move(camera));
        }
    }
    std::ranges::sort(cameras, {},
                      [](const auto& camera) { return std::string_view(camera->getKey()); });
    return cameras;
}

}  // namespace Vorda::Gige
