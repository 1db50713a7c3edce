// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RegisterPort.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace Vorda::Gige {

/**
 * The features of a camera: its GenICam description evaluated over its registers.
 *
 * Operations answer false with the last error set. Threads: any; one operation runs at a time.
 */
class NodeMap {
 public:
    /** Empty, with the last error, when the description cannot be used. */
    [[nodiscard]] static std::unique_ptr<NodeMap> make(std::shared_ptr<RegisterPort> camera,
                                                       const std::string& xml);
    ~NodeMap();

    [[nodiscard]] bool has(const std::string& name) const;
    [[nodiscard]] bool getInteger(const std::string& name, std::int64_t& value) const;
    /** Sets an integer or a boolean. */
    [[nodiscard]] bool setInteger(const std::string& name, std::int64_t value);
    [[nodiscard]] bool execute(const std::string& name);

 private:
    struct Impl;
    explicit NodeMap(std::unique_ptr<Impl> impl);

    mutable std::mutex mutex_;  // the node map evaluates through caches of its own
    std::unique_ptr<Impl> impl_;
};

}  // namespace Vorda::Gige
