// SPDX-License-Identifier: Apache-2.0
#include "NodeMap.h"

#include "MemoryPort.h"
#include "ScriptedCamera.h"
#include "VordaInfra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace Vorda::Gige {
namespace {

using namespace std::string_view_literals;
using kestro::test::MemoryPort;
using kestro::test::smallDescription;
using testing::HasSubstr;

Error lastError() { return static_cast<Error>(Infra::getLastError()); }

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(NodeMap, ReadsWritesAndExecutes) {
    const auto camera = std::make_shared<MemoryPort>();
    camera->set(kestro::test::kPayloadSizeRegister, "\x00\x14\x00\x01"sv);
    const auto nodes = NodeMap::make(camera, smallDescription());
    ASSERT_TRUE(nodes) << lastErrorMessage();
    std::int64_t value = 0;
    ASSERT_TRUE(nodes->getInteger("PayloadSize", value));
    EXPECT_EQ(0x140001, value);
    EXPECT_TRUE(nodes->has("TLParamsLocked"));
    ASSERT_TRUE(nodes->setInteger("TLParamsLocked", 1));
    ASSERT_TRUE(nodes->execute("AcquisitionStart"));
    std::uint32_t written = 0;
    ASSERT_TRUE(camera->readRegister(kestro::test::kTransportLockRegister, written));
    EXPECT_EQ(1u, written);
    ASSERT_TRUE(camera->readRegister(kestro::test::kAcquisitionStartRegister, written));
    EXPECT_EQ(1u, written);
}

TEST(NodeMap, NamesTheFeatureThatIsMissingOrOfAnotherKind) {
    const auto nodes = NodeMap::make(std::make_shared<MemoryPort>(), smallDescription());
    ASSERT_TRUE(nodes);
    std::int64_t value = 0;
    EXPECT_FALSE(nodes->has("Gain"));
    EXPECT_FALSE(nodes->getInteger("Gain", value));
    EXPECT_EQ(Error::feature, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr("Gain"));
    EXPECT_FALSE(nodes->execute("PayloadSize"));
    EXPECT_FALSE(nodes->setInteger("AcquisitionStart", 1));
    EXPECT_EQ(Error::feature, lastError());
}

TEST(NodeMap, PassesTheCamerasErrorOnUnderItsNumber) {
    const auto camera = std::make_shared<MemoryPort>();
    const auto nodes = NodeMap::make(camera, smallDescription());
    ASSERT_TRUE(nodes);
    camera->fail(Error::connectionLost);
    std::int64_t value = 0;
    EXPECT_FALSE(nodes->getInteger("PayloadSize", value));
    EXPECT_EQ(Error::connectionLost, lastError());
    EXPECT_THAT(lastErrorMessage(), HasSubstr("PayloadSize"));
    EXPECT_THAT(lastErrorMessage(), HasSubstr("scripted"));
}

TEST(NodeMap, ReadsWordsAsRegistersForOldSchemas) {
    for (const bool isOld : {false, true}) {
        const auto camera = std::make_shared<MemoryPort>();
        camera->set(kestro::test::kPayloadSizeRegister, "\x00\x00\x01\x02"sv);
        const auto nodes =
            NodeMap::make(camera, isOld ? replaced(smallDescription(), R"(SchemaMinorVersion="1")",
                                                   R"(SchemaMinorVersion="0")")
                                        : smallDescription());
        ASSERT_TRUE(nodes);
        std::int64_t value = 0;
        ASSERT_TRUE(nodes->getInteger("PayloadSize", value));
        EXPECT_EQ(0x102, value);
        EXPECT_EQ(isOld ? 1 : 0, camera->registerReads());
    }
}

TEST(NodeMap, NeedsARootCategory) {
    const std::string rootless = replaced(smallDescription(), R"(Name="Root")", R"(Name="Stem")");
    EXPECT_FALSE(NodeMap::make(std::make_shared<MemoryPort>(), rootless));
    EXPECT_EQ(Error::description, lastError());
}

TEST(NodeMap, IsMadeOnSeveralThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 25; ++round) {
                const auto nodes =
                    NodeMap::make(std::make_shared<MemoryPort>(), smallDescription());
                ASSERT_TRUE(nodes);
                EXPECT_TRUE(nodes->has("PayloadSize"));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace Vorda::Gige
