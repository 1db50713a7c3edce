// SPDX-License-Identifier: Apache-2.0
//
// The C interface: every function is one call over the classes. All of them stand in this file,
// because each log line names it. CCall.h holds what they share, CHandles.h what makes a handle
// valid, CRecords.h how values become records. The messages are looked for as they stand here.
#include <kestro/kestro_c.h>

#include <kestro/Parameter.h>

#include "CCall.h"
#include "CRecords.h"
#include "Version.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace kestro;
using namespace kestro::internal;
using VXlog4cpp::kDebug;
using VXlog4cpp::kTrace;

namespace {

constexpr Refusals<const char*> kVersionText{kVersion, kVersion, kVersion};

// Copies `text` to a caller's buffer of `size` bytes: terminated when there is room for the NUL,
// cut when there is not enough for the text. False when it was cut.
bool copyToCaller(const std::string& text, char* buffer, std::size_t size) {
    std::memcpy(buffer, text.data(), std::min(text.size(), size));
    if (text.size() < size) buffer[text.size()] = '\0';
    return text.size() <= size;
}

void logTooSmall(const LogSite& site, std::size_t size, const std::string& text) {
    KESTRO_LOG_FROM(site, VXlog4cpp::kError,
                    "No sufficent buffer,current size=[%d],require size=[%d],Target string=[%s]",
                    static_cast<int>(size), static_cast<int>(text.size()), text.c_str());
}

// The record and what it points to live while the application's function runs.
std::function<void(const std::shared_ptr<Frame>&)> wrap(kstFrameCallback proc, void* user) {
    if (!proc) return nullptr;
    return [proc, user](const std::shared_ptr<Frame>& frame) {
        const std::vector<kstBarcodeInfo> barcodes = barcodeRecords(*frame);
        kstFrameInfo info{};
        describeFrame(*frame, barcodes, info);
        proc(&info, user);
    };
}

std::function<void(const ConnectEventArg&)> wrap(kstConnectionCallback proc, void* user) {
    if (!proc) return nullptr;
    return [proc, user](const ConnectEventArg& arg) {
        kstConnectionEvent event{};
        event.state = arg.state;
        proc(&event, user);
    };
}

std::function<void(const ParamUpdateEventArg&)> wrap(kstFeatureUpdateCallback proc, void* user) {
    if (!proc) return nullptr;
    return [proc, user](const ParamUpdateEventArg& arg) { proc(arg.name, user); };
}

// What the three registrations share.
template <typename Callback, typename Register>
int registerCallback(const LogSite& site, void* handle, Callback proc, void* user,
                     Register registerAt) {
    return CCall(kCode, site).withCamera(handle, [&](const CameraCall& call) {
        KESTRO_LOG_FROM(site, kDebug, "begin, SerialNumber=[%s], proc=[%p]", call.camera->getKey(),
                        reinterpret_cast<void*>(proc));
        const int code = (call.camera.get()->*registerAt)(wrap(proc, user)).getCode();
        call.log(kDebug, "end");
        return code;
    });
}

// Appends the record of a camera that tells of itself and of its interface.
void appendRecord(const LogSite& site, Camera& camera, std::vector<kstDeviceInfo>& records) {
    const std::shared_ptr<DeviceInfo> device = camera.getDeviceInfo();
    if (!device) {
        KESTRO_LOG_FROM(site, VXlog4cpp::kError, "device info is null");
        return;
    }
    const std::shared_ptr<InterfaceInfo> interface = camera.getInterfaceInfo();
    if (!interface) {
        KESTRO_LOG_FROM(site, VXlog4cpp::kError, "interface info is null");
        return;
    }
    records.push_back(deviceRecord(*device, *interface));
}

}  // namespace

// Devices

const char* kstGetVersion() {
    return CCall(kVersionText, KESTRO_LOG_SITE()).run([] {
        return System::getInstance().getVersion();
    });
}

int kstEnumDevices(kstDeviceList* list, unsigned int typeMask) {
    const LogSite site = KESTRO_LOG_SITE();
    return CCall(kCode, site).needs(list != nullptr, "The deviceList is NULL!").run([&] {
        std::vector<std::shared_ptr<Camera>> cameras;
        const Result found = System::getInstance().discovery(cameras, typeMask);
        if (found.isFailure()) return found.getCode();
        std::vector<kstDeviceInfo> records;
        records.reserve(cameras.size());
        for (const auto& camera : cameras) appendRecord(site, *camera, records);
        kstDeviceList filled{};
        filled.deviceCount = static_cast<std::uint32_t>(records.size());
        filled.devices = records.data();  // stays where it is
        deviceRecords().replace(std::move(records));
        *list = filled;
        return 0;
    });
}

void* kstCreateDevice(const char* identifier, int type) {
    const LogSite site = KESTRO_LOG_SITE();
    return CCall(kHandle, site)
        .needs(identifier != nullptr, "The data is NULL!")
        .run([&]() -> void* {
            KESTRO_LOG_FROM(site, kDebug, "type=[%d], identifier=[%s]", type, identifier);
            const auto camera = System::getInstance().getCamera(
                identifier, static_cast<System::CameraDataType>(type));
            if (!camera) {
                KESTRO_LOG_FROM(site, VXlog4cpp::kError, "no camera found, data: [%s], type: [%d]",
                                identifier, type);
            }
            return cameraHandles().add(camera);
        });
}

void kstReleaseHandle(void* handle) {
    if (Vorda::Infra::isForkedChild()) return;
    try {
        if (handle && !cameraHandles().release(handle)) frameHandles().release(handle);
    } catch (...) {  // of the registries' making; what is released does not throw
    }
}

int kstGetDeviceInfo(void* handle, kstDeviceInfo* info) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(handle != nullptr, "The handle is NULL!")
        .needs(info != nullptr, "The info is NULL!")
        .onCamera(handle, kTrace, [&](const CameraCall& call) {
            const char* key = call.camera->getKey();
            if (deviceRecords().find(key, *info)) return 0;
            KESTRO_LOG_FROM(call.site, VXlog4cpp::kError,
                            "no device info found, handle: {%p}, id: [%s]", handle, key);
            return kNotFound;
        });
}

int kstOpenDevice(void* handle) {
    return CCall(kCode, KESTRO_LOG_SITE()).onCamera(handle, kDebug, [](const CameraCall& call) {
        return call.camera->connect().getCode();
    });
}

int kstCloseDevice(void* handle) {
    return CCall(kCode, KESTRO_LOG_SITE()).onCamera(handle, kDebug, [](const CameraCall& call) {
        call.camera->disconnect();
        return 0;
    });
}

int kstIsDeviceOpen(void* handle) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onCamera(handle, kTrace, [](const CameraCall& call) {
        return call.camera->isConnected() ? 1 : 0;
    });
}

int kstForceIpAddress(void* handle, const char* ipAddr, const char* subnetMask,
                      const char* gateway) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(ipAddr != nullptr, "The ipAddr is NULL!")
        .needs(subnetMask && gateway, "SubnetMask or Gateway is NULL!")
        .onCamera(handle, kDebug, [&](const CameraCall& call) {
            if (!call.camera->isConnected()) {
                return call.camera->forceIpAddress(ipAddr, subnetMask, gateway).getCode();
            }
            KESTRO_LOG_FROM(call.site, VXlog4cpp::kError, "force ip failed, camera is connected.");
            return kIsConnected;
        });
}

int kstDownloadGenICamXML(void* handle, const char* path) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(path != nullptr, "The path is NULL!")
        .onCamera(handle, kTrace, [&](const CameraCall& call) {
            return call.camera->downloadGenICamXML(path).getCode();
        });
}

int kstSaveDeviceConfig(void* handle, const char* path) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(path != nullptr, "The path is NULL!")
        .onCamera(handle, kTrace, [&](const CameraCall& call) {
            return call.camera->saveDeviceConfig(path).getCode();
        });
}

int kstLoadDeviceConfig(void* handle, const char* path) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(path != nullptr, "The path is NULL!")
        .onCamera(handle, kTrace, [&](const CameraCall& call) {
            return call.camera->loadDeviceConfig(path).getCode();
        });
}

// Acquisition and frames

int kstStartGrabbing(void* handle, int bufferCount) {
    return CCall(kCode, KESTRO_LOG_SITE()).onCamera(handle, kDebug, [&](const CameraCall& call) {
        return call.camera->startGrabbing(bufferCount).getCode();
    });
}

int kstStopGrabbing(void* handle) {
    return CCall(kCode, KESTRO_LOG_SITE()).onCamera(handle, kDebug, [](const CameraCall& call) {
        call.camera->stopGrabbing();
        return 0;
    });
}

int kstIsGrabbing(void* handle) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onCamera(handle, kTrace, [](const CameraCall& call) {
        return call.camera->isGrabbing() ? 1 : 0;
    });
}

int kstClearFrameBuffer(void* handle) {
    return CCall(kCode, KESTRO_LOG_SITE()).onCamera(handle, kTrace, [](const CameraCall& call) {
        return call.camera->clearFrameBuffer().getCode();
    });
}

void* kstGetFrame(void* handle, unsigned int timeout) {
    return CCall(kHandle, KESTRO_LOG_SITE()).withCamera(handle, [&](const CameraCall& call) {
        return frameHandles().add(call.camera->getFrame(timeout));
    });
}

int kstIsFrameValid(void* frame) {
    if (Vorda::Infra::isForkedChild()) return 0;
    try {
        return frameHandles().find(frame).object ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

int kstGetFrameInfo(void* frame, kstFrameInfo* info) {
    const LogSite site = KESTRO_LOG_SITE();
    return CCall(kCode, site).needs(info != nullptr, "The info is NULL!").run([&] {
        const auto entry = frameHandles().find(frame);
        if (!entry.object || !entry.data) {
            KESTRO_LOG_FROM(site, VXlog4cpp::kError, "%s",
                            entry.object ? "The data is NULL!" : "The frame is NULL!");
            return kUnknownHandle;
        }
        describeFrame(*entry.object, entry.data->barcodesOf(*entry.object), *info);
        return 0;
    });
}

int kstRegisterFrameCallback(void* handle, kstFrameCallback proc, void* user) {
    return registerCallback(KESTRO_LOG_SITE(), handle, proc, user, &Camera::registerFrameCallback);
}

int kstRegisterConnectionCallback(void* handle, kstConnectionCallback proc, void* user) {
    return registerCallback(KESTRO_LOG_SITE(), handle, proc, user,
                            &Camera::registerConnectCallback);
}

int kstRegisterFeatureUpdateCallback(void* handle, kstFeatureUpdateCallback proc, void* user) {
    return registerCallback(KESTRO_LOG_SITE(), handle, proc, user,
                            &Camera::registerParamUpdateCallback);
}

// What every feature has

int kstGetFeatureType(void* handle, const char* name) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const ParameterType type = call.as<Parameter>().getType();
        KESTRO_LOG_FEATURE(call, "end", "");
        return static_cast<int>(type);
    });
}

int kstIsFeatureValid(void* handle, const char* name) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const int isValid = call.as<Parameter>().isValid() ? 1 : 0;
        KESTRO_LOG_FEATURE(call, "end", ", isValid = [%d]", isValid);
        return isValid;
    });
}

int kstIsFeatureAvailable(void* handle, const char* name) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const int isAvailable = call.as<Parameter>().isAvailable() ? 1 : 0;
        KESTRO_LOG_FEATURE(call, "end", ", isAvailable = [%d]", isAvailable);
        return isAvailable;
    });
}

int kstIsFeatureReadable(void* handle, const char* name) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const int isReadable = call.as<Parameter>().isReadable() ? 1 : 0;
        KESTRO_LOG_FEATURE(call, "end", ", isReadable = [%d]", isReadable);
        return isReadable;
    });
}

int kstIsFeatureWriteable(void* handle, const char* name) {
    return CCall(kTruth, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const int isWritable = call.as<Parameter>().isWritable() ? 1 : 0;
        KESTRO_LOG_FEATURE(call, "end", ", isWritable = [%d]", isWritable);
        return isWritable;
    });
}

// Whole numbers

int kstGetIntFeatureValue(void* handle, const char* name, int64_t* value) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const Result result = call.as<ParameterInt>().getValue(*value);
            if (result) KESTRO_LOG_FEATURE(call, "end", ", CurValue[%I64d]", *value);
            return result.getCode();
        });
}

int kstSetIntFeatureValue(void* handle, const char* name, int64_t value) {
    return CCall(kCode, KESTRO_LOG_SITE()).onFeature(handle, name, [&](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", ", setValue=[%I64d]", value);
        const Result result = call.as<ParameterInt>().setValue(value);
        KESTRO_LOG_FEATURE(call, "end", "");
        return result.getCode();
    });
}

int kstGetIntFeatureInfo(void* handle, const char* name, kstIntFeatureInfo* info) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(info != nullptr, "The info is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const auto feature = call.as<ParameterInt>();
            Result result = feature.getValue(info->curValue);
            if (result) result = feature.getRange(info->minValue, info->maxValue);
            if (result) result = feature.getIncrement(info->incValue);
            if (result) {
                KESTRO_LOG_FEATURE(call, "end",
                                   ", curValue[%I64d], maxValue[%I64d], minValue[%I64d], "
                                   "incValue[%I64d]",
                                   info->curValue, info->maxValue, info->minValue, info->incValue);
            }
            return result.getCode();
        });
}

// Floating-point numbers

int kstGetFloatFeatureValue(void* handle, const char* name, double* value) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const Result result = call.as<ParameterFloat>().getValue(*value);
            if (result) KESTRO_LOG_FEATURE(call, "end", ", curValue=[%0.2f]", *value);
            return result.getCode();
        });
}

int kstSetFloatFeatureValue(void* handle, const char* name, double value) {
    return CCall(kCode, KESTRO_LOG_SITE()).onFeature(handle, name, [&](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", ", setValue=[%0.2f]", value);
        const Result result = call.as<ParameterFloat>().setValue(value);
        KESTRO_LOG_FEATURE(call, "end", "");
        return result.getCode();
    });
}

int kstGetFloatFeatureInfo(void* handle, const char* name, kstFloatFeatureInfo* info) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(info != nullptr, "The info is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const auto feature = call.as<ParameterFloat>();
            std::string unit;
            Result result = feature.getValue(info->curValue);
            if (result) result = feature.getRange(info->minValue, info->maxValue);
            if (result) result = feature.getUnit(unit);
            if (result) {
                copyText(info->unit, unit.c_str());
                KESTRO_LOG_FEATURE(call, "end",
                                   ", curValue[%0.2f], maxValue[%0.2f], minValue[%0.2f], unit[%s]",
                                   info->curValue, info->maxValue, info->minValue, info->unit);
            }
            return result.getCode();
        });
}

// Truth values

int kstGetBoolFeatureValue(void* handle, const char* name, bool* value) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const Result result = call.as<ParameterBool>().getValue(*value);
            if (result) KESTRO_LOG_FEATURE(call, "end", ", curValue=[%d]", *value ? 1 : 0);
            return result.getCode();
        });
}

int kstSetBoolFeatureValue(void* handle, const char* name, bool value) {
    return CCall(kCode, KESTRO_LOG_SITE()).onFeature(handle, name, [&](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", ", setValue=[%d]", value ? 1 : 0);
        const Result result = call.as<ParameterBool>().setValue(value);
        KESTRO_LOG_FEATURE(call, "end", "");
        return result.getCode();
    });
}

// Texts

int kstGetStringFeatureValue(void* handle, const char* name, char* value, uint32_t* size) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .needs(size != nullptr, "The size is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            std::string text;
            const Result result = call.as<ParameterString>().getValue(text);
            if (!result) return result.getCode();
            const bool fits = copyToCaller(text, value, *size);
            *size = static_cast<std::uint32_t>(text.size());
            if (!fits) return kBufferTooSmall;
            KESTRO_LOG_FEATURE(call, "end", ", curValue=[%s]", text.c_str());
            return 0;
        });
}

int kstSetStringFeatureValue(void* handle, const char* name, const char* value) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", ", setValue=[%s]", value);
            const Result result = call.as<ParameterString>().setValue(value);
            KESTRO_LOG_FEATURE(call, "end", "");
            return result.getCode();
        });
}

int kstGetStringFeatureInfo(void* handle, const char* name, kstStringFeatureInfo* info) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(info != nullptr, "The info is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const auto feature = call.as<ParameterString>();
            std::string text;
            Result result = feature.getMaxLength(info->maxLen);
            if (result) result = feature.getValue(text);
            if (!result) return result.getCode();
            if (!copyToCaller(text, info->curValue, sizeof(info->curValue))) {
                logTooSmall(call.site, sizeof(info->curValue), text);
                return kBufferTooSmall;
            }
            KESTRO_LOG_FEATURE(call, "end", ", curValue=[%s], maxLen=[%u]", text.c_str(),
                               info->maxLen);
            return 0;
        });
}

// Enumerations

int kstGetEnumFeatureValue(void* handle, const char* name, uint64_t* value) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(value != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            const Result result = call.as<ParameterEnum>().getValue(*value);
            if (result) KESTRO_LOG_FEATURE(call, "end", ", curValue=[%I64u]", *value);
            return result.getCode();
        });
}

int kstSetEnumFeatureValue(void* handle, const char* name, uint64_t value) {
    return CCall(kCode, KESTRO_LOG_SITE()).onFeature(handle, name, [&](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", ", setValue=[%I64u]", value);
        const Result result = call.as<ParameterEnum>().setValue(value);
        KESTRO_LOG_FEATURE(call, "end", "");
        return result.getCode();
    });
}

int kstGetEnumFeatureSymbol(void* handle, const char* name, char* symbol, uint32_t size) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(size != 0, "invalid input param, size: 0")
        .needs(name != nullptr, "The name is NULL!")
        .needs(symbol != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            std::string text;
            const Result result = call.as<ParameterEnum>().getValue(text);
            if (!result) return result.getCode();
            if (!copyToCaller(text, symbol, size)) {
                logTooSmall(call.site, size, text);
                return kBufferTooSmall;
            }
            KESTRO_LOG_FEATURE(call, "end", ", curEnumSymbol=[%s]", text.c_str());
            return 0;
        });
}

int kstSetEnumFeatureSymbol(void* handle, const char* name, const char* symbol) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(symbol != nullptr, "The value is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", ", setEnumSymbol=[%s]", symbol);
            const Result result = call.as<ParameterEnum>().setValue(std::string(symbol));
            KESTRO_LOG_FEATURE(call, "end", "");
            return result.getCode();
        });
}

int kstGetEnumFeatureEntryList(void* handle, const char* name, kstEnumEntryList* entryList) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(entryList != nullptr, "The entryList is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            std::vector<ParameterEnum::Entry> entries;
            int code = call.as<ParameterEnum>().getEntryList(entries).getCode();
            if (code == 0) code = fillEntryList(entries, *entryList) ? 0 : kBufferTooSmall;
            KESTRO_LOG_FEATURE(call, "end", "");
            return code;
        });
}

// Commands and groups

int kstExecCommandFeature(void* handle, const char* name) {
    return CCall(kCode, KESTRO_LOG_SITE()).onFeature(handle, name, [](const FeatureCall& call) {
        KESTRO_LOG_FEATURE(call, "begin", "");
        const Result result = call.as<ParameterCommand>().execute();
        KESTRO_LOG_FEATURE(call, "end", "");
        return result.getCode();
    });
}

int kstEnumFeatureChildren(void* handle, const char* name, kstFeatureChildCallback fn, void* user) {
    return CCall(kCode, KESTRO_LOG_SITE())
        .needs(name != nullptr, "The name is NULL!")
        .needs(fn != nullptr, "The fn is NULL!")
        .onFeature(handle, name, [&](const FeatureCall& call) {
            KESTRO_LOG_FEATURE(call, "begin", "");
            std::vector<std::string> children;
            const Result result = call.as<ParameterGroup>().getChildren(children);
            if (result) {
                for (const std::string& child : children) fn(child.c_str(), user);
            }
            KESTRO_LOG_FEATURE(call, "end", "");
            return result.getCode();
        });
}
