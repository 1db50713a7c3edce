// SPDX-License-Identifier: Apache-2.0
#include "CameraRecord.h"

#include "Text.h"

#include <cctype>

namespace kestrocli {
namespace {

std::string orEmpty(const char* text) { return text == nullptr ? std::string() : text; }

std::shared_ptr<kestro::DeviceInfoGEV> gevOf(const std::shared_ptr<kestro::DeviceInfo>& info) {
    return std::dynamic_pointer_cast<kestro::DeviceInfoGEV>(info);
}

/** The twelve digits of a MAC address in lower case; empty for any other text. */
std::string macDigits(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        if (c == ':' || c == '-') continue;
        if (std::isxdigit(static_cast<unsigned char>(c)) == 0) return {};
        digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return digits.size() == 12 ? digits : std::string();
}

bool fits(const CameraRecord& camera, std::string_view text, const std::string& mac) {
    return camera.serialNumber == text || camera.userName == text || camera.ip == text ||
           (!mac.empty() && macDigits(camera.mac) == mac);
}

}  // namespace

CameraRecord recordOf(const std::shared_ptr<kestro::Camera>& camera) {
    CameraRecord record;
    record.key = orEmpty(camera->getKey());
    if (const auto info = camera->getDeviceInfo()) {
        record.serialNumber = orEmpty(info->getSerialNumber());
        record.model = orEmpty(info->getModelName());
        record.vendor = orEmpty(info->getVendorName());
        record.userName = orEmpty(info->getName());
        record.version = orEmpty(info->getDeviceVersion());
        record.manufactureInfo = orEmpty(info->getManufactureInfo());
        if (const auto gev = gevOf(info)) {
            record.ip = orEmpty(gev->getIpAddress());
            record.mask = orEmpty(gev->getSubnetMask());
            record.gateway = orEmpty(gev->getDefaultGateway());
            record.mac = orEmpty(gev->getMacAddress());
        }
    }
    if (const auto interface = camera->getInterfaceInfo()) {
        record.interfaceName = orEmpty(interface->getName());
        record.interfaceText = orEmpty(interface->getDecription());
    }
    return record;
}

CameraState stateOf(const std::shared_ptr<kestro::Camera>& camera) {
    const auto gev = gevOf(camera->getDeviceInfo());
    if (gev == nullptr) return {};
    CameraState state;
    state.ipValid = gev->isIpValid();
    state.access = gev->getAccessPermission();
    return state;
}

std::string_view accessName(kestro::DeviceInfo::AccessPermission access) {
    switch (access) {
        case kestro::DeviceInfo::Open:
            return "open";
        case kestro::DeviceInfo::Exclusive:
            return "exclusive";
        case kestro::DeviceInfo::Control:
            return "control";
        case kestro::DeviceInfo::ControlSwitchover:
            return "switchover";
        default:
            return "unknown";
    }
}

std::vector<std::size_t> matching(const std::vector<CameraRecord>& cameras, std::string_view text) {
    std::vector<std::size_t> found;
    if (text.empty()) return found;
    const std::string mac = macDigits(text);
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        if (cameras[i].key == text) return {i};
        if (fits(cameras[i], text, mac)) found.push_back(i);
    }
    return found;
}

std::string nameOf(const CameraRecord& camera) {
    return visible(camera.serialNumber.empty() ? camera.key : camera.serialNumber);
}

}  // namespace kestrocli
