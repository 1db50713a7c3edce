// SPDX-License-Identifier: Apache-2.0
#include "HeldLines.h"

#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace Vorda::Gige {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(HeldLines, WriteWhatTheirThreadSaysWhenTheOutermostGoes) {
    auto& logger = kestro::test::RecordingLogger::instance();
    logger.reset();
    const auto lines = [&logger] { return logger.lines(300, 400); };
    {
        const HeldLines outer;
        {
            const HeldLines inner;
            GIGE_LOG_WHEN_FREE(kWarning, "first 100%s");
        }
        GIGE_LOG_WHEN_FREE(kError, "second");
        std::thread([] { GIGE_LOG_WHEN_FREE(kError, "another's"); }).join();
        EXPECT_THAT(lines(), ElementsAre(HasSubstr("another's")));
    }
    GIGE_LOG_WHEN_FREE(kError, "third");
    EXPECT_THAT(lines(), ElementsAre(HasSubstr("another's"), HasSubstr("TestBody: first 100%s"),
                                     HasSubstr("TestBody: second"), HasSubstr("third")));
}

}  // namespace
}  // namespace Vorda::Gige
