// SPDX-License-Identifier: Apache-2.0
//
// What a camera's subscribers hear of its features, from the network to the handler.
#include "GigeCamera.h"

#include "LastError.h"
#include "ScriptedCamera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

namespace Vorda::Gige {
namespace {

using GenICam::ParamsUpdateBinding;
using GenICam::SParamsUpdateArg;
using kestro::test::eventually;
using kestro::test::Octets;
using kestro::test::ScriptedCamera;
using testing::ElementsAre;

using Names = std::vector<std::string>;

constexpr std::uint32_t kMessagePort = 0xb00;
constexpr std::uint16_t kEventData = 0xc2;

/** Adds features to a description's Root, and the nodes that they need. */
std::string describedWith(const std::vector<std::string>& features, const std::string& nodes) {
    std::string text = kestro::test::smallDescription();
    const std::string beforeFeatures = "<Category Name=\"Root\">";
    std::string references;
    for (const std::string& name : features) references += "<pFeature>" + name + "</pFeature>";
    text.insert(text.find(beforeFeatures) + beforeFeatures.size(), references);
    return text.insert(text.rfind("</RegisterDescription>"), nodes);
}

std::string integerRegister(const std::string& name, const std::string& address,
                            const std::string& port, const std::string& more = "") {
    return "<IntReg Name=\"" + name + "\"><Address>" + address +
           "</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>" + port + "</pPort>" +
           more + "<Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>";
}

/** A connected camera whose event 0x9001 carries EventLine and EventCause. */
struct CameraEvents : testing::Test {
    struct Listener {
        void onUpdate(const SParamsUpdateArg& argument) {
            Names names;
            for (const auto& name : argument.names) names.emplace_back(name.c_str());
            {
                const std::lock_guard lock(mutex);
                updates.push_back(names);
            }
            if (hook) hook();
        }
        std::vector<Names> seen() {
            const std::lock_guard lock(mutex);
            return updates;
        }
        std::function<void()> hook;
        std::mutex mutex;
        std::vector<Names> updates;
    };

    void connect(const std::string& description) {
        scripted.setDescription("camera.xml", description);
        scripted.setRegister(0x900, 1);
        FoundDevice found;
        found.device.address = Ipv4{scripted.address()};
        found.via = {"lo", Ipv4{0x7f000001}, Ipv4{0xff000000}, {}, {}, 65536, true};
        camera = std::make_shared<GigeCamera>(found, "Acme:1");
        ASSERT_TRUE(camera->connect(2)) << lastErrorMessage();
        subscription = camera->events().subscribe();
        ASSERT_TRUE(subscription->subscribeParamsUpdate(
            ParamsUpdateBinding::toMember<&Listener::onUpdate>(listener)));
    }
    void connectWithEvents() {
        connect(describedWith({"EventLine", "EventCause"},
                              integerRegister("EventLine", "16", "EventPort") +
                                  integerRegister("EventCause", "20", "EventPort") +
                                  "<Port Name=\"EventPort\"><EventID>9001</EventID></Port>"));
    }
    void sendEvent(std::uint16_t messageId) {
        Octets event{0, 0, 0x90, 0x01};
        event.resize(24);
        scripted.sendMessage(ScriptedCamera::message(0, kEventData, messageId, event));
    }

    ScriptedCamera scripted;
    std::shared_ptr<GigeCamera> camera;
    std::shared_ptr<GenICam::IEventSubscribe> subscription;
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

TEST_F(CameraEvents, TellsTheFeaturesOfAnEventInOneList) {
    connectWithEvents();
    sendEvent(1);
    ASSERT_TRUE(eventually([&] { return !listener->seen().empty(); }));
    EXPECT_THAT(listener->seen(), ElementsAre(Names{"EventLine", "EventCause"}));
    EXPECT_TRUE(camera->disConnect());
    EXPECT_EQ(0u, scripted.registerAt(kMessagePort));
}

TEST_F(CameraEvents, TellsWhatMovedOfAPolledFeatureOnceTheFeaturesAreListed) {
    constexpr std::uint32_t kAddress = 0xb800;
    connect(describedWith({"Level"}, "<Integer Name=\"Level\"><pValue>LevelReg</pValue></Integer>" +
                                         integerRegister("LevelReg", "0xb800", "Device",
                                                         "<PollingTime>1</PollingTime>")));
    std::vector<std::string> names;
    ASSERT_TRUE(camera->features()->getChildren("Root", names));
    std::uint32_t level = 0;
    // The first value is no news, and which of them is read first is open.
    EXPECT_TRUE(eventually([&] {
        scripted.setRegister(kAddress, ++level);
        return !listener->seen().empty();
    }));
    EXPECT_EQ(Names{"Level"}, listener->seen().front());
    EXPECT_TRUE(camera->disConnect());
}

TEST_F(CameraEvents, DisconnectsInTheHandlerOfAnEvent) {
    std::atomic<bool> isDone{false};
    listener->hook = [&] {
        camera->disConnect();
        isDone = true;
    };
    connectWithEvents();
    for (std::uint16_t id = 1; id < 50; ++id) sendEvent(id);
    EXPECT_TRUE(eventually([&] { return isDone.load(); }));
    EXPECT_FALSE(camera->isConnected());
    subscription.reset();
}

TEST_F(CameraEvents, TellsWhatIsWrittenOnceTheFeaturesWereListed) {
    connect(kestro::test::smallDescription());
    const auto features = camera->features();
    ASSERT_TRUE(features->execute("AcquisitionStart")) << lastErrorMessage();
    Names children;
    ASSERT_TRUE(features->getChildren("Root", children));
    ASSERT_TRUE(features->setInteger("TLParamsLocked", 1)) << lastErrorMessage();
    ASSERT_TRUE(eventually([&] { return !listener->seen().empty(); }));
    EXPECT_THAT(listener->seen(), ElementsAre(Names{"TLParamsLocked"}));
}

}  // namespace
}  // namespace Vorda::Gige
