// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Discovery.h"
#include "GigeCamera.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Vorda::Gige {

/**
 * One camera object per device, as long as anyone holds it. Threads: any.
 */
class CameraRegistry {
 public:
    /** The objects of `found`, new where there is none yet, in the order of their keys. */
    [[nodiscard]] std::vector<std::shared_ptr<GigeCamera>> update(
        const std::vector<FoundDevice>& found);

 private:
    std::mutex mutex_;  // guards what follows
    std::map<DeviceIdentity, std::weak_ptr<GigeCamera>> cameras_;
};

}  // namespace Vorda::Gige
