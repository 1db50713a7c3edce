// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FrameAssembler.h"
#include "VordaGenICam.h"

namespace Vorda::GenICam {

/** What a CFrame shares with its copies: a description and bytes that live as long as this. */
class CFrame::Impl {
 public:
    Impl(const std::uint8_t* data, const Gige::FrameInfo& info) : data_(data), info_(info) {}

    [[nodiscard]] const std::uint8_t* data() const { return data_; }
    [[nodiscard]] const Gige::FrameInfo& info() const { return info_; }

 private:
    const std::uint8_t* data_;
    Gige::FrameInfo info_;
};

}  // namespace Vorda::GenICam
