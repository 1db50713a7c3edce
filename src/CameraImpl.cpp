// SPDX-License-Identifier: Apache-2.0
#include "CameraImpl.h"

#include <kestro/Parameter.h>

#include "FrameImpl.h"
#include "LogLine.h"
#include "ResultCodes.h"

#include <sched.h>

#include <algorithm>
#include <exception>
#include <unordered_set>
#include <vector>

namespace kestro {

using Vorda::GenICam::CFrame;
using Vorda::GenICam::ConnectBinding;
using Vorda::GenICam::CSystem;
using Vorda::GenICam::FrameBinding;
using Vorda::GenICam::ICamera;
using Vorda::GenICam::IGigECamera;
using Vorda::GenICam::IStreamSource;
using Vorda::GenICam::ParamsUpdateBinding;
using Vorda::GenICam::SConnectArg;
using Vorda::GenICam::SParamsUpdateArg;
using Vorda::Infra::CString;
using Vorda::Infra::CTime;
using Vorda::Infra::isForkedChild;
using Vorda::Memory::TSharedPtr;

namespace {

constexpr int kGigECamera = 0;
constexpr int kNetworkInterface = 0;
constexpr int kControlAccess = 2;
constexpr std::uint32_t kEventQueueSize = 8192;
constexpr unsigned short kStreamChannel = 0;
constexpr int kOnline = 1;
constexpr char kRootGroup[] = "Root";

const char* orEmpty(const char* text) { return text ? text : ""; }

// The groups in a group, in its order; none when it cannot be listed, which is logged.
std::vector<std::string> groupsIn(const std::shared_ptr<Camera>& camera, const std::string& name) {
    std::vector<std::string> children;
    ParameterGroup(camera, name.c_str()).getChildren(children);
    const auto isOther = [&camera](const std::string& child) {
        return Parameter(camera, child.c_str()).getType() != ParameterType::Group;
    };
    children.erase(std::remove_if(children.begin(), children.end(), isOther), children.end());
    return children;
}

}  // namespace

Camera::~Camera() = default;

TSharedPtr<ICamera> deviceOf(const std::shared_ptr<Camera>& camera) {
    const auto* impl = dynamic_cast<const CameraImpl*>(camera.get());
    return impl ? impl->device() : nullptr;
}

std::shared_ptr<CameraImpl> CameraImpl::create(const TSharedPtr<ICamera>& device) {
    if (!device) return nullptr;
    return Vorda::Memory::makeForThisProcess<CameraImpl>(device);
}

CameraImpl::CameraImpl(const TSharedPtr<ICamera>& device)
    : key_(device ? orEmpty(device->getKey()) : ""), camera_(device) {}

const char* CameraImpl::getKey() const { return key_.c_str(); }

// Connection

Result CameraImpl::connect() {
    if (isForkedChild()) return kSdkFailure;
    if (camera_->isConnected()) {
        KESTRO_LOG_WARNING("device has been connected! [%s]", key_.c_str());
        return 0;
    }
    const TSharedPtr<IGigECamera> gige = IGigECamera::getInstance(camera_);
    if (!gige) {
        KESTRO_LOG_ERROR("can not get gige camera ptr. [%s]", lastErrorText().c_str());
        return kObjectAbsent;
    }
    if (gige->getIpValidity().compare("Valid") != 0) {
        KESTRO_LOG_ERROR("Device's and PC's subnet is mismatch! SerialNumber=[%s]", key_.c_str());
        return kSubnetMismatch;
    }
    if (!camera_->connect(kControlAccess)) {
        KESTRO_LOG_ERROR("camera connect failed. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    // Of an earlier connection, which may have been lost and never ended.
    eventSubscribe_.reset();
    featureTreeWalked_ = false;
    eventSubscribe_ = CSystem::getInstance().createEventSubscribe(camera_);
    if (!eventSubscribe_) {
        KESTRO_LOG_ERROR("createEventSubscribe failed. [%s]", lastErrorText().c_str());
        camera_->disConnect();
        return kSdkFailure;
    }
    // A camera whose events cannot be had is still worth connecting, so no answer is looked at.
    eventSubscribe_->setEventQueueSize(kEventQueueSize);
    eventSubscribe_->subscribeParamsUpdate(paramsUpdateBinding());
    eventSubscribe_->subscribeConnectArgs(connectBinding());
    walkIfListenedTo();
    connected_ = true;
    walkIfListenedTo();  // a callback that was registered meanwhile saw no connection
    return 0;
}

void CameraImpl::disconnect() {
    if (isForkedChild()) return;
    if (isGrabbing()) stopGrabbing();
    frameCalls_.waitUntilOver();
    if (eventSubscribe_) {
        eventSubscribe_->unsubscribeConnectArgs(connectBinding());
        eventSubscribe_->unsubscribeParamsUpdate(paramsUpdateBinding());
    }
    if (!camera_->disConnect()) KESTRO_LOG_ERROR("disConnect device failed!");
    featureTreeWalked_ = false;
    connected_ = false;
}

bool CameraImpl::isConnected() const { return !isForkedChild() && camera_->isConnected(); }

ConnectBinding CameraImpl::connectBinding() {
    return ConnectBinding::toMember<&CameraImpl::onConnectEvent>(shared_from_this());
}

ParamsUpdateBinding CameraImpl::paramsUpdateBinding() {
    return ParamsUpdateBinding::toMember<&CameraImpl::onParamUpdateEvent>(shared_from_this());
}

// Acquisition

TSharedPtr<IStreamSource> CameraImpl::streamSource() const {
    const std::lock_guard<std::mutex> lock(streamMutex_);
    return streamSource_;
}

bool CameraImpl::isGrabbing() const {
    if (isForkedChild()) return false;
    const TSharedPtr<IStreamSource> source = streamSource();
    return source && source->isGrabbing();
}

Result CameraImpl::startGrabbing(std::int32_t bufferCount) {
    if (isForkedChild()) return kSdkFailure;
    if (isGrabbing()) {
        KESTRO_LOG_DEBUG("the camera is already grabbing.");
        return kAlreadyGrabbing;
    }
    TSharedPtr<IStreamSource> source = streamSource();
    const bool isNew = !source;
    if (isNew) source = CSystem::getInstance().createStreamSource(camera_, kStreamChannel);
    if (!source) {
        KESTRO_LOG_ERROR("createStreamSource failed. [%s]", lastErrorText().c_str());
        return kObjectAbsent;
    }
    if (bufferCount > 0 && !source->setBufferCount(static_cast<std::uint32_t>(bufferCount))) {
        KESTRO_LOG_ERROR("setBufferCount failed. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    constexpr std::uint64_t kNoImageLimit = 0;
    constexpr int kOldestFirst = 0;
    if (!source->startGrabbing(kNoImageLimit, kOldestFirst)) {
        KESTRO_LOG_ERROR("startGrabbing failed. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    const bool isBound = hasFrameCallback();
    if (isBound) source->attachGrabbing(frameBinding());
    if (!isNew) return 0;
    TSharedPtr<IStreamSource> kept = source;
    {
        const std::lock_guard<std::mutex> lock(streamMutex_);
        streamSource_.swap(kept);  // what it held is dropped after the lock
    }
    // A callback that was set or removed meanwhile found no stream to bind the handler to.
    if (hasFrameCallback() != isBound) bindFrames(*source);
    return 0;
}

void CameraImpl::stopGrabbing() {
    if (isForkedChild()) return;
    TSharedPtr<IStreamSource> source;
    {
        // Taken out before the device is stopped, so that others see at once that it is over.
        const std::lock_guard<std::mutex> lock(streamMutex_);
        source.swap(streamSource_);
    }
    if (source && source->stopGrabbing()) {
        // Attached, not detached, and on purpose: the device SDK is told in this order. On a source
        // that stopped it only records the handler.
        source->attachGrabbing(frameBinding());
    } else if (source) {
        KESTRO_LOG_ERROR("stopGrabbing failed! SerialNumber=[%s]", key_.c_str());
    }
    frameCalls_.waitUntilOver();
}

std::shared_ptr<Frame> CameraImpl::getFrame(std::uint32_t timeoutMs) {
    if (isForkedChild()) return nullptr;
    const TSharedPtr<IStreamSource> source = streamSource();
    if (!source) {
        KESTRO_LOG_ERROR("camera is not grabbing, streamSource is null");
        return nullptr;
    }
    CFrame deviceFrame;
    if (!source->getFrame(deviceFrame, timeoutMs)) {
        KESTRO_LOG_ERROR("get frame error. [%s]", lastErrorText().c_str());
        return nullptr;
    }
    return FrameImpl::create(deviceFrame);
}

Result CameraImpl::clearFrameBuffer() {
    if (isForkedChild()) return kSdkFailure;
    const TSharedPtr<IStreamSource> source = streamSource();
    if (!source) {
        KESTRO_LOG_ERROR("camera is not grabbing, streamSource is null");
        return kObjectAbsent;
    }
    if (!source->clearFrameBuffer()) {
        KESTRO_LOG_ERROR("call clearFrameBuffer failed");
        return kSdkFailure;
    }
    return 0;
}

FrameBinding CameraImpl::frameBinding() {
    return FrameBinding::toMember<&CameraImpl::onFrameEvent>(shared_from_this());
}

// Information and control

std::shared_ptr<DeviceInfo> CameraImpl::getDeviceInfo() {
    if (isForkedChild()) return nullptr;
    const int type = camera_->getType();
    if (type != kGigECamera) {
        KESTRO_LOG_ERROR("error camera type: [%d]", type);
        return nullptr;
    }
    return std::make_shared<DeviceInfoGEV>(shared_from_this());
}

std::shared_ptr<InterfaceInfo> CameraImpl::getInterfaceInfo() {
    if (isForkedChild()) return nullptr;
    const int type = camera_->getInterfaceType();
    if (type != kNetworkInterface) {
        KESTRO_LOG_ERROR("error interface type: [%d]", type);
        return nullptr;
    }
    return std::make_shared<InterfaceInfoNIC>(shared_from_this());
}

std::shared_ptr<Parameter> CameraImpl::getParameter(const char* name) {
    if (isForkedChild()) return nullptr;
    if (!name || !*name) return nullptr;
    const std::shared_ptr<Camera> self = shared_from_this();
    const ParameterType type = Parameter(self, name).getType();
    switch (type) {
        case ParameterType::Int:
            return std::make_shared<ParameterInt>(self, name);
        case ParameterType::Float:
            return std::make_shared<ParameterFloat>(self, name);
        case ParameterType::Enum:
            return std::make_shared<ParameterEnum>(self, name);
        case ParameterType::Bool:
            return std::make_shared<ParameterBool>(self, name);
        case ParameterType::String:
            return std::make_shared<ParameterString>(self, name);
        case ParameterType::Command:
            return std::make_shared<ParameterCommand>(self, name);
        case ParameterType::Group:
            return std::make_shared<ParameterGroup>(self, name);
        case ParameterType::Unknown:
            break;
    }
    KESTRO_LOG_ERROR("error param type: [%d]", static_cast<int>(type));
    return nullptr;
}

Result CameraImpl::forceIpAddress(const char* ip, const char* mask, const char* gateway) {
    if (isForkedChild()) return kSdkFailure;
    const TSharedPtr<IGigECamera> gige = IGigECamera::getInstance(camera_);
    if (!gige) {
        KESTRO_LOG_ERROR("can not get gige camera ptr. [%s]", lastErrorText().c_str());
        return kObjectAbsent;
    }
    if (!gige->forceIpAddress(orEmpty(ip), orEmpty(mask), orEmpty(gateway))) {
        KESTRO_LOG_ERROR("force ip address error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    return 0;
}

Result CameraImpl::downloadGenICamXML(const char* path) {
    if (isForkedChild()) return kSdkFailure;
    return camera_->downloadGenICamXML(orEmpty(path)) ? 0 : kSdkFailure;
}

Result CameraImpl::saveDeviceConfig(const char* path) {
    if (isForkedChild()) return kSdkFailure;
    const int ret = camera_->saveDeviceConfig(orEmpty(path));
    if (ret != 0) {
        KESTRO_LOG_ERROR("save device config error, ret: [%d]", ret);
        return kSdkFailure;
    }
    return 0;
}

Result CameraImpl::loadDeviceConfig(const char* path) {
    if (isForkedChild()) return kSdkFailure;
    CString errors;  // the device SDK logs them itself, one line a feature
    const int ret = camera_->loadDeviceConfig(orEmpty(path), errors);
    if (ret != 0) {
        KESTRO_LOG_ERROR("load device config error, ret: [%d]", ret);
        return kSdkFailure;
    }
    return 0;
}

// Events

Result CameraImpl::registerFrameCallback(
    std::function<void(const std::shared_ptr<Frame>&)> callback) {
    if (isForkedChild()) return kSdkFailure;
    const bool isRemoval = !callback;
    frameCallback_.set(std::move(callback));
    // Without a stream the next start binds the handler.
    if (const TSharedPtr<IStreamSource> source = streamSource()) bindFrames(*source);
    if (isRemoval) frameCalls_.waitUntilOver();
    return 0;
}

bool CameraImpl::hasFrameCallback() const { return frameCallback_.get() != nullptr; }

void CameraImpl::bindFrames(IStreamSource& source) {
    if (hasFrameCallback()) {
        source.attachGrabbing(frameBinding());
    } else {
        source.detachGrabbing(frameBinding());
    }
}

Result CameraImpl::registerConnectCallback(std::function<void(const ConnectEventArg&)> callback) {
    if (isForkedChild()) return kSdkFailure;
    connectCallback_.set(std::move(callback));
    return 0;
}

Result CameraImpl::registerParamUpdateCallback(
    std::function<void(const ParamUpdateEventArg&)> callback) {
    if (isForkedChild()) return kSdkFailure;
    if (callback && connected_ && !featureTreeWalked_) walkFeatureTree();
    paramUpdateCallback_.set(std::move(callback));
    if (connected_) walkIfListenedTo();  // a connect() that ended meanwhile saw no callback
    return 0;
}

void CameraImpl::walkIfListenedTo() {
    if (!featureTreeWalked_ && paramUpdateCallback_.get()) walkFeatureTree();
}

// With a stack of its own: how deep the tree is, and whether it is one, is the camera's word.
void CameraImpl::walkFeatureTree() {
    featureTreeWalked_ = true;  // first, so that a connection that is made meanwhile can clear it
    try {
        std::vector<std::string> pending{kRootGroup};
        std::unordered_set<std::string> listed;
        while (!pending.empty()) {
            const std::string name = std::move(pending.back());
            pending.pop_back();
            if (!listed.insert(name).second) continue;
            const std::vector<std::string> groups = groupsIn(shared_from_this(), name);
            pending.insert(pending.end(), groups.rbegin(), groups.rend());  // the first one is next
        }
    } catch (...) {
        featureTreeWalked_ = false;
        KESTRO_LOG_ERROR("exception in feature tree walk. [%s]", exceptionText().c_str());
    }
}

void CameraImpl::onFrameEvent(const CFrame& deviceFrame) {
    const RunningCalls::Call running(frameCalls_);  // before the callback is fetched
    const auto callback = frameCallback_.get();
    if (!callback) return;
    const std::uint64_t startUs = CTime::getCurrentMicroSecond();
    const std::shared_ptr<Frame> frame = FrameImpl::create(deviceFrame);
    if (!frame) return;  // why is already logged
    KESTRO_LOG_TRACE(
        "Enter : Caller Frame Callback, SerialNumber=[%s], CurrentProcessorNumber=[%d]",
        key_.c_str(), sched_getcpu());
    try {
        (*callback)(frame);
    } catch (...) {
        KESTRO_LOG_ERROR("exception in frame callback. [%s]", exceptionText().c_str());
    }
    KESTRO_LOG_TRACE("Exit : Caller Frame Callback, Elapsed-time=[%I64u]us, SerialNumber=[%s]",
                     CTime::getCurrentMicroSecond() - startUs, key_.c_str());
}

void CameraImpl::onConnectEvent(const SConnectArg& arg) {
    const bool online = arg.state == kOnline;
    // Whatever is thrown, also by the device SDK's answer, must not get into the device SDK.
    try {
        KESTRO_LOG_DEBUG("camera connect state changed: [%s], [%s]", online ? "online" : "offline",
                         isConnected() ? "Connected" : "DisConnected");
        const auto callback = connectCallback_.get();
        if (!callback) return;
        ConnectEventArg event{};
        event.state = online ? 1 : 0;
        (*callback)(event);
    } catch (...) {
        KESTRO_LOG_ERROR("exception in connect callback. [%s]", exceptionText().c_str());
    }
}

void CameraImpl::onParamUpdateEvent(const SParamsUpdateArg& arg) {
    const auto callback = paramUpdateCallback_.get();
    if (!callback) return;
    for (const CString& name : arg.names) {
        ParamUpdateEventArg event{};
        event.name = name.c_str();
        try {
            (*callback)(event);
        } catch (...) {
            KESTRO_LOG_ERROR("exception in param update callback. [%s]", exceptionText().c_str());
        }
    }
}

}  // namespace kestro
