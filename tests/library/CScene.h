// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the C interface work with: two enumerated cameras, one with a handle.
#pragma once

#include <kestro/kestro_c.h>

#include "DeviceSdkDouble.h"
#include "FrameDouble.h"
#include "RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kestro::test {

using Lines = std::vector<std::string>;
using Calls = std::vector<std::string>;

inline constexpr std::chrono::seconds kDeadline{10};
inline constexpr unsigned char kUntouched = 0xA5;

/** A record as the caller had it before a call: every byte kUntouched. */
template <typename Record>
Record untouched() {
    Record record;
    std::memset(&record, kUntouched, sizeof record);
    return record;
}

/** How many of the bytes from `from` up to `to` differ from `byte`. */
template <typename Record>
long othersThan(unsigned char byte, const Record& record, std::size_t from = 0,
                std::size_t to = sizeof(Record)) {
    std::array<unsigned char, sizeof(Record)> bytes;
    std::memcpy(bytes.data(), &record, sizeof record);
    return std::count_if(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                         bytes.begin() + static_cast<std::ptrdiff_t>(to),
                         [byte](unsigned char other) { return other != byte; });
}

/** True when it comes back on another thread, so that nothing it waits for is held by this one. */
inline bool endsElsewhere(std::function<void()> work) {
    auto over = std::make_shared<std::promise<void>>();
    auto future = over->get_future();
    std::thread([over, work = std::move(work)] {
        work();
        over->set_value();
    }).detach();
    return future.wait_for(kDeadline) == std::future_status::ready;
}

/** A pointer as log lines show it, which is the platform's affair. */
inline std::string pointerText(const void* pointer) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%p", pointer);
    return text.data();
}

/** Each feature has values that no other has; the whole numbers do not fit into 32 bits. */
inline std::map<std::string, FeatureScript> someFeatures() {
    using Node = FeatureScript::Node;
    std::map<std::string, FeatureScript> features = {{"Root", featureGroup({"Width", "Gain"})}};
    FeatureScript& width = features["Width"];
    width.integer = 4294967936;
    width.min = -4294967297;
    width.max = 8589934592;
    width.increment = 4294967300;
    FeatureScript& gain = features["Gain"];
    gain.type = Node::kFeatureFloat;
    gain.number = 1.239;
    gain.numberMin = -0.5;
    gain.numberMax = 12.756;
    gain.unit = "dB";
    FeatureScript& flip = features["Flip"];
    flip.type = Node::kFeatureBool;
    flip.integer = 1;
    FeatureScript& user = features["User"];
    user.type = Node::kFeatureString;
    user.text = "gate";
    user.maxLength = 64;
    FeatureScript& mode = features["Mode"];
    mode.type = Node::kFeatureEnum;
    mode.integer = -1;
    mode.entries = {{1, "Off", ""}, {0xFFFFFFFFFFFFFFFF, "Once", "just once"}};
    features["Start"].type = Node::kFeatureCommand;
    return features;
}

class Scene {
 public:
    Scene() {
        sdk.reset();
        log.reset();
        device->script.features = someFeatures();
        sdk.setDevices({device, secondDevice()});
        enumerate();
        camera = kstCreateDevice("Acme:1001", 0);
        quiet();
    }
    Scene(const Scene&) = delete;
    ~Scene() {
        sdk.reset();
        log.reset();
        kstReleaseHandle(frame);
        kstReleaseHandle(camera);
        enumerate();
        quiet();
    }

    /** What an enumeration finds, which has to work. */
    static kstDeviceList enumerate(unsigned mask = 0) {
        auto list = untouched<kstDeviceList>();
        EXPECT_EQ(kstEnumDevices(&list, mask), 0);
        return list;
    }
    void open() {
        ASSERT_EQ(kstOpenDevice(camera), 0);
        quiet();
    }
    /** Opens, starts, takes one frame and leaves another waiting. */
    void grab(FrameContent content = image()) {
        ASSERT_EQ(kstOpenDevice(camera), 0);
        ASSERT_EQ(kstStartGrabbing(camera, 0), 0);
        ASSERT_TRUE(device->deliver(makeFrame(std::move(content))));
        ASSERT_TRUE(device->deliver(makeFrame(image())));
        frame = kstGetFrame(camera, 0);
        ASSERT_TRUE(frame);
        quiet();
    }
    static FrameContent image() {
        FrameContent content;
        content.image = {1, 2, 3, 4};
        content.width = content.height = 2;
        return content;
    }
    static std::shared_ptr<CameraDouble> secondDevice() {
        CameraScript script;
        script.key = "Acme:1002";
        script.serialNumber = "1002";
        return std::make_shared<CameraDouble>(script);
    }
    void quiet() {
        log.reset();
        sdk.clearJournal();
    }
    /** The lines that the C functions themselves wrote, as "300 kstOpenDevice: message". */
    Lines lines() const {
        Lines lines;
        for (const LogRecord& record : log.records()) {
            if (record.file != "CInterface.cpp" || record.line <= 0) continue;
            lines.push_back(std::to_string(record.level) + " " + record.function + ": " +
                            record.message);
        }
        return lines;
    }

    std::string lastLine() const {
        const Lines all = lines();
        return all.empty() ? "" : all.back();
    }

    DeviceSdkDouble& sdk = DeviceSdkDouble::instance();
    RecordingLogger& log = RecordingLogger::instance();
    std::shared_ptr<CameraDouble> device = std::make_shared<CameraDouble>(CameraScript());
    void* camera = nullptr;  ///< of `device`; null it when released
    void* frame = nullptr;
};

/** One scene a test. */
class CInterface : public testing::Test, protected Scene {
 protected:
    void SetUp() override { ASSERT_TRUE(camera); }
};

}  // namespace kestro::test
