// SPDX-License-Identifier: Apache-2.0
#include "KeptSettings.h"

#include "Feature.h"
#include "Output.h"
#include "Text.h"

#include <exception>

namespace kestrocli {

KeptSettings::~KeptSettings() {
    for (auto each = before_.rbegin(); each != before_.rend(); ++each) {
        try {
            putBack(each->first, each->second);
        } catch (const std::exception& error) {
            complain(visible(each->first) + " was " + visible(textOf(each->second)) +
                     " and could not be put back: " + error.what());
        }
    }
}

void KeptSettings::putBack(const std::string& name, const FeatureValue& value) const {
    const Feature feature(control_, name);
    if (feature.value() != value) feature.set(textOf(value));
}

void KeptSettings::keep(const std::string& name) {
    if (!hasFeature(control_, name)) return;
    if (auto value = Feature(control_, name).value()) before_.emplace_back(name, std::move(*value));
}

void KeptSettings::set(const std::string& name, const std::string& text) {
    keep(name);
    Feature(control_, name).set(text);
}

}  // namespace kestrocli
