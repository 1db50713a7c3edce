// SPDX-License-Identifier: Apache-2.0
#include <kestro/System.h>

#include "CameraFixture.h"

#include <cstdio>
#include <future>

namespace kestro::test {
namespace {

using testing::ElementsAre;

std::shared_ptr<CameraDouble> makeDevice(const std::string& name, int interfaceType = 0) {
    CameraScript script;
    script.key = "Acme:" + name;
    script.serialNumber = name;
    script.ipAddress = "192.168.1." + name;
    script.macAddress = "02:00:00:00:00:" + name;
    script.type = script.interfaceType = interfaceType;
    return std::make_shared<CameraDouble>(script);
}

Lines keysOf(const std::vector<std::shared_ptr<Camera>>& cameras) {
    Lines keys;
    for (const auto& camera : cameras) keys.emplace_back(camera->getKey());
    return keys;
}

class Discovery : public testing::Test {
 protected:
    Discovery() {
        sdk.reset();
        log.reset();
        sdk.setDevices({makeDevice("20"), nullptr, makeDevice("21", 1), makeDevice("22", 2),
                        makeDevice("10")});
        system.getVersion();  // the start-up lines are over
        log.reset();
    }
    ~Discovery() override {
        sdk.setDevices({});
        system.discovery(0);
    }

    DeviceSdkDouble& sdk = DeviceSdkDouble::instance();
    RecordingLogger& log = RecordingLogger::instance();
    System& system = System::getInstance();
};

TEST_F(Discovery, KeepsTheCamerasOnTheWantedInterfacesInTheirOrder) {
    const std::pair<unsigned, Lines> masks[] = {{0, {"Acme:20", "Acme:21", "Acme:10"}},
                                                {1, {"Acme:20", "Acme:10"}},
                                                {2, {"Acme:21"}},
                                                {3, {"Acme:20", "Acme:21", "Acme:10"}},
                                                {4, {}},
                                                {0xFFFFFFFF, {"Acme:20", "Acme:21", "Acme:10"}}};
    for (const auto& [mask, keys] : masks) {
        std::vector<std::shared_ptr<Camera>> cameras(1);
        EXPECT_EQ(system.discovery(cameras, mask), 0);
        EXPECT_EQ(keysOf(cameras), keys) << mask;
        EXPECT_EQ(system.getCameraList(), cameras) << mask;
    }
    EXPECT_EQ(sdk.journal().front(), "discoveryEx(2, {1 0 0 0 0 0 0 0})");
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Discovery, ThatFailsLeavesBothListsAsTheyWere) {
    std::vector<std::shared_ptr<Camera>> cameras;
    ASSERT_EQ(system.discovery(cameras, 0), 0);
    const auto before = cameras;
    sdk.setDevices({});
    sdk.fail("discoveryEx", 11, "timeout");
    EXPECT_EQ(system.discovery(cameras, 0), 2);
    EXPECT_EQ(system.discovery(0), 2);
    EXPECT_EQ(cameras, before);
    EXPECT_EQ(system.getCameraList(), before);
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Discovery, MakesNewCamerasAndForgetsTheMissing) {
    ASSERT_EQ(system.discovery(0), 0);
    const auto before = system.getCameraList();
    sdk.setDevices({sdk.devices().front()});
    ASSERT_EQ(system.discovery(0), 0);
    const auto after = system.getCameraList();
    ASSERT_EQ(keysOf(after), Lines{"Acme:20"});
    EXPECT_NE(after[0], before[0]);
}

TEST_F(Discovery, DropsForgottenCamerasUnderNoLock) {
    bool dropped = false;
    sdk.setDevices(
        {std::shared_ptr<CameraDouble>(new CameraDouble(CameraScript()), [&](CameraDouble* device) {
            dropped = system.getCameraList().empty();
            delete device;
        })});
    ASSERT_EQ(system.discovery(0), 0);
    sdk.setDevices({});
    auto replaced = std::async(std::launch::async, [&] { system.discovery(0); });
    ASSERT_EQ(replaced.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(dropped);
}

struct LookUp {
    const char* text;
    int type;
    const char* key;  ///< of the camera found; null for none
};

TEST_F(Discovery, CamerasAreFoundByExactTexts) {
    ASSERT_EQ(system.discovery(0), 0);
    log.reset();
    const LookUp lookUps[] = {
        {"Acme:10", 0, "Acme:10"},
        {"10", 1, "Acme:10"},
        {"192.168.1.10", 2, "Acme:10"},
        {"02:00:00:00:00:10", 3, "Acme:10"},
        {"21", 1, "Acme:21"},
        {"192.168.1.21", 2, nullptr},  // it has no network data
        {"Acme:1", 0, nullptr},
        {"Acme:100", 0, nullptr},
        {"acme:10", 0, nullptr},
        {" 10", 1, nullptr},
        {"10", 0, nullptr},
        {"10", 4, nullptr},
        {"Acme:10", -1, nullptr},
    };
    for (const LookUp& lookUp : lookUps) {
        const auto found =
            system.getCamera(lookUp.text, static_cast<System::CameraDataType>(lookUp.type));
        EXPECT_EQ(found ? found->getKey() : std::string("none"), lookUp.key ? lookUp.key : "none")
            << lookUp.text << " as type " << lookUp.type;
    }
    EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Discovery, TheFirstOfEqualCamerasIsFoundAndNullTextsNeverMatch) {
    auto silent = makeDevice("30");
    silent->script.serialNumber = std::nullopt;
    sdk.setDevices({silent, makeDevice("31"), makeDevice("31")});
    ASSERT_EQ(system.discovery(0), 0);
    EXPECT_EQ(system.getCamera("31", System::SerialNumber), system.getCameraList()[1]);
}

TEST_F(Discovery, TheDeviceIsAskedUnderNoLock) {
    ASSERT_EQ(system.discovery(0), 0);
    std::size_t seen = 0;
    sdk.before("getSerialNumber", [&] { seen = system.getCameraList().size(); });
    auto found = std::async(std::launch::async,
                            [&] { return system.getCamera("10", System::SerialNumber); });
    ASSERT_EQ(found.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(found.get());
    EXPECT_EQ(seen, 3U);
}

TEST_F(Discovery, ALookUpWithoutTextIsRefused) {
    ASSERT_EQ(system.discovery(0), 0);
    log.reset();
    EXPECT_EQ(system.getCamera("", System::Key), nullptr);
    EXPECT_EQ(system.getCamera(nullptr, System::SerialNumber), nullptr);
    EXPECT_EQ(log.lines(), (Lines{"300 getCamera: invalid input param, data error",
                                  "300 getCamera: invalid input param, data error"}));
}

TEST_F(Discovery, MayRunInSeveralThreads) {
    std::vector<std::future<int>> runs;
    for (int run = 0; run < 4; ++run) {
        runs.push_back(std::async(std::launch::async, [&] {
            int failures = 0;
            for (int round = 0; round < 50; ++round) {
                if (system.discovery(0).isFailure()) ++failures;
                if (!system.getCamera("Acme:10", System::Key)) ++failures;
            }
            return failures;
        }));
    }
    for (auto& run : runs) EXPECT_EQ(run.get(), 0);
}

// The singleton is made once in a process, so each case has a process of its own; what it did
// leaves through stderr.
class StartUp : public testing::Test {
 protected:
    StartUp() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    static void print(const Lines& lines) {
        for (const std::string& line : lines) std::fprintf(stderr, "%s|", line.c_str());
    }
    [[noreturn]] static void startWith(bool isLoaded, bool canLoad) {
        RecordingLogger& log = RecordingLogger::instance();
        log.scriptConfiguration(isLoaded, canLoad);
        std::vector<std::future<System*>> starts;
        for (int thread = 0; thread < 4; ++thread) {
            starts.push_back(std::async(std::launch::async, [] { return &System::getInstance(); }));
        }
        for (auto& start : starts) {
            if (start.get() != &System::getInstance()) std::fprintf(stderr, "two systems|");
        }
        print(log.configurationCalls());
        print(log.lines());
        print({log.records().at(0).file});
        std::exit(0);
    }
};

constexpr const char* kVersionLine = "700 System: KestroSDK Version: [1.1.0.307039]|System.cpp|";

std::string quoted(const std::string& text) {
    std::string regex;
    for (const char character : text) {
        if (std::string_view("|[]().").find(character) != std::string_view::npos) regex += '\\';
        regex += character;
    }
    return "^" + regex + "$";
}

TEST_F(StartUp, LoadsNothingWhereTheHostHasConfigured) {
    EXPECT_EXIT(startWith(true, true), testing::ExitedWithCode(0),
                quoted(std::string("isConfigloaded|") + kVersionLine));
}

TEST_F(StartUp, LoadsTheConfigurationFile) {
    EXPECT_EXIT(startWith(false, true), testing::ExitedWithCode(0),
                quoted(std::string("isConfigloaded|LoadConfig(SDKLOG_default.properties)|"
                                   "700 System: use log configuration file|") +
                       kVersionLine));
}

TEST_F(StartUp, FallsBackToTheDefaultConfiguration) {
    EXPECT_EXIT(startWith(false, false), testing::ExitedWithCode(0),
                quoted(std::string("isConfigloaded|LoadConfig(SDKLOG_default.properties)|"
                                   "LoadDefault|700 System: use default log configuration|") +
                       kVersionLine));
}

TEST_F(StartUp, TheKeptCamerasEndWithTheProcess) {
    auto run = [] {
        DeviceSdkDouble::instance().setDevices({std::shared_ptr<CameraDouble>(
            new CameraDouble(CameraScript()), [](CameraDouble* device) {
                std::fprintf(stderr, "released");
                delete device;
            })});
        System::getInstance().discovery(0);
        DeviceSdkDouble::instance().setDevices({});
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^released$");
}

// An application's own exit handlers and destructors may run after ours.
TEST_F(StartUp, ServesCallsThatComeAfterItsEnd) {
    auto run = [] {
        DeviceSdkDouble::instance().setDevices(
            {std::make_shared<CameraDouble>(CameraScript())});  // before the handler: it dies after
        std::atexit([] {
            System& system = System::getInstance();
            const bool isFound = system.discovery(0) && system.getCamera("Acme:1001", System::Key);
            std::fputs(isFound ? "served" : "refused", stderr);
            system.discovery(2);
        });
        System::getInstance().discovery(0);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "^served$");
}

TEST(Version, IsFixed) { EXPECT_STREQ(System::getInstance().getVersion(), "1.1.0.307039"); }

}  // namespace
}  // namespace kestro::test
