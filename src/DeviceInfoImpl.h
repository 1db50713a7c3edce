// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/DeviceInfo.h>

#include "CameraImpl.h"
#include "VordaGenICam.h"

#include <memory>

namespace kestro {

/** Holds the camera for as long as its texts may be read. */
class DeviceInfoImpl {
 public:
    explicit DeviceInfoImpl(const std::shared_ptr<Camera>& owner)
        : camera(owner), device(deviceOf(owner)) {}
    DeviceInfoImpl(const DeviceInfoImpl&) = delete;
    DeviceInfoImpl& operator=(const DeviceInfoImpl&) = delete;
    virtual ~DeviceInfoImpl() = default;

    /** The answer of one of the device's text getters; null without a device. */
    [[nodiscard]] const char* text(const char* (Vorda::GenICam::ICamera::*getter)() const) const {
        return device ? (device.get()->*getter)() : nullptr;
    }

    const std::shared_ptr<Camera> camera;
    const Vorda::Memory::TSharedPtr<Vorda::GenICam::ICamera> device;
};

class DeviceInfoGEVImpl final : public DeviceInfoImpl {
 public:
    explicit DeviceInfoGEVImpl(const std::shared_ptr<Camera>& owner) : DeviceInfoImpl(owner) {
        const auto view = gigeView();
        if (!view) return;
        ipAddress = view->getIpAddress();
        macAddress = view->getMacAddress();
        subnetMask = view->getSubnetMask();
        defaultGateway = view->getGateway();
    }

    /** Empty for a camera of another kind, and in a forked child. */
    [[nodiscard]] Vorda::Memory::TSharedPtr<Vorda::GenICam::IGigECamera> gigeView() const {
        if (!device || Vorda::Infra::isForkedChild()) return nullptr;
        return Vorda::GenICam::IGigECamera::getInstance(device);
    }

    // The addresses as they were at construction.
    Vorda::Infra::CString ipAddress;
    Vorda::Infra::CString macAddress;
    Vorda::Infra::CString subnetMask;
    Vorda::Infra::CString defaultGateway;
};

}  // namespace kestro
