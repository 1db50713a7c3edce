// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DescriptionCheck.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

namespace kestro::test {

/** The bytes of a file of tests/golden. */
inline std::string golden(const std::string& name) {
    std::ifstream file(KESTRO_GOLDEN_DIR "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** Likewise, up to the end of the description's root. */
inline std::string goldenDescription(const std::string& name) {
    const std::string xml = golden(name);
    return xml.substr(0, xml.rfind('>') + 1);
}

/** A description that a test wrote, and that the check must pass. */
inline std::shared_ptr<const Vorda::Gige::CheckedDescription> checked(std::string xml) {
    std::string reason;
    auto description = Vorda::Gige::CheckedDescription::make(std::move(xml), reason);
    EXPECT_TRUE(description) << reason;
    return description;
}

}  // namespace kestro::test
