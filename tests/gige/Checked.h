// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DescriptionCheck.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace kestro::test {

/** A description that a test wrote, and that the check must pass. */
inline std::shared_ptr<const Vorda::Gige::CheckedDescription> checked(std::string xml) {
    std::string reason;
    auto description = Vorda::Gige::CheckedDescription::make(std::move(xml), reason);
    EXPECT_TRUE(description) << reason;
    return description;
}

}  // namespace kestro::test
