// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/InterfaceInfo.h>

#include "CameraImpl.h"
#include "VordaGenICam.h"

#include <cstdint>
#include <memory>

namespace kestro {

/** A copy of the interface's data; it keeps nothing of the camera. */
class InterfaceInfoImpl {
 public:
    explicit InterfaceInfoImpl(const std::shared_ptr<Camera>& camera) {
        const auto device = deviceOf(camera);
        if (!device || Vorda::Infra::isForkedChild()) return;
        type = device->getInterfaceType();
        const auto source = Vorda::GenICam::IGigEInterface::getInstance(device);
        if (!source) return;
        description = source->getDescription();
        name = source->getName();
    }
    InterfaceInfoImpl(const InterfaceInfoImpl&) = delete;
    InterfaceInfoImpl& operator=(const InterfaceInfoImpl&) = delete;
    virtual ~InterfaceInfoImpl() = default;

    Vorda::Infra::CString description;
    Vorda::Infra::CString name;
    std::int32_t type = 0;
};

class InterfaceInfoNICImpl final : public InterfaceInfoImpl {
 public:
    explicit InterfaceInfoNICImpl(const std::shared_ptr<Camera>& camera)
        : InterfaceInfoImpl(camera) {
        const auto device = deviceOf(camera);
        if (!device || Vorda::Infra::isForkedChild()) return;
        const auto source = Vorda::GenICam::IGigEInterface::getInstance(device);
        if (!source) return;
        ipAddress = source->getIpAddress();
        macAddress = source->getMacAddress();
        subnetMask = source->getSubnetMask();
        defaultGateway = source->getGateway();
    }

    Vorda::Infra::CString ipAddress;
    Vorda::Infra::CString macAddress;
    Vorda::Infra::CString subnetMask;
    Vorda::Infra::CString defaultGateway;
};

}  // namespace kestro
