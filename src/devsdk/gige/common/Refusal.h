// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LastError.h"

#include <string>
#include <utility>

namespace Vorda::Gige {

/** Why an operation on a feature is not done; empty, and false, when it is. */
class [[nodiscard]] Refusal {
 public:
    Refusal() = default;
    Refusal(Error number, std::string reason) : number_(number), reason_(std::move(reason)) {}

    /** One that the value brought about: its text names the value. */
    [[nodiscard]] static Refusal ofValue(std::string reason) {
        Refusal refusal(Error::outOfRange, std::move(reason));
        refusal.isOfValue_ = true;
        return refusal;
    }

    explicit operator bool() const { return number_ != Error::none; }
    [[nodiscard]] Error number() const { return number_; }
    [[nodiscard]] const std::string& reason() const { return reason_; }
    [[nodiscard]] bool isOfValue() const { return isOfValue_; }

 private:
    Error number_ = Error::none;
    std::string reason_;
    bool isOfValue_ = false;
};

}  // namespace Vorda::Gige
