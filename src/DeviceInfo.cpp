// SPDX-License-Identifier: Apache-2.0
#include <kestro/DeviceInfo.h>

#include "DeviceInfoImpl.h"

namespace kestro {

using Vorda::GenICam::ICamera;

DeviceInfo::DeviceInfo(const std::shared_ptr<Camera>& camera) : impl_(new DeviceInfoImpl(camera)) {}
DeviceInfo::DeviceInfo(DeviceInfoImpl* impl) : impl_(impl) {}
DeviceInfo::~DeviceInfo() { delete impl_; }

int DeviceInfo::getType() const {
    if (!impl_->device) return 0;
    switch (impl_->device->getType()) {
        case 0:
            return 1;  // GigE Vision
        case 1:
            return 2;  // USB3 Vision
        default:
            return 0;
    }
}

const char* DeviceInfo::getName() const { return impl_->text(&ICamera::getName); }
const char* DeviceInfo::getID() const { return impl_->text(&ICamera::getKey); }
const char* DeviceInfo::getVendorName() const { return impl_->text(&ICamera::getVendor); }
const char* DeviceInfo::getModelName() const { return impl_->text(&ICamera::getModelName); }
const char* DeviceInfo::getSerialNumber() const { return impl_->text(&ICamera::getSerialNumber); }
const char* DeviceInfo::getDeviceVersion() const { return impl_->text(&ICamera::getDeviceVersion); }
const char* DeviceInfo::getManufactureInfo() const {
    return impl_->text(&ICamera::getManufactureInfo);
}

std::shared_ptr<InterfaceInfo> DeviceInfo::getInterfaceInfo() const {
    return impl_->device ? impl_->camera->getInterfaceInfo() : nullptr;
}

DeviceInfoGEV::DeviceInfoGEV(const std::shared_ptr<Camera>& camera)
    : DeviceInfo(new DeviceInfoGEVImpl(camera)) {}
DeviceInfoGEV::~DeviceInfoGEV() = default;

const DeviceInfoGEVImpl& DeviceInfoGEV::gev() const {
    return static_cast<const DeviceInfoGEVImpl&>(*impl_);
}

const char* DeviceInfoGEV::getIpAddress() const { return gev().ipAddress.c_str(); }
const char* DeviceInfoGEV::getMacAddress() const { return gev().macAddress.c_str(); }
const char* DeviceInfoGEV::getSubnetMask() const { return gev().subnetMask.c_str(); }
const char* DeviceInfoGEV::getDefaultGateway() const { return gev().defaultGateway.c_str(); }

bool DeviceInfoGEV::isIpValid() const {
    const auto view = gev().gigeView();
    return view && view->getIpValidity() == "Valid";
}

DeviceInfo::AccessPermission DeviceInfoGEV::getAccessPermission() const {
    const auto view = gev().gigeView();
    return view ? static_cast<AccessPermission>(view->getAccessPermission()) : Undefined;
}

}  // namespace kestro
