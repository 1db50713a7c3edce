// SPDX-License-Identifier: Apache-2.0
//
// Every operation opens a node, asks it once and, where it refuses, logs why while the node is
// still open: closing it may set another error. All of them stand in this one file, because each
// log line names the file and the operation that wrote it. The messages are looked for as they
// stand here, "selecotrs" and the entry list's "set" included.
#include <kestro/Parameter.h>

#include "LogLine.h"
#include "ParameterImpl.h"
#include "ResultCodes.h"

#include <algorithm>
#include <cstring>

namespace kestro {

using Vorda::GenICam::CInternalParameterNode;
using Vorda::Infra::CString;
using Vorda::Infra::isForkedChild;
using Vorda::Infra::TVector;
using Vorda::Memory::TSharedPtr;

namespace {

// The bits of getAccessibility().
constexpr unsigned kAvailable = 1;
constexpr unsigned kReadable = 2;
constexpr unsigned kWritable = 4;

// Bounds of one request for memory, in bytes.
constexpr std::uint32_t kShortestRequest = 16;
constexpr std::uint32_t kLongestRequest = 512;

const ParameterRegisterImpl& registerOf(const ParameterImpl* impl) {
    return static_cast<const ParameterRegisterImpl&>(*impl);
}

}  // namespace

// What every feature has

Parameter::Parameter(const std::shared_ptr<Camera>& camera, const char* name)
    : impl_(new ParameterImpl(camera, name)) {}
Parameter::Parameter(ParameterImpl* impl) : impl_(impl) {}
Parameter::~Parameter() { delete impl_; }

bool Parameter::isValid() const { return impl_->open().isValid(); }

const char* Parameter::getName() const { return impl_->name.c_str(); }

ParameterType Parameter::getType() const {
    const CInternalParameterNode node = impl_->open();
    if (!node.isValid()) return ParameterType::Unknown;
    switch (node.getType()) {
        case CInternalParameterNode::kFeatureInt:
            return ParameterType::Int;
        case CInternalParameterNode::kFeatureFloat:
            return ParameterType::Float;
        case CInternalParameterNode::kFeatureEnum:
            return ParameterType::Enum;
        case CInternalParameterNode::kFeatureBool:
            return ParameterType::Bool;
        case CInternalParameterNode::kFeatureString:
            return ParameterType::String;
        case CInternalParameterNode::kFeatureCommand:
            return ParameterType::Command;
        case CInternalParameterNode::kFeatureGroup:
            return ParameterType::Group;
        default:
            return ParameterType::Unknown;
    }
}

ParameterVisibility Parameter::getVisibility() const {
    const CInternalParameterNode node = impl_->open();
    if (!node.isValid()) return ParameterVisibility::Unknown;
    const std::uint32_t level = node.getVisibility();
    return level <= CInternalParameterNode::kVisibilityInvisible
               ? static_cast<ParameterVisibility>(level)
               : ParameterVisibility::Unknown;
}

unsigned Parameter::getAccessibility() const {
    const CInternalParameterNode node = impl_->open();
    if (!node.isValid() || !node.isAvailable()) return 0;
    unsigned mask = kAvailable;
    if (node.isReadable()) mask |= kReadable;
    if (node.isWriteable()) mask |= kWritable;
    return mask;
}

bool Parameter::isAvailable() const { return (getAccessibility() & kAvailable) != 0; }
bool Parameter::isReadable() const { return (getAccessibility() & kReadable) != 0; }
bool Parameter::isWritable() const { return (getAccessibility() & kWritable) != 0; }

Result Parameter::getSelectors(std::vector<std::string>& names) const {
    const CInternalParameterNode node = impl_->open();
    TVector<CString> found;
    if (!node.getSelectorsName(found)) {
        KESTRO_LOG_ERROR("get param selecotrs error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    for (const CString& name : found) names.emplace_back(name.c_str());
    return 0;
}

// Whole numbers

ParameterInt::ParameterInt(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterIntImpl(camera, name)) {}
ParameterInt::~ParameterInt() = default;

Result ParameterInt::getValue(std::int64_t& value) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getIntValue(value)) return 0;
    KESTRO_LOG_ERROR("get int param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterInt::setValue(std::int64_t value) {
    CInternalParameterNode node = impl_->open();
    if (node.setIntValue(value)) return 0;
    KESTRO_LOG_ERROR("set int param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterInt::getRange(std::int64_t& min, std::int64_t& max) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getIntMaxMin(max, min)) return 0;
    KESTRO_LOG_ERROR("get int param range error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterInt::getIncrement(std::int64_t& inc) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getIntIncrement(inc)) return 0;
    KESTRO_LOG_ERROR("get int param increment error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

// Floating-point numbers

ParameterFloat::ParameterFloat(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterFloatImpl(camera, name)) {}
ParameterFloat::~ParameterFloat() = default;

Result ParameterFloat::getValue(double& value) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getFloatValue(value)) return 0;
    KESTRO_LOG_ERROR("get float param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterFloat::setValue(double value) {
    CInternalParameterNode node = impl_->open();
    if (node.setFloatValue(value)) return 0;
    KESTRO_LOG_ERROR("set float param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterFloat::getRange(double& min, double& max) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getFloatMaxMin(max, min)) return 0;
    KESTRO_LOG_ERROR("get float param range error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterFloat::getUnit(std::string& unit) const {
    const CInternalParameterNode node = impl_->open();
    CString text;
    if (!node.getUnit(text)) {
        KESTRO_LOG_ERROR("get float param unit error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    unit = text.c_str();
    return 0;
}

// Enumerations

ParameterEnum::ParameterEnum(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterEnumImpl(camera, name)) {}
ParameterEnum::~ParameterEnum() = default;

Result ParameterEnum::getValue(std::uint64_t& value) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getEnumValue(value)) return 0;
    KESTRO_LOG_ERROR("get enum param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterEnum::getValue(std::string& symbol) const {
    std::uint64_t value = 0;
    if (const Result read = getValue(value); read.isFailure()) return read;
    std::vector<Entry> entries;
    if (const Result listed = getEntryList(entries); listed.isFailure()) return listed;
    for (Entry& entry : entries) {
        if (entry.value != value) continue;
        symbol = std::move(entry.symbol);
        return 0;
    }
    KESTRO_LOG_ERROR("No corresponding value found");
    return kNotFound;
}

Result ParameterEnum::setValue(std::uint64_t value) {
    CInternalParameterNode node = impl_->open();
    if (node.setEnumValue(value)) return 0;
    KESTRO_LOG_ERROR("set enum param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterEnum::setValue(const std::string& symbol) {
    CInternalParameterNode node = impl_->open();
    if (node.setEnumValueBySymbol(CString(symbol))) return 0;
    KESTRO_LOG_ERROR("set enum param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterEnum::getEntryList(std::vector<Entry>& entries) const {
    const CInternalParameterNode node = impl_->open();
    TVector<CInternalParameterNode::SEnumEntry> found;
    if (!node.getEnumEntry(found)) {
        KESTRO_LOG_ERROR("set enum param value error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    for (const auto& entry : found) {
        entries.push_back({entry.value, entry.symbol, entry.description});
    }
    return 0;
}

// Yes or no

ParameterBool::ParameterBool(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterBoolImpl(camera, name)) {}
ParameterBool::~ParameterBool() = default;

Result ParameterBool::getValue(bool& value) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getBoolValue(value)) return 0;
    KESTRO_LOG_ERROR("get bool param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterBool::setValue(bool value) {
    CInternalParameterNode node = impl_->open();
    if (node.setBoolValue(value)) return 0;
    KESTRO_LOG_ERROR("set bool param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

// Texts

ParameterString::ParameterString(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterStringImpl(camera, name)) {}
ParameterString::~ParameterString() = default;

Result ParameterString::getValue(std::string& value) const {
    const CInternalParameterNode node = impl_->open();
    CString text;
    if (!node.getStringValue(text)) {
        KESTRO_LOG_ERROR("get string param value error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    value = text.c_str();
    return 0;
}

Result ParameterString::setValue(const std::string& value) {
    CInternalParameterNode node = impl_->open();
    if (node.setStringValue(CString(value))) return 0;
    KESTRO_LOG_ERROR("set string param value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterString::getMaxLength(unsigned& maxLen) const {
    const CInternalParameterNode node = impl_->open();
    if (node.getMaxStringLen(maxLen)) return 0;
    KESTRO_LOG_ERROR("get string param max length error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

// Commands

ParameterCommand::ParameterCommand(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterImpl(camera, name)) {}
ParameterCommand::~ParameterCommand() = default;

Result ParameterCommand::execute() {
    CInternalParameterNode node = impl_->open();
    if (node.execute()) return 0;
    KESTRO_LOG_ERROR("execute command param error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

// Groups

ParameterGroup::ParameterGroup(const std::shared_ptr<Camera>& camera, const char* name)
    : Parameter(new ParameterGroupImpl(camera, name)) {}
ParameterGroup::~ParameterGroup() = default;

Result ParameterGroup::getChildren(std::vector<std::string>& names) {
    const CInternalParameterNode node = impl_->open();
    TVector<TSharedPtr<CInternalParameterNode>> children;
    if (!node.getChildren(children)) {
        KESTRO_LOG_ERROR("get param children error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    for (const auto& child : children) names.emplace_back(child->getName().c_str());
    return 0;
}

Result ParameterGroup::getChildren(std::vector<std::shared_ptr<Parameter>>& children) {
    std::vector<std::string> names;
    if (const Result listed = getChildren(names); listed.isFailure()) return listed;
    Camera& camera = *static_cast<const ParameterGroupImpl&>(*impl_).camera;
    for (const std::string& name : names) {
        if (auto child = camera.getParameter(name.c_str())) children.push_back(std::move(child));
    }
    return 0;
}

// Registers

ParameterRegister::ParameterRegister(const std::shared_ptr<Camera>& camera, std::uint64_t address)
    : Parameter(new ParameterRegisterImpl(camera, address)) {}

bool ParameterRegister::isValid() const {
    const ParameterRegisterImpl& own = registerOf(impl_);
    return own.assistant && own.address != 0;
}

// The device SDK hands a register's bytes over as they lie in the camera, the first one lowest; the
// value they hold is in network byte order.

Result ParameterRegister::getValue(int& value) const {
    const ParameterRegisterImpl& own = registerOf(impl_);
    if (isForkedChild()) return kSdkFailure;
    if (!own.assistant) return kObjectAbsent;
    std::int64_t bytes = 0;
    std::uint32_t length = 0;
    if (!own.assistant->readReg(own.address, bytes, length)) {
        KESTRO_LOG_ERROR("get reg value error. [%s]", lastErrorText().c_str());
        return kSdkFailure;
    }
    value = static_cast<int>(__builtin_bswap32(static_cast<std::uint32_t>(bytes)));
    return 0;
}

Result ParameterRegister::setValue(int value) {
    const ParameterRegisterImpl& own = registerOf(impl_);
    if (isForkedChild()) return kSdkFailure;
    if (!own.assistant) return kObjectAbsent;
    const auto bytes =
        static_cast<std::int32_t>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
    std::uint32_t length = sizeof bytes;
    if (own.assistant->writeReg(own.address, bytes, length)) return 0;
    KESTRO_LOG_ERROR("write reg value error. [%s]", lastErrorText().c_str());
    return kSdkFailure;
}

Result ParameterRegister::getValue(std::uint8_t* buffer, unsigned length) const {
    const ParameterRegisterImpl& own = registerOf(impl_);
    if (isForkedChild()) return kSdkFailure;
    if (!own.assistant) return kObjectAbsent;
    if (!buffer && length > 0) {
        KESTRO_LOG_ERROR("The buffer is NULL!");
        return kInvalidArgument;
    }
    std::uint8_t scratch[kShortestRequest] = {};
    std::uint64_t offset = 0;
    while (offset < length) {
        const auto remaining = static_cast<std::uint32_t>(length - offset);
        const bool isShort = remaining < kShortestRequest;
        const std::uint32_t request = std::clamp(remaining, kShortestRequest, kLongestRequest);
        std::uint8_t* const target = isShort ? scratch : buffer + offset;
        std::uint32_t count = request;
        // A success without bytes would never end.
        if (!own.assistant->readMem(own.address + offset, target, count) || count == 0) {
            KESTRO_LOG_ERROR("get reg value error. address: {0x%I64x}, len: {%u}. [%s]",
                             own.address + offset, request, lastErrorText().c_str());
            return kSdkFailure;
        }
        count = std::min(count, request);
        if (isShort) std::memcpy(buffer + offset, scratch, std::min(count, remaining));
        offset += count;
    }
    return 0;
}

Result ParameterRegister::setValue(const std::uint8_t* buffer, unsigned length) {
    const ParameterRegisterImpl& own = registerOf(impl_);
    if (isForkedChild()) return kSdkFailure;
    if (!own.assistant) return kObjectAbsent;
    if (!buffer && length > 0) {
        KESTRO_LOG_ERROR("The buffer is NULL!");
        return kInvalidArgument;
    }
    for (std::uint64_t offset = 0; offset < length; offset += kLongestRequest) {
        const std::uint8_t* source = buffer + offset;
        std::uint32_t request = kLongestRequest;
        std::vector<std::uint8_t> padded;
        if (length - offset < kLongestRequest) {
            padded.assign(source, buffer + length);
            padded.resize(std::max<std::size_t>(padded.size(), kShortestRequest));
            source = padded.data();
            request = static_cast<std::uint32_t>(padded.size());
        }
        std::uint32_t count = request;
        if (!own.assistant->writeMem(own.address + offset, source, count)) {
            KESTRO_LOG_ERROR("write reg value error, address: {0x%I64x}, len: {%u}. [%s]",
                             own.address + offset, request, lastErrorText().c_str());
            return kSdkFailure;
        }
    }
    return 0;
}

}  // namespace kestro
