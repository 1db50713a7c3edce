// SPDX-License-Identifier: Apache-2.0
#include "PayloadLayout.h"

#include <utility>

namespace Vorda::Gige {

struct PayloadLayout::Resolved {};

struct PayloadLayout::Impl {
    std::string description;
};

PayloadLayout::PayloadLayout(std::string description) : impl_(std::make_unique<Impl>()) {
    impl_->description = std::move(description);
}

PayloadLayout::~PayloadLayout() = default;

void PayloadLayout::appendLines(std::uint32_t, ByteView, Infra::TVector<Infra::CString>&) const {}

bool PayloadLayout::isChunkFeature(const std::string&) const { return false; }

std::vector<std::string> PayloadLayout::eventFeatures(std::uint32_t) const { return {}; }

std::optional<std::uint32_t> PayloadLayout::eventOf(const std::string&) const {
    return std::nullopt;
}

std::optional<PayloadValue> PayloadLayout::eventValue(const std::string&, ByteView) const {
    return std::nullopt;
}

}  // namespace Vorda::Gige
