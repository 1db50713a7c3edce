// SPDX-License-Identifier: Apache-2.0
#include <kestro/InterfaceInfo.h>

#include "InterfaceInfoImpl.h"

namespace kestro {

InterfaceInfo::InterfaceInfo(const std::shared_ptr<Camera>& camera)
    : impl_(new InterfaceInfoImpl(camera)) {}
InterfaceInfo::InterfaceInfo(InterfaceInfoImpl* impl) : impl_(impl) {}
InterfaceInfo::~InterfaceInfo() { delete impl_; }

int InterfaceInfo::getType() const { return impl_->type; }
const char* InterfaceInfo::getName() const { return impl_->name.c_str(); }
const char* InterfaceInfo::getDecription() const { return impl_->description.c_str(); }

InterfaceInfoNIC::InterfaceInfoNIC(const std::shared_ptr<Camera>& camera)
    : InterfaceInfo(new InterfaceInfoNICImpl(camera)) {}
InterfaceInfoNIC::~InterfaceInfoNIC() = default;

const InterfaceInfoNICImpl& InterfaceInfoNIC::nic() const {
    return static_cast<const InterfaceInfoNICImpl&>(*impl_);
}

const char* InterfaceInfoNIC::getIpAddress() const { return nic().ipAddress.c_str(); }
const char* InterfaceInfoNIC::getMacAddress() const { return nic().macAddress.c_str(); }
const char* InterfaceInfoNIC::getSubnetMask() const { return nic().subnetMask.c_str(); }
const char* InterfaceInfoNIC::getDefaultGateway() const { return nic().defaultGateway.c_str(); }

}  // namespace kestro
