// SPDX-License-Identifier: Apache-2.0
//
// The device SDK's feature node: the questions and orders of one feature, passed on to the camera's
// features.
#include "Features.h"
#include "GigeCamera.h"
#include "LastError.h"
#include "VordaGenICam.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace Vorda::GenICam {

using Gige::FeatureKind;
using Gige::Features;

class CInternalParameterNode::Impl {
 public:
    Impl(const TSharedPtr<ICamera>& camera, std::string name)
        : camera_(camera), name_(std::move(name)) {}

    [[nodiscard]] const TSharedPtr<ICamera>& camera() const { return camera_; }
    [[nodiscard]] const std::string& name() const { return name_; }
    /** Those of the camera while it is connected; else empty, with the last error. */
    [[nodiscard]] std::shared_ptr<Features> features() const {
        if (const auto ours = Gige::GigeCamera::from(camera_)) return ours->features();
        Gige::setLastError(Gige::Error::invalidArgument, "this is no GigE Vision camera");
        return nullptr;
    }
    /** One question to, or order for, the feature. */
    template <typename... Parameters, typename... Arguments>
    [[nodiscard]] bool ask(bool (Features::*operation)(const std::string&, Parameters...) const,
                           Arguments&&... arguments) const {
        const auto all = features();
        return all && (all.get()->*operation)(name_, std::forward<Arguments>(arguments)...);
    }
    template <typename... Parameters, typename... Arguments>
    [[nodiscard]] bool tell(bool (Features::*operation)(const std::string&, Parameters...),
                            Arguments&&... arguments) {
        const auto all = features();
        return all && (all.get()->*operation)(name_, std::forward<Arguments>(arguments)...);
    }

 private:
    const TSharedPtr<ICamera> camera_;
    const std::string name_;
};

namespace {

CInternalParameterNode::EFeatureType typeOf(FeatureKind kind) {
    switch (kind) {
        case FeatureKind::integer:
            return CInternalParameterNode::kFeatureInt;
        case FeatureKind::floating:
            return CInternalParameterNode::kFeatureFloat;
        case FeatureKind::enumeration:
            return CInternalParameterNode::kFeatureEnum;
        case FeatureKind::boolean:
            return CInternalParameterNode::kFeatureBool;
        case FeatureKind::text:
            return CInternalParameterNode::kFeatureString;
        case FeatureKind::command:
            return CInternalParameterNode::kFeatureCommand;
        case FeatureKind::category:
            return CInternalParameterNode::kFeatureGroup;
        case FeatureKind::unknown:
            break;
    }
    return CInternalParameterNode::kFeatureUnknown;
}

template <std::size_t Bytes>
void copyCut(char (&to)[Bytes], const std::string& from) {
    const std::size_t count = std::min(from.size(), Bytes - 1);
    std::memcpy(to, from.data(), count);
    std::memset(to + count, 0, Bytes - count);
}

}  // namespace

CInternalParameterNode::CInternalParameterNode(const TSharedPtr<ICamera>& camera,
                                               const CString& name)
    : impl_(std::make_unique<Impl>(camera, std::string(name.data(), name.size()))) {}
CInternalParameterNode::~CInternalParameterNode() = default;

bool CInternalParameterNode::isValid() const { return impl_->ask(&Features::has); }
bool CInternalParameterNode::isAvailable() const { return impl_->ask(&Features::isAvailable); }
bool CInternalParameterNode::isReadable() const { return impl_->ask(&Features::isReadable); }
bool CInternalParameterNode::isWriteable() const { return impl_->ask(&Features::isWritable); }

CInternalParameterNode::EFeatureType CInternalParameterNode::getType() const {
    const auto all = impl_->features();
    return all ? typeOf(all->kind(impl_->name())) : kFeatureUnknown;
}

CInternalParameterNode::EFeatureVisibility CInternalParameterNode::getVisibility() const {
    const auto all = impl_->features();
    return all ? static_cast<EFeatureVisibility>(all->visibility(impl_->name()))
               : kVisibilityUnknown;
}

CString CInternalParameterNode::getName() const { return impl_->name(); }

bool CInternalParameterNode::getIntValue(std::int64_t& value) const {
    return impl_->ask(&Features::getInteger, value);
}
bool CInternalParameterNode::setIntValue(std::int64_t value) {
    return impl_->tell(&Features::setInteger, value);
}

bool CInternalParameterNode::getIntMaxMin(std::int64_t& max, std::int64_t& min) const {
    const auto all = impl_->features();
    Gige::FeatureRange<std::int64_t> range;
    if (!all || !all->getRange(impl_->name(), range)) return false;
    max = range.max;
    min = range.min;
    return true;
}

bool CInternalParameterNode::getIntIncrement(std::int64_t& increment) const {
    return impl_->ask(&Features::getIncrement, increment);
}
bool CInternalParameterNode::getFloatValue(double& value) const {
    return impl_->ask(&Features::getFloat, value);
}
bool CInternalParameterNode::setFloatValue(double value) {
    return impl_->tell(&Features::setFloat, value);
}

bool CInternalParameterNode::getFloatMaxMin(double& max, double& min) const {
    const auto all = impl_->features();
    Gige::FeatureRange<double> range;
    if (!all || !all->getRange(impl_->name(), range)) return false;
    max = range.max;
    min = range.min;
    return true;
}

bool CInternalParameterNode::getUnit(CString& unit) const {
    std::string text;
    if (!impl_->ask(&Features::getUnit, text)) return false;
    unit = CString(std::move(text));
    return true;
}

bool CInternalParameterNode::getBoolValue(bool& value) const {
    return impl_->ask(&Features::getBoolean, value);
}
bool CInternalParameterNode::setBoolValue(bool value) {
    return impl_->tell(&Features::setBoolean, value);
}

bool CInternalParameterNode::getStringValue(CString& value) const {
    std::string text;
    if (!impl_->ask(&Features::getString, text)) return false;
    value = CString(std::move(text));
    return true;
}
bool CInternalParameterNode::setStringValue(const CString& value) {
    return impl_->tell(&Features::setString, std::string(value.data(), value.size()));
}

bool CInternalParameterNode::getMaxStringLen(std::uint32_t& length) const {
    return impl_->ask(&Features::getMaxLength, length);
}

bool CInternalParameterNode::getEnumValue(std::uint64_t& value) const {
    std::int64_t current = 0;
    if (!impl_->ask(&Features::getEnumeration, current)) return false;
    value = static_cast<std::uint64_t>(current);
    return true;
}
bool CInternalParameterNode::setEnumValue(std::uint64_t value) {
    const auto all = impl_->features();
    return all && all->setEnumeration(impl_->name(), static_cast<std::int64_t>(value));
}
bool CInternalParameterNode::setEnumValueBySymbol(const CString& symbol) {
    const auto all = impl_->features();
    return all && all->setEnumeration(impl_->name(), std::string(symbol.data(), symbol.size()));
}

bool CInternalParameterNode::getEnumEntry(TVector<SEnumEntry>& entries) const {
    std::vector<Gige::FeatureEntry> found;
    if (!impl_->ask(&Features::getEntries, found)) return false;
    entries.clear();
    entries.reserve(found.size());
    for (const Gige::FeatureEntry& each : found) {
        SEnumEntry entry;
        entry.value = static_cast<std::uint64_t>(each.value);
        copyCut(entry.symbol, each.symbol);
        copyCut(entry.description, each.description);
        entries.push_back(entry);
    }
    return true;
}

bool CInternalParameterNode::execute() { return impl_->tell(&Features::execute); }

bool CInternalParameterNode::getChildren(
    TVector<TSharedPtr<CInternalParameterNode>>& children) const {
    std::vector<std::string> names;
    if (!impl_->ask(&Features::getChildren, names)) return false;
    children.clear();
    for (const std::string& name : names)
        children.push_back(std::make_shared<CInternalParameterNode>(impl_->camera(), name));
    return true;
}

bool CInternalParameterNode::getSelectorsName(TVector<CString>& names) const {
    std::vector<std::string> found;
    if (!impl_->ask(&Features::getSelectors, found)) return false;
    names.assign(found.begin(), found.end());
    return true;
}

}  // namespace Vorda::GenICam
