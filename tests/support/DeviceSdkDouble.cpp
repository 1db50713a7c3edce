// SPDX-License-Identifier: Apache-2.0
#include "DeviceSdkDouble.h"

#include <algorithm>
#include <chrono>

namespace kestro::test {

using Vorda::GenICam::CFrame;
using Vorda::GenICam::ConnectBinding;
using Vorda::GenICam::CString;
using Vorda::GenICam::FrameBinding;
using Vorda::GenICam::ICamera;
using Vorda::GenICam::IGigECamera;
using Vorda::GenICam::IGigEInterface;
using Vorda::GenICam::ParamsUpdateBinding;

namespace {

constexpr int kTimeout = 11;
constexpr int kAnotherCall = 0x7777;

struct LastError {
    int number = 0;
    std::optional<std::string> text;
};

LastError& lastError() {
    thread_local LastError error;
    return error;
}

DeviceSdkDouble& sdk() { return DeviceSdkDouble::instance(); }

const char* pointer(const CameraScript::Text& text) { return text ? text->c_str() : nullptr; }

class GigEViewDouble final : public IGigECamera {
 public:
    explicit GigEViewDouble(std::shared_ptr<CameraDouble> camera) : camera_(std::move(camera)) {}

    bool forceIpAddress(const char* ip, const char* mask, const char* gateway) override {
        const std::string arguments = std::string(ip) + ", " + mask + ", " + gateway;
        if (sdk().enter("forceIpAddress", arguments)) return false;
        camera_->script.ipAddress = ip;
        camera_->script.subnetMask = mask;
        camera_->script.gateway = gateway;
        camera_->script.ipValidity = "Valid";
        return true;
    }
    int getAccessPermission() const override {
        sdk().enter("getAccessPermission");
        return camera_->script.accessPermission;
    }
    CString getIpValidity() const override {
        sdk().enter("getIpValidity");
        return camera_->script.ipValidity;
    }
    CString getIpAddress() const override { return camera_->script.ipAddress; }
    CString getMacAddress() const override { return camera_->script.macAddress; }
    CString getSubnetMask() const override { return camera_->script.subnetMask; }
    CString getGateway() const override { return camera_->script.gateway; }

 private:
    const std::shared_ptr<CameraDouble> camera_;
};

class InterfaceDouble final : public IGigEInterface {
 public:
    explicit InterfaceDouble(std::string name) : name_(std::move(name)) {}

    CString getIpAddress() const override { return "192.168.1.1"; }
    CString getMacAddress() const override { return "02:00:00:00:00:01"; }
    CString getSubnetMask() const override { return "255.255.255.0"; }
    CString getGateway() const override { return "192.168.1.253"; }
    CString getName() const override { return name_; }
    CString getDescription() const override { return "eth7 192.168.1.1/24"; }

 private:
    const std::string name_;
};

}  // namespace

// The script and the journal

DeviceSdkDouble& DeviceSdkDouble::instance() {
    static auto* const only = new DeviceSdkDouble;  // outlives objects that are destroyed at exit
    return *only;
}

void DeviceSdkDouble::reset() {
    std::vector<std::shared_ptr<ICamera>> devices;  // destroyed after the lock
    std::map<std::string, std::function<void()>> hooks;
    const std::lock_guard lock(mutex_);
    devices.swap(devices_);
    hooks.swap(hooks_);
    forkedChild_ = false;
    journal_.clear();
    failures_.clear();
    frameHandlers_.clear();
    connectHandlers_.clear();
    updateHandlers_.clear();
    lastError() = {};
}

void DeviceSdkDouble::setDevices(std::vector<std::shared_ptr<ICamera>> devices) {
    const std::lock_guard lock(mutex_);
    devices_.swap(devices);
}

std::vector<std::shared_ptr<ICamera>> DeviceSdkDouble::devices() const {
    const std::lock_guard lock(mutex_);
    return devices_;
}

void DeviceSdkDouble::fail(const std::string& operation, int number,
                           std::optional<std::string> text) {
    const std::lock_guard lock(mutex_);
    failures_[operation] = {number, std::move(text)};
}

void DeviceSdkDouble::before(const std::string& operation, std::function<void()> hook) {
    const std::lock_guard lock(mutex_);
    hooks_[operation] = std::move(hook);
}

void DeviceSdkDouble::advanceClock(std::uint64_t microseconds) {
    const std::lock_guard lock(mutex_);
    clockUs_ += microseconds;
}

std::uint64_t DeviceSdkDouble::clock() const {
    const std::lock_guard lock(mutex_);
    return clockUs_;
}

std::vector<std::string> DeviceSdkDouble::journal() const {
    const std::lock_guard lock(mutex_);
    return journal_;
}

void DeviceSdkDouble::clearJournal() {
    const std::lock_guard lock(mutex_);
    journal_.clear();
}

std::optional<int> DeviceSdkDouble::enter(const std::string& operation,
                                          const std::string& arguments) {
    std::function<void()> hook;
    std::optional<Failure> failure;
    {
        const std::lock_guard lock(mutex_);
        journal_.push_back(arguments.empty() ? operation : operation + "(" + arguments + ")");
        if (const auto found = hooks_.find(operation); found != hooks_.end()) hook = found->second;
        if (const auto found = failures_.find(operation); found != failures_.end()) {
            failure = found->second;
        }
    }
    if (hook) hook();
    if (!failure) {
        setLastError(kAnotherCall, "error of another call");
        return std::nullopt;
    }
    setLastError(failure->number, failure->text);
    return failure->number;
}

void DeviceSdkDouble::setLastError(int number, std::optional<std::string> text) {
    lastError() = {number, std::move(text)};
}

template <>
std::vector<FrameBinding>& DeviceSdkDouble::known() {
    return frameHandlers_;
}
template <>
std::vector<ConnectBinding>& DeviceSdkDouble::known() {
    return connectHandlers_;
}
template <>
std::vector<ParamsUpdateBinding>& DeviceSdkDouble::known() {
    return updateHandlers_;
}

template <typename Arg>
std::string DeviceSdkDouble::nameOf(const Vorda::GenICam::TBinding<Arg>& handler) {
    const std::lock_guard lock(mutex_);
    auto& handlers = known<Arg>();
    auto found = std::find(handlers.begin(), handlers.end(), handler);
    if (found == handlers.end()) found = handlers.insert(found, handler);
    return "handler " + std::to_string(found - handlers.begin() + 1);
}

// The camera

int CameraDouble::getType() const {
    sdk().enter("getType");
    return script.type;
}
const char* CameraDouble::getName() const {
    sdk().enter("getName");
    return pointer(script.name);
}
const char* CameraDouble::getKey() const {
    sdk().enter("getKey");
    return pointer(script.key);
}
bool CameraDouble::isConnected() const { return !sdk().enter("isConnected") && connected; }
int CameraDouble::getInterfaceType() const {
    sdk().enter("getInterfaceType");
    return script.interfaceType;
}
bool CameraDouble::downloadGenICamXML(const char* path) {
    return !sdk().enter("downloadGenICamXML", path);
}
const char* CameraDouble::getVendor() const {
    sdk().enter("getVendor");
    return pointer(script.vendor);
}
const char* CameraDouble::getModelName() const {
    sdk().enter("getModelName");
    return pointer(script.model);
}
const char* CameraDouble::getSerialNumber() const {
    sdk().enter("getSerialNumber");
    return pointer(script.serialNumber);
}
const char* CameraDouble::getDeviceVersion() const {
    sdk().enter("getDeviceVersion");
    return pointer(script.deviceVersion);
}
const char* CameraDouble::getManufactureInfo() const {
    sdk().enter("getManufactureInfo");
    return pointer(script.manufacturerInfo);
}
int CameraDouble::saveDeviceConfig(const char* path) {
    return sdk().enter("saveDeviceConfig", path).value_or(0);
}
int CameraDouble::loadDeviceConfig(const char* path, CString& errors) {
    const int number = sdk().enter("loadDeviceConfig", path).value_or(0);
    if (number != 0) errors = "Width: refused";
    return number;
}
bool CameraDouble::connect(int access) {
    if (sdk().enter("connect", std::to_string(access))) return false;
    connected = true;
    return true;
}
bool CameraDouble::disConnect() {
    if (sdk().enter("disConnect")) return false;
    connected = false;
    return true;
}

std::shared_ptr<StreamDouble> CameraDouble::stream() {
    const std::lock_guard lock(mutex_);
    return stream_.lock();
}

std::shared_ptr<EventsDouble> CameraDouble::events() {
    const std::lock_guard lock(mutex_);
    return events_.lock();
}

bool CameraDouble::deliver(const CFrame& frame) {
    const auto source = stream();
    return source && source->deliver(frame);
}

bool CameraDouble::raiseConnect(std::int32_t state) {
    const auto source = events();
    const ConnectBinding handler = source ? source->connectHandler() : ConnectBinding();
    if (!handler) return false;
    handler({state});
    return true;
}

bool CameraDouble::raiseUpdates(const std::vector<std::string>& names) {
    const auto source = events();
    const ParamsUpdateBinding handler = source ? source->updateHandler() : ParamsUpdateBinding();
    if (!handler) return false;
    Vorda::GenICam::SParamsUpdateArg arg;
    arg.names.assign(names.begin(), names.end());
    handler(arg);
    return true;
}

// The stream

StreamDouble::~StreamDouble() { sdk().enter("~IStreamSource"); }

bool StreamDouble::startGrabbing(std::uint64_t maxImages, int strategy) {
    const std::string arguments = std::to_string(maxImages) + ", " + std::to_string(strategy);
    if (sdk().enter("startGrabbing", arguments)) return false;
    const std::lock_guard lock(mutex_);
    grabbing_ = true;
    return true;
}

bool StreamDouble::stopGrabbing() {
    if (sdk().enter("stopGrabbing")) return false;
    {
        const std::lock_guard lock(mutex_);
        grabbing_ = false;
        waiting_.clear();
    }
    changed_.notify_all();
    const std::lock_guard untilTheHandlerReturned(delivery_);
    return true;
}

bool StreamDouble::isGrabbing() const {
    if (sdk().enter("isGrabbing")) return false;
    const std::lock_guard lock(mutex_);
    return grabbing_;
}

bool StreamDouble::getFrame(CFrame& frame, std::uint32_t timeoutMs) {
    if (sdk().enter("getFrame", std::to_string(timeoutMs))) return false;
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                      [this] { return !grabbing_ || !waiting_.empty(); });
    if (waiting_.empty()) {
        DeviceSdkDouble::setLastError(kTimeout, grabbing_ ? "timeout" : "stopped");
        return false;
    }
    frame = waiting_.front();
    waiting_.pop_front();
    return true;
}

bool StreamDouble::attachGrabbing(const FrameBinding& handler) {
    if (sdk().enter("attachGrabbing", handler)) return false;
    const std::lock_guard lock(mutex_);
    handler_ = handler;
    return true;
}

bool StreamDouble::detachGrabbing(const FrameBinding& handler) {
    if (sdk().enter("detachGrabbing", handler)) return false;
    {
        const std::lock_guard lock(mutex_);
        if (handler_ == handler) handler_ = FrameBinding();
    }
    const std::lock_guard untilTheHandlerReturned(delivery_);
    return true;
}

bool StreamDouble::setBufferCount(std::uint32_t count) {
    if (sdk().enter("setBufferCount", std::to_string(count))) return false;
    const std::lock_guard lock(mutex_);
    bufferCount_ = count;
    return true;
}

bool StreamDouble::clearFrameBuffer() {
    if (sdk().enter("clearFrameBuffer")) return false;
    const std::lock_guard lock(mutex_);
    waiting_.clear();
    return true;
}

bool StreamDouble::deliver(const CFrame& frame) {
    const std::lock_guard delivering(delivery_);
    FrameBinding handler;
    {
        const std::lock_guard lock(mutex_);
        if (!grabbing_) return false;
        handler = handler_;
        if (!handler) {
            waiting_.push_back(frame);
            if (waiting_.size() > bufferCount_) waiting_.pop_front();
        }
    }
    if (handler) {
        handler(frame);
    } else {
        changed_.notify_all();
    }
    return true;
}

// The events

EventsDouble::~EventsDouble() { sdk().enter("~IEventSubscribe"); }

bool EventsDouble::subscribeConnectArgs(const ConnectBinding& handler) {
    if (sdk().enter("subscribeConnectArgs", handler)) return false;
    const std::lock_guard lock(mutex_);
    connectHandler_ = handler;
    return true;
}

bool EventsDouble::unsubscribeConnectArgs(const ConnectBinding& handler) {
    if (sdk().enter("unsubscribeConnectArgs", handler)) return false;
    const std::lock_guard lock(mutex_);
    if (connectHandler_ == handler) connectHandler_ = ConnectBinding();
    return true;
}

bool EventsDouble::subscribeParamsUpdate(const ParamsUpdateBinding& handler) {
    if (sdk().enter("subscribeParamsUpdate", handler)) return false;
    const std::lock_guard lock(mutex_);
    updateHandler_ = handler;
    return true;
}

bool EventsDouble::unsubscribeParamsUpdate(const ParamsUpdateBinding& handler) {
    if (sdk().enter("unsubscribeParamsUpdate", handler)) return false;
    const std::lock_guard lock(mutex_);
    if (updateHandler_ == handler) updateHandler_ = ParamsUpdateBinding();
    return true;
}

bool EventsDouble::setEventQueueSize(std::uint32_t count) {
    return !sdk().enter("setEventQueueSize", std::to_string(count));
}

ConnectBinding EventsDouble::connectHandler() const {
    const std::lock_guard lock(mutex_);
    return connectHandler_;
}

ParamsUpdateBinding EventsDouble::updateHandler() const {
    const std::lock_guard lock(mutex_);
    return updateHandler_;
}

}  // namespace kestro::test

// The device SDK's own entries

namespace Vorda::Infra {

int getLastError() { return kestro::test::lastError().number; }

const char* getErrMsg(int number) {
    const auto& error = kestro::test::lastError();
    return number == error.number && error.text ? error.text->c_str() : nullptr;
}

bool isForkedChild() { return kestro::test::sdk().isForkedChild(); }

std::uint64_t CTime::getCurrentMicroSecond() {
    kestro::test::sdk().enter("getCurrentMicroSecond");
    return kestro::test::sdk().clock();
}

}  // namespace Vorda::Infra

namespace Vorda::GenICam {

using kestro::test::CameraDouble;
using kestro::test::sdk;

TSharedPtr<IGigECamera> IGigECamera::getInstance(const TSharedPtr<ICamera>& camera) {
    if (sdk().enter("IGigECamera::getInstance")) return nullptr;
    auto device = std::dynamic_pointer_cast<CameraDouble>(camera);
    if (!device || device->script.type != 0) return nullptr;
    return std::make_shared<kestro::test::GigEViewDouble>(std::move(device));
}

TSharedPtr<IGigEInterface> IGigEInterface::getInstance(const TSharedPtr<ICamera>& camera) {
    if (sdk().enter("IGigEInterface::getInstance")) return nullptr;
    const auto device = std::dynamic_pointer_cast<CameraDouble>(camera);
    if (!device || device->script.interfaceType != 0) return nullptr;
    return std::make_shared<kestro::test::InterfaceDouble>(device->script.interfaceName);
}

CSystem& CSystem::getInstance() {
    static CSystem only;
    return only;
}

bool CSystem::discoveryEx(TVector<TSharedPtr<ICamera>>& cameras, EDiscoveryMode mode,
                          _DiscoveryModeInfo info) {
    std::string arguments = std::to_string(mode) + ", {" + std::to_string(info.mode);
    for (const std::uint32_t word : info.reserved) arguments += " " + std::to_string(word);
    if (sdk().enter("discoveryEx", arguments + "}")) return false;
    const auto devices = sdk().devices();
    cameras.assign(devices.begin(), devices.end());
    return true;
}

TSharedPtr<IStreamSource> CSystem::createStreamSource(const TSharedPtr<ICamera>& camera,
                                                      unsigned short channel) {
    if (sdk().enter("createStreamSource", std::to_string(channel))) return nullptr;
    const auto device = std::dynamic_pointer_cast<CameraDouble>(camera);
    if (!device) return nullptr;
    auto stream = std::make_shared<kestro::test::StreamDouble>();
    const std::lock_guard lock(device->mutex_);
    device->stream_ = stream;
    return stream;
}

TSharedPtr<IEventSubscribe> CSystem::createEventSubscribe(const TSharedPtr<ICamera>& camera) {
    if (sdk().enter("createEventSubscribe")) return nullptr;
    const auto device = std::dynamic_pointer_cast<CameraDouble>(camera);
    if (!device) return nullptr;
    auto events = std::make_shared<kestro::test::EventsDouble>();
    const std::lock_guard lock(device->mutex_);
    device->events_ = events;
    return events;
}

}  // namespace Vorda::GenICam
