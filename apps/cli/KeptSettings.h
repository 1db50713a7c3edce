// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Control.h"
#include "FeatureValue.h"

#include <string>
#include <utility>
#include <vector>

namespace kestrocli {

/** Puts features of a camera back as they were when this is destroyed, the latest first. */
class KeptSettings {
 public:
    explicit KeptSettings(const Control& control) : control_(control) {}
    ~KeptSettings();
    KeptSettings(const KeptSettings&) = delete;
    KeptSettings& operator=(const KeptSettings&) = delete;

    /** It will have the value that it has now; nothing for a feature that the camera lacks. */
    void keep(const std::string& name);
    /** keep(), then sets it. Throws Failure when the camera refuses. */
    void set(const std::string& name, const std::string& text);

 private:
    void putBack(const std::string& name, const FeatureValue& value) const;

    const Control& control_;
    std::vector<std::pair<std::string, FeatureValue>> before_;
};

}  // namespace kestrocli
