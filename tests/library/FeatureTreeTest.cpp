// SPDX-License-Identifier: Apache-2.0
//
// When and how the feature tree is listed: the device SDK learns from it that somebody wants to
// hear of changes.
#include "CameraFixture.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <stdexcept>
#include <utility>

namespace kestro::test {
namespace {

void ignore(const ParamUpdateEventArg&) {}

class FeatureTree : public CameraFixture {
 protected:
    FeatureTree() {
        auto& all = device->script.features;
        all["Root"] = featureGroup({"Device", "Width", "Image", "Missing"});
        all["Device"] = featureGroup({"Serial", "Width"});
        all["Serial"] = featureGroup({});
        all["Image"] = featureGroup({"Serial", "Root", "Image"});  // a shared one, and cycles
        all["Width"] = FeatureScript();
    }

    /** The groups that were listed since the last call. */
    Calls listed() {
        Calls calls = sdk.journal();
        calls.erase(std::remove_if(
                        calls.begin(), calls.end(),
                        [](const std::string& call) { return call.rfind("getChildren", 0) != 0; }),
                    calls.end());
        sdk.clearJournal();
        return calls;
    }

    const Calls wholeTree = {"getChildren(Root)", "getChildren(Device)", "getChildren(Serial)",
                             "getChildren(Image)"};
};

TEST_F(FeatureTree, IsListedOnceForEachConnectionThatSomebodyListensTo) {
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(listed(), Calls{}) << "nobody listens";
    EXPECT_EQ(camera->registerParamUpdateCallback(nullptr), 0);
    EXPECT_EQ(listed(), Calls{}) << "still nobody";
    EXPECT_EQ(camera->registerParamUpdateCallback(ignore), 0);
    EXPECT_EQ(listed(), wholeTree);
    EXPECT_EQ(camera->registerParamUpdateCallback(ignore), 0);
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(listed(), Calls{}) << "known already";
    camera->disconnect();
    EXPECT_EQ(camera->registerParamUpdateCallback(ignore), 0);
    EXPECT_EQ(listed(), Calls{}) << "not connected";
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(listed(), wholeTree);
    EXPECT_EQ(camera->registerParamUpdateCallback(ignore), 0);
    EXPECT_EQ(listed(), Calls{}) << "listed by connect";
    EXPECT_EQ(log.lines().size(), 1U) << "the warning of the second connect";
}

TEST_F(FeatureTree, IsListedAgainAfterALostConnection) {
    camera->registerParamUpdateCallback(ignore);
    camera->connect();
    camera->registerParamUpdateCallback(nullptr);
    device->connected = false;  // lost, never disconnected
    listed();
    camera->connect();
    EXPECT_EQ(listed(), Calls{});
    camera->registerParamUpdateCallback(ignore);
    EXPECT_EQ(listed(), wholeTree);
}

TEST_F(FeatureTree, IsListedAgainWhenTheConnectionChangesUnderTheListing) {
    camera->connect();
    device->connected = false;  // lost, so that nothing can be listed
    listed();
    bool isToConnect = true;
    sdk.before("close", [&] {
        if (std::exchange(isToConnect, false)) camera->connect();
    });
    camera->registerParamUpdateCallback(ignore);
    Calls calls = {"getChildren(Root)"};
    calls.insert(calls.end(), wholeTree.begin(), wholeTree.end());
    EXPECT_EQ(listed(), calls);
}

TEST_F(FeatureTree, IsListedBeforeTheCallbackIsStored) {
    connect();
    int calls = 0;
    sdk.before("getChildren", [this] { device->raiseUpdates({"Width"}); });
    camera->registerParamUpdateCallback([&](const ParamUpdateEventArg&) { ++calls; });
    EXPECT_EQ(calls, 0);
    device->raiseUpdates({"Width"});
    EXPECT_EQ(calls, 1);
}

TEST_F(FeatureTree, IsListedForAListenerThatComesWhileTheConnectionIsMade) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<bool> isAlmostConnected{false};
        sdk.before("subscribeConnectArgs", [&] { isAlmostConnected = true; });
        auto connecting = std::async(std::launch::async, [this] { return camera->connect(); });
        while (!isAlmostConnected) {  // without a yield, so that both end at once
        }
        camera->registerParamUpdateCallback(ignore);
        ASSERT_EQ(connecting.get(), 0);
        ASSERT_NE(listed(), Calls{}) << "in round " << round;
        camera->disconnect();
        camera->registerParamUpdateCallback(nullptr);
    }
}

TEST_F(FeatureTree, WithoutARootDoesNotFailTheConnection) {
    device->script.features.clear();
    camera->registerParamUpdateCallback(ignore);
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_TRUE(camera->isConnected());
    EXPECT_EQ(listed(), Calls{"getChildren(Root)"});
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines().front(),
                testing::StartsWith("300 getChildren: get param children error. [code: 0x"));
}

TEST_F(FeatureTree, IsListedAnewAfterAnException) {
    const Calls twice = {"getChildren(Root)", "getChildren(Root)", "getChildren(Device)",
                         "getChildren(Serial)", "getChildren(Image)"};
    bool isToThrow = true;
    sdk.before("getChildren", [&] {
        if (std::exchange(isToThrow, false)) throw std::runtime_error("no memory");
    });
    camera->registerParamUpdateCallback(ignore);
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(listed(), twice);
    camera->disconnect();
    camera->registerParamUpdateCallback(nullptr);
    connect();
    isToThrow = true;
    EXPECT_EQ(camera->registerParamUpdateCallback(ignore), 0);
    EXPECT_EQ(listed(), twice);
    EXPECT_EQ(log.lines(),
              Lines(2, "300 walkFeatureTree: exception in feature tree walk. [no memory]"));
}

TEST_F(FeatureTree, MayBeDeeperThanTheStack) {
    constexpr int kDepth = 40000;
    auto& all = device->script.features;
    for (int i = 0; i < kDepth; ++i) all[std::to_string(i)] = featureGroup({std::to_string(i + 1)});
    all[std::to_string(kDepth)] = featureGroup({});
    all["Root"] = featureGroup({"0"});
    camera->registerParamUpdateCallback(ignore);
    EXPECT_EQ(camera->connect(), 0);
    EXPECT_EQ(listed().size(), std::size_t{kDepth} + 2);
}

}  // namespace
}  // namespace kestro::test
