// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Camera.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kestrotest {

struct FakeCode : kestro::BarcodeInfo {
    std::int32_t type = 4;
    std::string typeName = "CODE128";
    float ppm = 2.5F;
    std::vector<kestro::Point> points = {{1, 2}, {30, 2}, {30, 20}, {1, 20}};
    std::string data;

    explicit FakeCode(std::string bytes) : data(std::move(bytes)) {}
    std::int32_t getCodeType() const override { return type; }
    const std::string& getCodeTypeName() const override { return typeName; }
    float getPPM() const override { return ppm; }
    const std::vector<kestro::Point>& getPoints() const override { return points; }
    const std::string& getCodeData() const override { return data; }
};

struct FakeFrame : kestro::Frame {
    std::vector<std::uint8_t> image;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t pixelFormat = 0x01080001;
    bool jpeg = false;
    std::uint64_t blockId = 1;
    std::uint64_t timestamp = 0;
    std::uint32_t detectTime = 0;
    std::uint32_t status = 0;
    std::vector<std::shared_ptr<kestro::BarcodeInfo>> codes;

    const std::uint8_t* getImageData() const override {
        return image.empty() ? nullptr : image.data();
    }
    std::uint32_t getImageSize() const override { return static_cast<std::uint32_t>(image.size()); }
    std::uint32_t getWidth() const override { return width; }
    std::uint32_t getHeight() const override { return height; }
    std::uint32_t getPixelFormat() const override { return pixelFormat; }
    bool getPayloadFlag() const override { return jpeg; }
    std::uint64_t getBlockId() const override { return blockId; }
    std::uint64_t getTimestamp() const override { return timestamp; }
    std::uint32_t getDetectTime() const override { return detectTime; }
    std::uint32_t getStatus() const override { return status; }
    std::vector<std::shared_ptr<kestro::BarcodeInfo>> getBarcodes() const override { return codes; }
};

/** A frame of that block with one complete code. */
inline std::shared_ptr<FakeFrame> frameWithCode(std::uint64_t blockId, const std::string& text) {
    auto frame = std::make_shared<FakeFrame>();
    frame->blockId = blockId;
    frame->status = 2;
    frame->codes.push_back(std::make_shared<FakeCode>(text));
    return frame;
}

/** Delivers its frames, on a thread of its own, as soon as it is started. */
struct FakeCamera : kestro::Camera {
    std::vector<std::shared_ptr<kestro::Frame>> frames;
    bool goesOffline = false;  ///< after the last frame
    /** Delivered when it is back; empty: it does not come back. */
    std::vector<std::shared_ptr<kestro::Frame>> framesAfter;
    bool endless = false;  ///< goes on with the last frame, under following block ids
    int connectCode = 0;

    bool connected = false;
    bool everStarted = false;
    std::function<void(const std::shared_ptr<kestro::Frame>&)> onFrame;
    std::function<void(const kestro::ConnectEventArg&)> onConnection;

    ~FakeCamera() override { stopGrabbing(); }
    kestro::Result connect() override {
        connected = connectCode == 0;
        return connectCode;
    }
    void disconnect() override { connected = false; }
    bool isConnected() const override { return connected; }
    kestro::Result startGrabbing(std::int32_t) override {
        everStarted = true;
        stop_ = false;
        delivery_ = std::thread(
            [this, frame = onFrame, connection = onConnection] { deliver(frame, connection); });
        return 0;
    }
    void stopGrabbing() override {
        stop_ = true;
        if (delivery_.joinable()) delivery_.join();
    }
    bool isGrabbing() const override { return delivery_.joinable(); }
    std::shared_ptr<kestro::Frame> getFrame(std::uint32_t) override { return nullptr; }
    kestro::Result clearFrameBuffer() override { return 0; }
    std::shared_ptr<kestro::DeviceInfo> getDeviceInfo() override { return nullptr; }
    std::shared_ptr<kestro::InterfaceInfo> getInterfaceInfo() override { return nullptr; }
    std::shared_ptr<kestro::Parameter> getParameter(const char*) override { return nullptr; }
    kestro::Result forceIpAddress(const char*, const char*, const char*) override { return 2; }
    kestro::Result downloadGenICamXML(const char*) override { return 2; }
    kestro::Result saveDeviceConfig(const char*) override { return 2; }
    kestro::Result loadDeviceConfig(const char*) override { return 2; }
    kestro::Result registerFrameCallback(
        std::function<void(const std::shared_ptr<kestro::Frame>&)> callback) override {
        onFrame = std::move(callback);
        return 0;
    }
    kestro::Result registerConnectCallback(
        std::function<void(const kestro::ConnectEventArg&)> callback) override {
        onConnection = std::move(callback);
        return 0;
    }
    kestro::Result registerParamUpdateCallback(
        std::function<void(const kestro::ParamUpdateEventArg&)>) override {
        return 0;
    }
    const char* getKey() const override { return "Fake:F1"; }

 private:
    void deliver(const std::function<void(const std::shared_ptr<kestro::Frame>&)>& frame,
                 const std::function<void(const kestro::ConnectEventArg&)>& connection) {
        for (const auto& one : frames) {
            if (!stop_) frame(one);
        }
        for (std::uint64_t id = frames.size() + 1; endless && !stop_; ++id) {
            frame(frameWithCode(id, "more"));
        }
        if (goesOffline) connection(kestro::ConnectEventArg{});
        if (framesAfter.empty()) return;
        kestro::ConnectEventArg online{};
        online.state = 1;
        connection(online);
        for (const auto& one : framesAfter) frame(one);
    }

    std::thread delivery_;
    std::atomic<bool> stop_{false};
};

/** A folder of the test's own that is gone at the end. */
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = "/tmp/kestro-cli-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    /** The names of the files inside, sorted. */
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

 private:
    std::string path_;
};

}  // namespace kestrotest
