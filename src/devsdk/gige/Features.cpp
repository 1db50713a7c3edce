// SPDX-License-Identifier: Apache-2.0
#include "Features.h"

#include "LastError.h"
#include "NodeMap.h"

#include <utility>

namespace Vorda::Gige {

struct Features::Impl {
    FeatureSources sources;
    std::unique_ptr<NodeMap> nodes;
};

Features::Features(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Features::~Features() = default;

std::shared_ptr<Features> Features::make(FeatureSources sources) {
    auto impl = std::make_unique<Impl>();
    impl->nodes = NodeMap::make(sources.camera, sources.description);
    if (!impl->nodes) return nullptr;
    impl->sources = std::move(sources);
    return std::shared_ptr<Features>(new Features(std::move(impl)));
}

namespace {
bool notYet() { return fail(Error::notSupported, "features of this kind are not served yet"); }
}  // namespace

bool Features::has(const std::string& name) const { return impl_->nodes->has(name); }
FeatureKind Features::kind(const std::string&) const { return FeatureKind::unknown; }
unsigned Features::visibility(const std::string&) const { return 255; }
bool Features::getChildren(const std::string&, std::vector<std::string>&) const { return notYet(); }
bool Features::getSelectors(const std::string&, std::vector<std::string>&) const {
    return notYet();
}
std::vector<std::string> Features::selected(const std::string&) const { return {}; }
std::vector<std::string> Features::persistent() const { return {}; }
std::vector<Features::Polled> Features::polled() const { return {}; }
bool Features::isAvailable(const std::string&) const { return false; }
bool Features::isReadable(const std::string&) const { return false; }
bool Features::isWritable(const std::string&) const { return false; }
bool Features::getInteger(const std::string& name, std::int64_t& value) const {
    return impl_->nodes->getInteger(name, value);
}
bool Features::setInteger(const std::string& name, std::int64_t value) {
    return impl_->nodes->setInteger(name, value);
}
bool Features::getRange(const std::string&, FeatureRange<std::int64_t>&) const { return notYet(); }
bool Features::getIncrement(const std::string&, std::int64_t&) const { return notYet(); }
bool Features::getFloat(const std::string&, double&) const { return notYet(); }
bool Features::setFloat(const std::string&, double) { return notYet(); }
bool Features::getRange(const std::string&, FeatureRange<double>&) const { return notYet(); }
bool Features::getUnit(const std::string&, std::string&) const { return notYet(); }
bool Features::getEnumeration(const std::string&, std::int64_t&) const { return notYet(); }
bool Features::setEnumeration(const std::string&, std::int64_t) { return notYet(); }
bool Features::setEnumeration(const std::string&, const std::string&) { return notYet(); }
bool Features::getEntries(const std::string&, std::vector<FeatureEntry>&) const { return notYet(); }
bool Features::getBoolean(const std::string&, bool&) const { return notYet(); }
bool Features::setBoolean(const std::string&, bool) { return notYet(); }
bool Features::getString(const std::string&, std::string&) const { return notYet(); }
bool Features::setString(const std::string&, const std::string&) { return notYet(); }
bool Features::getMaxLength(const std::string&, std::uint32_t&) const { return notYet(); }
bool Features::execute(const std::string& name) { return impl_->nodes->execute(name); }
bool Features::getText(const std::string&, std::string&) const { return notYet(); }
bool Features::setText(const std::string&, const std::string&) { return notYet(); }

void Features::lockTransport(bool isLocked) {
    constexpr const char* kTransportLock = "TLParamsLocked";
    if (!has(kTransportLock)) return;
    // A camera whose lock fails streams all the same; one that is gone fails the next step.
    [[maybe_unused]] const bool done = impl_->nodes->setInteger(kTransportLock, isLocked ? 1 : 0);
}

}  // namespace Vorda::Gige
