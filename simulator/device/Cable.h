// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

namespace kestrosim {

/** The camera's network cable. While it is pulled, nothing leaves and nothing comes in. Threads:
 * any. */
class Cable {
 public:
    [[nodiscard]] bool isPlugged() const { return plugged_; }
    void plug() { plugged_ = true; }
    void pull() { plugged_ = false; }

 private:
    std::atomic<bool> plugged_{true};
};

}  // namespace kestrosim
