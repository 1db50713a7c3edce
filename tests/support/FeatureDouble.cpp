// SPDX-License-Identifier: Apache-2.0
//
// The features and the memory of the scripted cameras.
#include "DeviceSdkDouble.h"

#include <algorithm>
#include <cstdio>
#include <utility>

using kestro::test::CameraDouble;
using kestro::test::DeviceSdkDouble;
using kestro::test::FeatureScript;

namespace {

constexpr int kNoSuchFeature = 5;
constexpr int kWrongKind = 6;

DeviceSdkDouble& sdk() { return DeviceSdkDouble::instance(); }

std::string hex(std::uint64_t number) {
    char text[19];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

}  // namespace

namespace Vorda::GenICam {

class CInternalParameterNode::Impl {
 public:
    Impl(const TSharedPtr<ICamera>& sdkCamera, const CString& featureName)
        : camera(std::dynamic_pointer_cast<CameraDouble>(sdkCamera)), name(featureName.c_str()) {
        sdk().enter("open", name);
    }
    ~Impl() { sdk().enter("close", name); }

    /** Empty while the camera is not connected. */
    FeatureScript* find() const {
        if (!camera || !camera->connected) return nullptr;
        const auto found = camera->script.features.find(name);
        return found == camera->script.features.end() ? nullptr : &found->second;
    }
    /** Notes a question; the feature where it exists. */
    const FeatureScript* ask(const std::string& question) const {
        sdk().enter(question, name);
        return find();
    }
    /** Notes an operation; empty, with the last error, when it fails or is not of this kind. */
    FeatureScript* use(EFeatureType kind, const std::string& operation,
                       const std::string& argument = "") const {
        if (sdk().enter(operation, argument.empty() ? name : name + ", " + argument))
            return nullptr;
        FeatureScript* const feature = find();
        if (!feature) {
            DeviceSdkDouble::setLastError(kNoSuchFeature, name + ": no such feature");
        } else if (feature->type != kind) {
            DeviceSdkDouble::setLastError(kWrongKind, name + ": of another kind");
            return nullptr;
        }
        return feature;
    }
    /** Reads one member of the feature's record. */
    template <typename T, typename Value>
    bool get(EFeatureType kind, const char* operation, T FeatureScript::*member,
             Value& value) const {
        const FeatureScript* const feature = use(kind, operation);
        if (feature) value = static_cast<Value>(feature->*member);
        return feature != nullptr;
    }
    /** Writes one; the journal shows `shown`. */
    template <typename T>
    bool set(EFeatureType kind, const char* operation, T FeatureScript::*member, const T& value,
             const std::string& shown) {
        FeatureScript* const feature = use(kind, operation, shown);
        if (feature) feature->*member = value;
        return feature != nullptr;
    }

    const std::shared_ptr<CameraDouble> camera;
    const std::string name;
};

CInternalParameterNode::CInternalParameterNode(const TSharedPtr<ICamera>& camera,
                                               const CString& name)
    : impl_(std::make_unique<Impl>(camera, name)) {}
CInternalParameterNode::~CInternalParameterNode() = default;

bool CInternalParameterNode::isValid() const { return impl_->ask("isValid") != nullptr; }
bool CInternalParameterNode::isAvailable() const {
    const FeatureScript* const feature = impl_->ask("isAvailable");
    return feature && feature->isAvailable;
}
bool CInternalParameterNode::isReadable() const {
    const FeatureScript* const feature = impl_->ask("isReadable");
    return feature && feature->isReadable;
}
bool CInternalParameterNode::isWriteable() const {
    const FeatureScript* const feature = impl_->ask("isWriteable");
    return feature && feature->isWritable;
}
CInternalParameterNode::EFeatureType CInternalParameterNode::getType() const {
    const FeatureScript* const feature = impl_->ask("getType");
    return feature ? feature->type : kFeatureUnknown;
}
CInternalParameterNode::EFeatureVisibility CInternalParameterNode::getVisibility() const {
    const FeatureScript* const feature = impl_->ask("getVisibility");
    return feature ? feature->visibility : kVisibilityUnknown;
}
CString CInternalParameterNode::getName() const { return impl_->name; }

bool CInternalParameterNode::getIntValue(std::int64_t& value) const {
    return impl_->get(kFeatureInt, "getIntValue", &FeatureScript::integer, value);
}
bool CInternalParameterNode::setIntValue(std::int64_t value) {
    return impl_->set(kFeatureInt, "setIntValue", &FeatureScript::integer, value,
                      std::to_string(value));
}
bool CInternalParameterNode::getIntMaxMin(std::int64_t& max, std::int64_t& min) const {
    const FeatureScript* const feature = impl_->use(kFeatureInt, "getIntMaxMin");
    if (feature) max = feature->max, min = feature->min;
    return feature != nullptr;
}
bool CInternalParameterNode::getIntIncrement(std::int64_t& increment) const {
    return impl_->get(kFeatureInt, "getIntIncrement", &FeatureScript::increment, increment);
}

bool CInternalParameterNode::getFloatValue(double& value) const {
    return impl_->get(kFeatureFloat, "getFloatValue", &FeatureScript::number, value);
}
bool CInternalParameterNode::setFloatValue(double value) {
    return impl_->set(kFeatureFloat, "setFloatValue", &FeatureScript::number, value,
                      std::to_string(value));
}
bool CInternalParameterNode::getFloatMaxMin(double& max, double& min) const {
    const FeatureScript* const feature = impl_->use(kFeatureFloat, "getFloatMaxMin");
    if (feature) max = feature->numberMax, min = feature->numberMin;
    return feature != nullptr;
}
bool CInternalParameterNode::getUnit(CString& unit) const {
    return impl_->get(kFeatureFloat, "getUnit", &FeatureScript::unit, unit);
}

bool CInternalParameterNode::getBoolValue(bool& value) const {
    return impl_->get(kFeatureBool, "getBoolValue", &FeatureScript::integer, value);
}
bool CInternalParameterNode::setBoolValue(bool value) {
    return impl_->set<std::int64_t>(kFeatureBool, "setBoolValue", &FeatureScript::integer, value,
                                    std::to_string(value));
}

bool CInternalParameterNode::getStringValue(CString& value) const {
    return impl_->get(kFeatureString, "getStringValue", &FeatureScript::text, value);
}
bool CInternalParameterNode::setStringValue(const CString& value) {
    const std::string text = value.c_str();
    return impl_->set(kFeatureString, "setStringValue", &FeatureScript::text, text, text);
}
bool CInternalParameterNode::getMaxStringLen(std::uint32_t& length) const {
    return impl_->get(kFeatureString, "getMaxStringLen", &FeatureScript::maxLength, length);
}

bool CInternalParameterNode::getEnumValue(std::uint64_t& value) const {
    return impl_->get(kFeatureEnum, "getEnumValue", &FeatureScript::integer, value);
}
bool CInternalParameterNode::setEnumValue(std::uint64_t value) {
    return impl_->set(kFeatureEnum, "setEnumValue", &FeatureScript::integer,
                      static_cast<std::int64_t>(value), std::to_string(value));
}
bool CInternalParameterNode::setEnumValueBySymbol(const CString& symbol) {
    FeatureScript* const feature = impl_->use(kFeatureEnum, "setEnumValueBySymbol", symbol.c_str());
    if (!feature) return false;
    for (const SEnumEntry& entry : feature->entries) {
        if (symbol.compare(entry.symbol) != 0) continue;
        feature->integer = static_cast<std::int64_t>(entry.value);
        return true;
    }
    return false;
}
bool CInternalParameterNode::getEnumEntry(TVector<SEnumEntry>& entries) const {
    const FeatureScript* const feature = impl_->use(kFeatureEnum, "getEnumEntry");
    if (feature) entries.assign(feature->entries.begin(), feature->entries.end());
    return feature != nullptr;
}

bool CInternalParameterNode::execute() {
    FeatureScript* const feature = impl_->use(kFeatureCommand, "execute");
    if (feature) ++feature->executions;
    return feature != nullptr;
}

bool CInternalParameterNode::getChildren(
    TVector<TSharedPtr<CInternalParameterNode>>& children) const {
    const FeatureScript* const feature = impl_->use(kFeatureGroup, "getChildren");
    if (!feature) return false;
    for (const std::string& name : feature->children) {
        children.push_back(std::make_shared<CInternalParameterNode>(impl_->camera, name));
    }
    return true;
}

bool CInternalParameterNode::getSelectorsName(TVector<CString>& names) const {
    const FeatureScript* const found = impl_->find();
    const FeatureScript* const feature =
        impl_->use(found ? found->type : kFeatureUnknown, "getSelectorsName");
    if (feature) names.assign(feature->selectors.begin(), feature->selectors.end());
    return feature != nullptr;
}

// The assistant

namespace {

class AssistantDouble final : public IAssistant {
 public:
    explicit AssistantDouble(std::shared_ptr<CameraDouble> camera) : camera_(std::move(camera)) {}

    bool readReg(std::uint64_t address, std::int64_t& value, std::uint32_t& length) override {
        if (enter("readReg", address, length)) return false;
        std::uint64_t bytes = 0;
        for (unsigned i = 0; i < 4; ++i) bytes |= std::uint64_t{byteAt(address + i)} << (8 * i);
        value = static_cast<std::int64_t>(bytes);
        length = 4;
        return true;
    }
    bool writeReg(std::uint64_t address, std::int64_t value, std::uint32_t& length) override {
        const auto bytes = static_cast<std::uint64_t>(value);
        const std::string arguments = hex(address) + ", " + hex(bytes);
        if (sdk().enter("writeReg", arguments + ", " + std::to_string(length))) return false;
        for (unsigned i = 0; i < length; ++i) {
            camera_->script.memory[address + i] = static_cast<std::uint8_t>(bytes >> (8 * i));
        }
        return true;
    }
    bool readMem(std::uint64_t address, void* buffer, std::uint32_t& length) override {
        if (enter("readMem", address, length)) return false;
        const std::uint32_t asked = length;
        auto& counts = camera_->script.memoryCounts;
        if (!counts.empty()) {
            length = counts.front();
            counts.pop_front();
        }
        for (std::uint32_t i = 0; i < std::min(asked, length); ++i) {
            static_cast<std::uint8_t*>(buffer)[i] = byteAt(address + i);
        }
        return true;
    }
    bool writeMem(std::uint64_t address, const void* buffer, std::uint32_t& length) override {
        if (enter("writeMem", address, length)) return false;
        for (std::uint32_t i = 0; i < length; ++i) {
            camera_->script.memory[address + i] = static_cast<const std::uint8_t*>(buffer)[i];
        }
        return true;
    }

 private:
    static bool enter(const char* operation, std::uint64_t address, std::uint32_t length) {
        return sdk().enter(operation, hex(address) + ", " + std::to_string(length)).has_value();
    }
    std::uint8_t byteAt(std::uint64_t address) const {
        const auto found = camera_->script.memory.find(address);
        return found == camera_->script.memory.end() ? std::uint8_t{0} : found->second;
    }

    const std::shared_ptr<CameraDouble> camera_;
};

}  // namespace

TSharedPtr<IAssistant> CInternalAssistantEx::getInstance(const TSharedPtr<ICamera>& camera) {
    if (sdk().enter("CInternalAssistantEx::getInstance")) return nullptr;
    auto device = std::dynamic_pointer_cast<CameraDouble>(camera);
    if (!device || device->script.type != 0) return nullptr;
    return std::make_shared<AssistantDouble>(std::move(device));
}

}  // namespace Vorda::GenICam
