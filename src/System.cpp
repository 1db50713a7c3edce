// SPDX-License-Identifier: Apache-2.0
#include <kestro/System.h>

#include "CameraImpl.h"
#include "LogLine.h"
#include "ResultCodes.h"
#include "Version.h"
#include "VordaGenICam.h"

#include <mutex>
#include <string_view>
#include <utility>

namespace kestro {

using Vorda::GenICam::CSystem;
using Vorda::GenICam::ICamera;
using Vorda::Infra::isForkedChild;
using Vorda::Infra::TVector;
using Vorda::Memory::TSharedPtr;
using VXlog4cpp::CVxLog;

namespace {

constexpr const char* kLogConfigurationFile = "SDKLOG_default.properties";
constexpr unsigned int kAllTypes = 0xFFFFFFFF;

// Interface types 0 and 1 have the mask bits 0 and 1; other interfaces are never wanted.
bool isWanted(int interfaceType, unsigned int typeMask) {
    return (interfaceType == 0 && (typeMask & 1U)) || (interfaceType == 1 && (typeMask & 2U));
}

bool isText(const char* text, std::string_view wanted) { return text && text == wanted; }

// Made directly and not by the camera: that would log a line for each camera of another kind.
bool matches(const std::shared_ptr<Camera>& camera, System::CameraDataType type,
             std::string_view wanted) {
    switch (type) {
        case System::Key:
            return isText(camera->getKey(), wanted);
        case System::SerialNumber:
            return isText(DeviceInfo(camera).getSerialNumber(), wanted);
        case System::IpAddress:
            return isText(DeviceInfoGEV(camera).getIpAddress(), wanted);
        case System::MacAddress:
            return isText(DeviceInfoGEV(camera).getMacAddress(), wanted);
    }
    return false;
}

}  // namespace

struct System::State {
    std::mutex mutex;
    std::vector<std::shared_ptr<Camera>> cameras;  // guarded by mutex
};

System& System::getInstance() {
    if (isForkedChild()) {  // what another thread was just making at the fork is never finished
        static System childs;
        return childs;
    }
    static System system;
    return system;
}

System::System() : state_(new State) {
    if (isForkedChild()) return;
    if (!CVxLog::isConfigloaded()) {
        if (CVxLog::LoadConfig(kLogConfigurationFile)) {
            KESTRO_LOG_DEBUG("use log configuration file");
        } else {
            CVxLog::LoadDefault();
            KESTRO_LOG_DEBUG("use default log configuration");
        }
    }
    KESTRO_LOG_DEBUG("KestroSDK Version: [%s]", kVersion);
}

// The cameras end with the process; the state does not, as what runs after this may still call.
System::~System() {
    if (isForkedChild()) return;
    std::vector<std::shared_ptr<Camera>> last;  // before the lock: what it takes over dies after it
    const std::lock_guard<std::mutex> lock(state_->mutex);
    last.swap(state_->cameras);
}

const char* System::getVersion() const { return kVersion; }

Result System::discovery(std::vector<std::shared_ptr<Camera>>& cameras, unsigned int typeMask) {
    if (isForkedChild()) return kSdkFailure;
    if (typeMask == 0) typeMask = kAllTypes;
    TVector<TSharedPtr<ICamera>> devices;
    CSystem::_DiscoveryModeInfo modeInfo{};
    modeInfo.mode = 1;
    if (!CSystem::getInstance().discoveryEx(devices, CSystem::kDiscoveryModeAll, modeInfo)) {
        return kSdkFailure;
    }
    cameras.clear();
    for (const TSharedPtr<ICamera>& device : devices) {
        if (device && isWanted(device->getInterfaceType(), typeMask)) {
            cameras.push_back(CameraImpl::create(device));
        }
    }
    auto kept = cameras;  // declared before the lock: what it gets in exchange dies after it
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->cameras.swap(kept);
    return 0;
}

Result System::discovery(unsigned int typeMask) {
    std::vector<std::shared_ptr<Camera>> cameras;
    return discovery(cameras, typeMask);
}

std::vector<std::shared_ptr<Camera>> System::getCameraList() const {
    if (isForkedChild()) return {};
    const std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->cameras;
}

std::shared_ptr<Camera> System::getCamera(const char* data, CameraDataType type) const {
    if (isForkedChild()) return nullptr;
    if (!data || !*data) {
        KESTRO_LOG_ERROR("invalid input param, data error");
        return nullptr;
    }
    for (const std::shared_ptr<Camera>& camera : getCameraList()) {
        if (matches(camera, type, data)) return camera;
    }
    return nullptr;
}

}  // namespace kestro
