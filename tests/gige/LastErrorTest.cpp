// SPDX-License-Identifier: Apache-2.0
#include "LastError.h"

#include "VordaInfra.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace Vorda::Gige {
namespace {

/** A camera that is still connected when the program ends. */
struct LeftOver {
    ~LeftOver() {
        setLastError(Error::connectionLost, std::string(100, 'b'));
        const KeepLastError kept;
        setLastError(Error::timeout, std::string(100, 'c'));
        if (lastErrorMessage() != "timeout") std::_Exit(2);
    }
};

TEST(LastError, MayBeSetAfterTheVariablesOfTheMainThread) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            static LeftOver camera;
            setLastError(Error::refused, std::string(100, 'a'));
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Vorda::Gige
