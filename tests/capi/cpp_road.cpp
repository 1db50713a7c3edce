// SPDX-License-Identifier: Apache-2.0
//
// The twin of c_road.c: the same with the classes, printed in the same lines.
#include <kestro/kestro.h>

#include "road_lines.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

using namespace kestro;

namespace {

void check(const char* what, const Result& result) { roadCheck(what, result.getCode()); }

#define CHECK(call) check(#call, call)

/** What the library's threads tell the main thread. */
class Counter {
 public:
    void add() {
        const std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_one();
    }
    void await(int count, const char* name) {
        std::unique_lock lock(mutex_);
        const std::chrono::seconds patience(kPatienceSeconds);
        if (!changed_.wait_for(lock, patience, [&] { return count_ >= count; }))
            roadFail(name, count_);
    }

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;  // guarded by mutex_
};

void printDevice(const std::shared_ptr<Camera>& camera) {
    const DeviceInfoGEV device(camera);
    const InterfaceInfoNIC interface(camera);
    roadTexts("device", device.getID(), device.getName(), device.getSerialNumber(),
              device.getVendorName(), device.getModelName(), device.getManufactureInfo(),
              device.getDeviceVersion(), interface.getName(), device.getMacAddress(),
              device.getIpAddress(), device.getSubnetMask(), device.getDefaultGateway(),
              static_cast<const char*>(nullptr));
    std::printf("device types=%d,%d valid=%d\n", 1, 1, device.isIpValid());
}

std::shared_ptr<Camera> openCamera(const char* serial) {
    CHECK(System::getInstance().discovery(0));
    const auto camera = System::getInstance().getCamera(serial, System::SerialNumber);
    if (!camera) roadFail("no such camera", 0);
    printDevice(camera);
    CHECK(camera->connect());
    return camera;
}

void setNumbers(const std::shared_ptr<Camera>& camera, const RoadArguments& arguments) {
    ParameterInt width(camera, "Width"), height(camera, "Height");
    ParameterFloat rate(camera, "AcquisitionFrameRate"), exposure(camera, "ExposureTime");
    std::int64_t value = 0, min = 0, max = 0, increment = 0;
    double number = 0, smallest = 0, largest = 0;
    std::string unit;
    CHECK(width.setValue(arguments.width));
    CHECK(height.setValue(arguments.height));
    CHECK(rate.setValue(ROAD_RATE));
    CHECK(exposure.setValue(ROAD_EXPOSURE));
    CHECK(width.getValue(value));
    CHECK(width.getRange(min, max));
    CHECK(width.getIncrement(increment));
    std::printf("Width %d [%d..%d] %d\n", static_cast<int>(value), static_cast<int>(min),
                static_cast<int>(max), static_cast<int>(increment));
    CHECK(height.getValue(value));
    std::printf("Height %d\n", static_cast<int>(value));
    CHECK(rate.getValue(number));
    CHECK(rate.getRange(smallest, largest));
    CHECK(rate.getUnit(unit));
    std::printf("AcquisitionFrameRate %.9g [%.9g..%.9g] %s\n", number, smallest, largest,
                unit.c_str());
    CHECK(exposure.getValue(number));
    std::printf("ExposureTime %.9g\n", number);
}

void setEnums(const std::shared_ptr<Camera>& camera, const char* resultFormat) {
    ParameterEnum format(camera, "ResultFormat");
    std::uint64_t value = 0;
    std::string symbol;
    std::vector<ParameterEnum::Entry> entries;
    CHECK(format.setValue(std::string(resultFormat)));
    CHECK(format.getValue(value));
    CHECK(format.setValue(value));
    CHECK(format.getValue(symbol));
    std::printf("ResultFormat %u %s\n", static_cast<unsigned>(value), symbol.c_str());
    CHECK(format.getEntryList(entries));
    for (const auto& entry : entries)
        std::printf("  %u %s\n", static_cast<unsigned>(entry.value), entry.symbol.c_str());
}

void setTrigger(const std::shared_ptr<Camera>& camera) {
    CHECK(ParameterEnum(camera, "TriggerSelector").setValue(std::string("FrameStart")));
    CHECK(ParameterEnum(camera, "TriggerMode").setValue(std::string("On")));
    CHECK(ParameterEnum(camera, "TriggerSource").setValue(std::string("Software")));
}

void setText(const std::shared_ptr<Camera>& camera) {
    ParameterString userId(camera, "DeviceUserID");
    std::string value;
    unsigned longest = 0;
    CHECK(userId.setValue(ROAD_USER_ID));
    CHECK(userId.getValue(value));
    CHECK(userId.getMaxLength(longest));
    roadTexts("DeviceUserID", value.c_str(), value.c_str(), static_cast<const char*>(nullptr));
    std::printf("DeviceUserID %u of %u bytes\n", static_cast<unsigned>(value.size()), longest);
}

void setSwitchesAndCommands(const std::shared_ptr<Camera>& camera) {
    ParameterBool enable(camera, "ReaderSymbologyEnable");
    for (const bool wanted : {false, true}) {
        bool isOn = !wanted;
        CHECK(enable.setValue(wanted));
        CHECK(enable.getValue(isOn));
        std::printf("ReaderSymbologyEnable %d\n", isOn);
    }
    std::int64_t ticks = 0;
    CHECK(ParameterCommand(camera, "GevTimestampControlLatch").execute());
    CHECK(ParameterInt(camera, "GevTimestampValue").getValue(ticks));
    std::printf("GevTimestampValue %s\n", ticks > 0 ? "latched" : "0");
}

void printFeatures(const std::shared_ptr<Camera>& camera) {
    std::vector<std::string> names;
    CHECK(ParameterGroup(camera, "AcquisitionControl").getChildren(names));
    for (const std::string& name : names) {
        const Parameter feature(camera, name.c_str());
        std::printf("  %s type=%d is=%d%d%d%d\n", name.c_str(), static_cast<int>(feature.getType()),
                    feature.isValid(), feature.isAvailable(), feature.isReadable(),
                    feature.isWritable());
    }
}

void setFeatures(const std::shared_ptr<Camera>& camera, const RoadArguments& arguments,
                 Counter& widthTold) {
    CHECK(camera->registerParamUpdateCallback([&](const ParamUpdateEventArg& update) {
        if (std::string(update.name) == "Width") widthTold.add();
    }));
    setNumbers(camera, arguments);
    setEnums(camera, arguments.resultFormat);
    setTrigger(camera);
    setText(camera);
    setSwitchesAndCommands(camera);
    printFeatures(camera);
    widthTold.await(1, "no update of Width was told");
    CHECK(camera->registerParamUpdateCallback(nullptr));
}

void printFrame(const char* way, const Frame& frame) {
    const auto barcodes = frame.getBarcodes();
    const RoadFrame line{way,
                         frame.getBlockId(),
                         frame.getWidth(),
                         frame.getHeight(),
                         frame.getPixelFormat(),
                         static_cast<std::int32_t>(frame.getStatus()),
                         frame.getPayloadFlag(),
                         frame.getImageSize(),
                         frame.getImageData(),
                         barcodes.size()};
    roadFrame(&line);
    for (const auto& barcode : barcodes) {
        RoadCode code{barcode->getCodeType(),
                      barcode->getPPM(),
                      {},
                      barcode->getCodeData().c_str(),
                      barcode->getCodeTypeName().c_str()};
        const auto& points = barcode->getPoints();
        for (std::size_t i = 0; i < points.size() && i < 4; ++i) {
            code.corners[i][0] = points[i].x;
            code.corners[i][1] = points[i].y;
        }
        roadCode(&code);
    }
}

void readByCallback(const std::shared_ptr<Camera>& camera) {
    Counter frames;
    CHECK(camera->registerFrameCallback([&](const std::shared_ptr<Frame>& frame) {
        printFrame("callback", *frame);
        frames.add();
    }));
    CHECK(camera->startGrabbing(kBuffers));
    for (int i = 1; i <= kFramesByCallback; ++i) {
        CHECK(ParameterCommand(camera, "TriggerSoftware").execute());
        frames.await(i, "too few frames came by callback");
    }
    camera->stopGrabbing();
    CHECK(camera->registerFrameCallback(nullptr));
}

void readByPolling(const std::shared_ptr<Camera>& camera) {
    CHECK(camera->startGrabbing(kBuffers));
    for (int frames = 0; frames < kFramesByPolling; ++frames) {
        CHECK(ParameterCommand(camera, "TriggerSoftware").execute());
        const auto frame = camera->getFrame(kPatienceSeconds * 1000);
        if (!frame) roadFail("getFrame gave no frame after", frames);
        printFrame("polled", *frame);
    }
    camera->stopGrabbing();
}

}  // namespace

int main(int argc, char** argv) {
    const RoadArguments arguments = roadArguments(argc, argv);
    Counter widthTold;  // outlives the connection, as an update may still be under way
    const auto camera = openCamera(arguments.serial);
    setFeatures(camera, arguments, widthTold);
    readByCallback(camera);
    readByPolling(camera);
    camera->disconnect();
}
