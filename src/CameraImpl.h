// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/Camera.h>

#include "RunningCalls.h"
#include "VordaGenICam.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace kestro {

/**
 * One callback of the application. It is a shared constant, so that the caller's copy costs no
 * allocation, and one that is replaced while it runs lives on until it returns.
 *
 * The mutex is held only to exchange or copy the pointer: neither a call nor the destruction of
 * what the application captured happens under it.
 */
template <typename Arg>
class CallbackSlot {
 public:
    using Function = std::function<void(const Arg&)>;

    /** An empty function leaves the slot empty. */
    void set(Function function) {
        std::shared_ptr<const Function> next;
        if (function) next = std::make_shared<const Function>(std::move(function));
        const std::lock_guard<std::mutex> lock(mutex_);
        current_.swap(next);
    }
    [[nodiscard]] std::shared_ptr<const Function> get() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return current_;
    }

 private:
    mutable std::mutex mutex_;
    std::shared_ptr<const Function> current_;  // guarded by mutex_
};

/**
 * A camera of the device SDK.
 *
 * Always owned by a shared_ptr: the information objects made from it keep it alive, and the
 * bindings given to the device SDK refer to it weakly. Its destructor asks nothing of the device
 * SDK; the device SDK's objects end their work in their own destructors.
 */
class CameraImpl final : public Camera, public std::enable_shared_from_this<CameraImpl> {
 public:
    /** Empty when `device` is. */
    [[nodiscard]] static std::shared_ptr<CameraImpl> create(
        const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera>& device);

    /** For create(). Without a device the key is empty, and only getKey() and device() may be used.
     */
    explicit CameraImpl(const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera>& device);
    CameraImpl(const CameraImpl&) = delete;
    CameraImpl& operator=(const CameraImpl&) = delete;

    Result connect() override;
    void disconnect() override;
    bool isConnected() const override;

    Result startGrabbing(std::int32_t bufferCount) override;
    void stopGrabbing() override;
    bool isGrabbing() const override;
    std::shared_ptr<Frame> getFrame(std::uint32_t timeoutMs) override;
    Result clearFrameBuffer() override;

    std::shared_ptr<DeviceInfo> getDeviceInfo() override;
    std::shared_ptr<InterfaceInfo> getInterfaceInfo() override;
    std::shared_ptr<Parameter> getParameter(const char* name) override;

    Result forceIpAddress(const char* ip, const char* mask, const char* gateway) override;
    Result downloadGenICamXML(const char* path) override;
    Result saveDeviceConfig(const char* path) override;
    Result loadDeviceConfig(const char* path) override;

    Result registerFrameCallback(
        std::function<void(const std::shared_ptr<Frame>&)> callback) override;
    Result registerConnectCallback(std::function<void(const ConnectEventArg&)> callback) override;
    Result registerParamUpdateCallback(
        std::function<void(const ParamUpdateEventArg&)> callback) override;

    const char* getKey() const override;

    [[nodiscard]] const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera>& device() const {
        return camera_;
    }

 private:
    // Called by the device SDK, on its threads.
    void onFrameEvent(const Vorda::GenICam::CFrame& deviceFrame);
    void onConnectEvent(const Vorda::GenICam::SConnectArg& arg);
    void onParamUpdateEvent(const Vorda::GenICam::SParamsUpdateArg& arg);

    [[nodiscard]] Vorda::GenICam::FrameBinding frameBinding();
    [[nodiscard]] Vorda::GenICam::ConnectBinding connectBinding();
    [[nodiscard]] Vorda::GenICam::ParamsUpdateBinding paramsUpdateBinding();
    [[nodiscard]] Vorda::Memory::TSharedPtr<Vorda::GenICam::IStreamSource> streamSource() const;
    [[nodiscard]] bool hasFrameCallback() const;
    /** Attaches the frame handler to a stream, or detaches it where no callback is registered. */
    void bindFrames(Vorda::GenICam::IStreamSource& source);
    /**
     * Lists every group of the feature tree once, each before those in it. That tells the device
     * SDK that somebody wants to know what changes. Never throws.
     */
    void walkFeatureTree();
    /** The same, but only for a callback, and once for each connection. */
    void walkIfListenedTo();

    const std::string key_;
    const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera> camera_;
    // Set from a successful start to the stop; guarded by streamMutex_.
    Vorda::Memory::TSharedPtr<Vorda::GenICam::IStreamSource> streamSource_;
    // Made by connect() and kept until the next one. No lock: connect() and disconnect() do not run
    // at the same time.
    Vorda::Memory::TSharedPtr<Vorda::GenICam::IEventSubscribe> eventSubscribe_;
    mutable std::mutex streamMutex_;
    // connect() succeeded and disconnect() has not been called since, whatever the link does.
    std::atomic<bool> connected_{false};
    CallbackSlot<ConnectEventArg> connectCallback_;
    CallbackSlot<ParamUpdateEventArg> paramUpdateCallback_;
    std::atomic<bool> featureTreeWalked_{false};
    CallbackSlot<std::shared_ptr<Frame>> frameCallback_;
    // The device SDK waits for a handler only when its stream is there to be asked: not when the
    // callback itself has stopped it, or another thread is just doing so.
    RunningCalls frameCalls_;
};

/** The device SDK's camera behind `camera`; empty when there is none or it is not one of ours. */
[[nodiscard]] Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera> deviceOf(
    const std::shared_ptr<Camera>& camera);

}  // namespace kestro
