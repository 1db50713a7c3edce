// SPDX-License-Identifier: Apache-2.0
#include "FeaturePoller.h"

#include <utility>

namespace Vorda::Gige {

struct FeaturePoller::Core {
    OnChanged onChanged;
};

FeaturePoller::FeaturePoller(OnChanged onChanged) : core_(std::make_shared<Core>()) {
    core_->onChanged = std::move(onChanged);
}
FeaturePoller::~FeaturePoller() = default;
void FeaturePoller::start(std::shared_ptr<const Features>) {}
void FeaturePoller::requestStop() {}
void FeaturePoller::finish() {}

}  // namespace Vorda::Gige
